#pragma once

#include <string>

#include "media/base/error.h"
#include "media/base/media_error_codes.h"

namespace reelcraft {

// An error in kMediaErrorDomain saying that the movie's `what` ("video", "sound") could not be
// played, with `detail` (the cause, may be empty) and a suggestion for the user.
Error makePlaybackError(PlaybackError code, const std::string& what, const std::string& detail);

}  // namespace reelcraft
