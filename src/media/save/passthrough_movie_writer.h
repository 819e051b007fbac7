#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/model/composition.h"

namespace reelcraft {

struct PassthroughWriteReport {
  // Human-readable notes for tracks (or ranges of tracks) that had to be re-encoded: stretched
  // audio ranges, tracks whose sources have different codec configurations.
  std::vector<std::string> reencodedTracks;
};

// Writes `composition` to `path`, as an MPEG-4 movie when the name ends in .mp4, .m4v or .m4a
// and as a QuickTime movie otherwise (savedMovieContainerForPath), copying the compressed samples
// its segments need without decoding them. Each track gets an edit list that maps the
// composition's timeline onto the copied samples, so every cut is frame-exact; the movie lasts
// as long as the composition, empty time at either end included. Compressed audio is cut on whole
// packets, each joint within half a packet of its place without accumulating drift; PCM audio is
// cut exactly. A stretched video range keeps its samples with retimed durations. A stretched audio
// range is re-encoded on its own, with the codec and configuration of the packets copied around it;
// when no encoder can match that configuration, the whole track is re-encoded, as is a track whose
// sources differ in codec configuration, and a track in a codec that neither container holds.
// Re-encoded ranges and tracks are listed in the report.
//
// Throws ErrorException (description naming the file, with a recovery suggestion) when a source
// cannot be read or the file cannot be written; nothing is left at `path` then. A track in a
// codec that only the other container holds is refused (SaveError::ContainerCannotHold, naming
// the track, its codec and the other container's extension) before anything is written.
PassthroughWriteReport writePassthroughMovie(const Composition& composition,
                                             const std::string& path);

// The extension (".mov" or ".mp4", QuickTime first) of a container that writePassthroughMovie
// fills with every track of `composition` without refusing any; nothing when neither container
// does (a source that only QuickTime holds and another that only MPEG-4 holds).
std::optional<std::string> extensionHoldingAllTracks(const Composition& composition);

}  // namespace reelcraft
