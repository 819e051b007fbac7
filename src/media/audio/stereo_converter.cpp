#include "media/audio/stereo_converter.h"

#include <algorithm>
#include <new>
#include <stdexcept>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

namespace reelcraft {
namespace {

// The frame's layout, or the default one for its channel count when it names no positions.
AVChannelLayout layoutOf(const AVFrame& frame) {
  AVChannelLayout layout{};
  if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC ||
      av_channel_layout_check(&frame.ch_layout) == 0) {
    av_channel_layout_default(&layout, std::max(frame.ch_layout.nb_channels, 1));
  } else if (av_channel_layout_copy(&layout, &frame.ch_layout) < 0) {
    throw std::bad_alloc();
  }
  return layout;
}

}  // namespace

StereoConverter::StereoConverter(int outputRate) : outputRate_(outputRate) {}

StereoConverter::~StereoConverter() {
  av_channel_layout_uninit(&inputLayout_);
}

void StereoConverter::convert(const AVFrame& frame, int offset, int count,
                              std::vector<float>& output) {
  if (count <= 0) return;
  configureFor(frame);
  const int channels = frame.ch_layout.nb_channels;
  const bool planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format));
  const int bytesPerSample = av_get_bytes_per_sample(static_cast<AVSampleFormat>(frame.format));
  std::vector<const uint8_t*> input(planar ? channels : 1);
  for (size_t i = 0; i < input.size(); ++i) {
    input[i] = frame.extended_data[i] +
               static_cast<size_t>(offset) * bytesPerSample * (planar ? 1 : channels);
  }
  run(input.data(), count, output);
}

void StereoConverter::flush(std::vector<float>& output) {
  if (!resampler_) return;
  run(nullptr, 0, output);
  resampler_.reset();
  av_channel_layout_uninit(&inputLayout_);
  inputFormat_ = -1;
  inputRate_ = 0;
}

void StereoConverter::configureFor(const AVFrame& frame) {
  AVChannelLayout layout = layoutOf(frame);
  if (resampler_ && frame.sample_rate == inputRate_ && frame.format == inputFormat_ &&
      av_channel_layout_compare(&layout, &inputLayout_) == 0) {
    av_channel_layout_uninit(&layout);
    return;
  }
  std::vector<float> ignored;
  if (resampler_) flush(ignored);  // a format change mid-stream: at most a few samples

  SwrContext* raw = nullptr;
  AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
  int result =
      swr_alloc_set_opts2(&raw, &stereo, AV_SAMPLE_FMT_FLT, outputRate_, &layout,
                          static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
  ResamplerPtr resampler(raw);
  if (result >= 0 && layout.nb_channels == 1) {
    const double bothSides[2] = {1.0, 1.0};
    result = swr_set_matrix(resampler.get(), bothSides, 1);
  }
  if (result >= 0) result = swr_init(resampler.get());
  if (result < 0) {
    av_channel_layout_uninit(&layout);
    throw std::runtime_error("cannot convert this sound to stereo");
  }
  resampler_ = std::move(resampler);
  inputRate_ = frame.sample_rate;
  inputFormat_ = frame.format;
  inputLayout_ = layout;
}

void StereoConverter::run(const uint8_t** input, int count, std::vector<float>& output) {
  const int capacity = swr_get_out_samples(resampler_.get(), count);
  if (capacity <= 0) return;
  const size_t used = output.size();
  output.resize(used + static_cast<size_t>(capacity) * 2);
  uint8_t* destination[1] = {reinterpret_cast<uint8_t*>(output.data() + used)};
  const int produced = swr_convert(resampler_.get(), destination, capacity, input, count);
  output.resize(used + static_cast<size_t>(std::max(produced, 0)) * 2);
}

}  // namespace reelcraft
