#pragma once

#include <string>

#include "media/base/error.h"
#include "media/base/geometry.h"
#include "media/base/media_error_codes.h"
#include "media/base/media_time.h"
#include "media/model/asset.h"

namespace reelcraft {

// An error in kMediaErrorDomain with a description and a suggestion for the user. `detail`
// completes the description where the code takes one (the time asked for, the movie's
// length...); it may be empty.
Error makeVideoCompositionError(VideoCompositionError code, const std::string& detail = {});

// How the video tracks of an asset are drawn into one picture: the size of the drawing area
// and the cadence at which pictures are made.
struct VideoComposition {
  Size renderSize;
  MediaTime frameDuration = MediaTime::invalid();

  // The drawing area holds every video track of `asset` as it is displayed: the bounding box
  // of the tracks' natural sizes turned by their preferred transforms, each placed at the
  // area's top-left corner (so a movie turned a quarter turn renders turned: 320×240 becomes
  // 240×320). Sizes are kept exact; encoders that need even sizes round later. The cadence is
  // the shortest minimum frame duration among the video tracks, or 1/30 s when none states
  // one. An asset without video gives an empty render size.
  static VideoComposition withPropertiesOfAsset(const Asset& asset);
};

}  // namespace reelcraft
