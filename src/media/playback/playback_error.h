#pragma once

#include <string>

#include "media/base/error.h"

namespace reelcraft {

// Error codes of playing a movie, in kMediaErrorDomain (media/media_error.h), numbered apart
// from the codes of opening, editing and drawing.
enum class PlaybackError {
  Failed = 301,  // something unexpected stopped the decoding for playback
};

// An error in kMediaErrorDomain saying that the movie's `what` ("video", "sound") could not be
// played, with `detail` (the cause, may be empty) and a suggestion for the user.
Error makePlaybackError(PlaybackError code, const std::string& what, const std::string& detail);

}  // namespace reelcraft
