#pragma once

#include <memory>

#include "media/model/asset.h"
#include "media/model/audio_chunk.h"
#include "media/base/media_time.h"

struct AVFrame;

namespace reelcraft {

// One unit of decoded media that a reader output hands out: a video picture or a run of
// audio samples, with when it plays and for how long.
struct SampleBuffer {
  MediaType mediaType = MediaType::Other;
  MediaTime presentationTime = MediaTime::invalid();
  MediaTime duration = MediaTime::invalid();
  // Video: the picture, shared and read only (its pts is not set; presentationTime is its
  // time).
  std::shared_ptr<AVFrame> videoFrame;
  // Audio: the samples; their time equals presentationTime.
  AudioChunk audio;
};

}  // namespace reelcraft
