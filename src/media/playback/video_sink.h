#pragma once

#include "media/render/composition_video_source.h"

namespace reelcraft {

// Where a player shows its pictures: a view, or a test's recorder.
class VideoSink {
 public:
  virtual ~VideoSink() = default;

  // Shows `frame` (its picture, and the time on the movie's timeline that it stands for)
  // until the next call. Called on the player's main queue. The picture is shared and must not
  // be changed; keep the frame (it is cheap to copy) for as long as it is needed.
  virtual void showFrame(const VideoFrame& frame) = 0;
};

}  // namespace reelcraft
