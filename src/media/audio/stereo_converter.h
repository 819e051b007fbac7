#pragma once

#include <cstdint>
#include <vector>

#include "media/ffmpeg/av_handles.h"

namespace reelcraft {

// Converts decoded audio of any sample format, channel layout and rate to interleaved stereo
// float at one output rate. Mono plays at full level on both sides; other layouts are mixed
// down (or up) by libswresample's rules; a layout without channel positions is taken as the
// usual layout for its channel count.
class StereoConverter {
 public:
  explicit StereoConverter(int outputRate);
  ~StereoConverter();
  StereoConverter(const StereoConverter&) = delete;
  StereoConverter& operator=(const StereoConverter&) = delete;

  // Converts `count` samples of `frame` from sample `offset` on and appends the result to
  // `output`. A frame whose format, layout or rate differs from the previous one's first
  // drains what the resampler holds.
  void convert(const AVFrame& frame, int offset, int count, std::vector<float>& output);
  // Appends what the resampler still holds (its filter delay) and starts afresh.
  void flush(std::vector<float>& output);

 private:
  void configureFor(const AVFrame& frame);
  void run(const uint8_t** input, int count, std::vector<float>& output);

  int outputRate_;
  ResamplerPtr resampler_;
  int inputRate_ = 0;
  int inputFormat_ = -1;
  AVChannelLayout inputLayout_{};
};

}  // namespace reelcraft
