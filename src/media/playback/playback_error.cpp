#include "media/playback/playback_error.h"

#include "media/base/media_error.h"

namespace reelcraft {

Error makePlaybackError(PlaybackError code, const std::string& what, const std::string& detail) {
  std::string description = "The movie's " + what + " could not be played";
  description += detail.empty() ? "." : ": " + detail;
  return Error{std::string(kMediaErrorDomain), static_cast<int>(code), std::move(description),
               "Try closing the movie and opening it again."};
}

}  // namespace reelcraft
