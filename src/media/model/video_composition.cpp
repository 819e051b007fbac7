#include "media/model/video_composition.h"

#include <algorithm>

#include "media/model/picture_orientation.h"

namespace reelcraft {

Error makeVideoCompositionError(VideoCompositionError code, const std::string& detail) {
  Error error = mediaError(code, {}, {});
  const std::string suffix = detail.empty() ? "." : " " + detail + ".";
  switch (code) {
    case VideoCompositionError::NoVideo:
      error.description = "The movie has no picture to show" + suffix;
      error.recoverySuggestion = "Choose a movie that contains video.";
      break;
    case VideoCompositionError::UnsupportedPicture:
      error.description = "The movie’s picture couldn’t be drawn" + suffix;
      error.recoverySuggestion =
          "Convert the movie to H.264 video with another application, then try again.";
      break;
    case VideoCompositionError::TimeOutsideMovie:
      error.description = "The time asked for is outside the movie" + suffix;
      error.recoverySuggestion = "Choose a time from the movie’s start to its end.";
      break;
  }
  return error;
}

VideoComposition VideoComposition::withPropertiesOfAsset(const Asset& asset) {
  VideoComposition composition;
  const MediaTime zero = MediaTime::zero();
  for (const AssetTrack* track : asset.tracksWithMediaType(MediaType::Video)) {
    const Size shown = displayedSize(track->naturalSize, track->preferredTransform);
    composition.renderSize.width = std::max(composition.renderSize.width, shown.width);
    composition.renderSize.height = std::max(composition.renderSize.height, shown.height);
    const MediaTime frame = track->minFrameDuration;
    if (frame.isNumeric() && compare(frame, zero) > 0 &&
        (!composition.frameDuration.isValid() || compare(frame, composition.frameDuration) < 0)) {
      composition.frameDuration = frame;
    }
  }
  if (!composition.frameDuration.isValid()) composition.frameDuration = MediaTime::make(1, 30);
  return composition;
}

}  // namespace reelcraft
