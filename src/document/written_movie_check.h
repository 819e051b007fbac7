#pragma once

#include <string>

#include "media/model/composition.h"

namespace reelcraft {

// How far the duration of a written movie may be from the composition's: the writer cuts
// compressed audio on whole packets, which moves an end by up to half a packet (about 11 ms
// for AAC), and a player-side rounding of edit lists to the movie timescale adds little more.
inline constexpr double kWrittenDurationToleranceSeconds = 0.1;

// Whether any track of `composition` shows any media.
bool hasMedia(const Composition& composition);

// Checks that the file at `path` is a movie that can be opened and that it holds what writing
// `composition` must give: for video and for audio, at least as many tracks as the composition
// has tracks that show media of that type and no more than it has tracks of that type, and a
// duration within kWrittenDurationToleranceSeconds of the composition's. Throws
// ErrorException (a save error about `destination`, the name the user chose) saying what is
// wrong.
void checkWrittenMovie(const std::string& path, const Composition& composition,
                       const std::string& destination);

}  // namespace reelcraft
