#pragma once

#include <cstdint>
#include <vector>

#include "media/base/media_time.h"

namespace reelcraft {

// A run of stereo sound: interleaved left/right float samples (full scale ±1) at one rate.
struct AudioChunk {
  static constexpr int kChannelCount = 2;

  std::vector<float> samples;  // L, R, L, R...
  int sampleRate = 0;
  MediaTime time = MediaTime::invalid();  // when the first sample plays

  int64_t frameCount() const { return static_cast<int64_t>(samples.size()) / kChannelCount; }
  MediaTime duration() const { return MediaTime::make(frameCount(), sampleRate); }
};

}  // namespace reelcraft
