#pragma once

#include <cstddef>
#include <string>

#include "media/base/media_time.h"

namespace reelcraft {

// What a movie file's headers say about its tracks, read without decoding a single sample (for
// QuickTime, the moov box only): enough to check a movie that was just written, at a fraction
// of the cost of opening it as an asset.
struct MovieHeaders {
  size_t videoTracks = 0;  // cover pictures left out
  size_t audioTracks = 0;
  // The latest end of the video and audio tracks, or the movie header's duration when longer
  // (movieEnd).
  MediaTime duration = MediaTime::zero();
};

// Throws ErrorException with a media error (media_error.h) when the file cannot be read.
MovieHeaders readMovieHeaders(const std::string& path);

}  // namespace reelcraft
