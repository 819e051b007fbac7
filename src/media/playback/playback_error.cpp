#include "media/playback/playback_error.h"

namespace reelcraft {

Error makePlaybackError(PlaybackError code, const std::string& what, const std::string& detail) {
  std::string description = "The movie's " + what + " could not be played";
  description += detail.empty() ? "." : ": " + detail;
  return mediaError(code, std::move(description), "Try closing the movie and opening it again.");
}

}  // namespace reelcraft
