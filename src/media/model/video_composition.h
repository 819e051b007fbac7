#pragma once

#include <string>

#include "media/model/asset.h"
#include "media/base/error.h"
#include "media/base/geometry.h"
#include "media/base/media_time.h"

namespace reelcraft {

// Error codes of drawing a movie's video, in kMediaErrorDomain (media/media_error.h), numbered
// apart from the codes of opening files and of editing.
enum class VideoCompositionError {
  NoVideo = 201,             // nothing to draw: no video track, or an empty picture size
  UnsupportedPicture = 202,  // a decoded picture that cannot be converted for drawing
  TimeOutsideMovie = 203,    // a picture was asked for at a time the movie does not have
};

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
