#pragma once

// Helpers for tests that look at drawn pictures: the frame code they show and where their
// bright content lies.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <vector>

#include "mediagen/frame_code.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace reelcraft::pictures {

// The picture's brightness, one byte a pixel, whatever its pixel format.
inline std::vector<uint8_t> lumaOf(const AVFrame& frame) {
  std::vector<uint8_t> luma(static_cast<size_t>(frame.width) * frame.height);
  SwsContext* scaler = sws_getContext(
      frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
      frame.height, AV_PIX_FMT_GRAY8, SWS_POINT, nullptr, nullptr, nullptr);
  if (!scaler) throw std::invalid_argument("no conversion to grey from the picture's format");
  uint8_t* planes[4] = {luma.data()};
  const int strides[4] = {frame.width};
  sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, planes, strides);
  sws_freeContext(scaler);
  return luma;
}

// The box around the pixels at least as bright as a threshold; empty (all zero) when there
// are none.
struct Extent {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const Extent&, const Extent&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Extent& extent) {
    return out << extent.width << "x" << extent.height << " at (" << extent.left << ", "
               << extent.top << ")";
  }
};

// With the default threshold, the picture's content; with a threshold just above black, also
// whatever is not black around it.
inline Extent brightExtent(const AVFrame& frame, uint8_t threshold = 128) {
  const std::vector<uint8_t> luma = lumaOf(frame);
  int left = frame.width, top = frame.height, right = -1, bottom = -1;
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      if (luma[static_cast<size_t>(y) * frame.width + x] < threshold) continue;
      left = std::min(left, x);
      right = std::max(right, x);
      top = std::min(top, y);
      bottom = std::max(bottom, y);
    }
  }
  return right < 0 ? Extent{} : Extent{left, top, right - left + 1, bottom - top + 1};
}

inline int frameIndexOf(const AVFrame& frame) {
  const auto code = testmedia::readFrameCode(frame);
  return code ? code->index : -1;
}

// A YUV 4:2:0 picture of `width` × `height` that shows the frame code of `index`.
inline std::shared_ptr<AVFrame> codePicture(int index, int width, int height,
                                            AVPixelFormat format = AV_PIX_FMT_YUV420P) {
  std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
  frame->format = format;
  frame->width = width;
  frame->height = height;
  frame->sample_aspect_ratio = AVRational{1, 1};
  const bool fullRange = format == AV_PIX_FMT_YUVJ420P;
  frame->color_range = fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
  testmedia::drawFrameCode(index, frame->data[0], width, height, frame->linesize[0],
                           fullRange ? 0 : 16, fullRange ? 255 : 235);
  for (int plane = 1; plane <= 2; ++plane) {
    for (int y = 0; y < (height + 1) / 2; ++y) {
      std::fill_n(frame->data[plane] + y * frame->linesize[plane], (width + 1) / 2, 128);
    }
  }
  return frame;
}

}  // namespace reelcraft::pictures
