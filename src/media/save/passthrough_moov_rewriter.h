#pragma once

#include <string>
#include <vector>

#include "media/base/geometry.h"
#include "media/save/passthrough_track_source.h"

namespace reelcraft {

// What the headers of one saved track must say: its edit list (media times in the track's
// media timescale), the samples written as stand-ins for earlier ones and, for video, how the
// picture is turned.
struct PassthroughTrackLayout {
  std::vector<PassthroughEdit> edits;
  std::vector<PassthroughSharedSample> sharedSamples;
  bool hasTransform = false;
  AffineTransform transform;
  Size naturalSize;
};

// Rewrites the `moov` box of the QuickTime or MPEG-4 file at `path` that the muxer wrote without
// edit lists: each track (in file order, one layout per track) gets its edit list, its duration
// and its matrix, and its stand-in samples point at the bytes they share; the movie timescale
// becomes one that holds every edit exactly when one fits in 32 bits, and the movie duration the
// longest track's or `movieDuration`, whichever is longer. Empty time after a track's media gets
// no edit (FFmpeg's reader would show the track's first samples there), so the movie header
// alone tells how long the empty time after every track's media lasts. The samples are not
// moved. Throws std::runtime_error when the file cannot be read or written.
void rewritePassthroughMovieHeaders(const std::string& path,
                                    const std::vector<PassthroughTrackLayout>& tracks,
                                    MediaTime movieDuration);

}  // namespace reelcraft
