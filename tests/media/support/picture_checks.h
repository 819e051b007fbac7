#pragma once

// Helpers for tests that look at drawn pictures: the frame code they show, where their bright
// content lies, and how dark the rest is.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <vector>

#include "mediagen/frame_code.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace reelcraft::pictures {

// The picture's brightness, one byte a pixel, whatever its pixel format.
struct Luma {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> values;

  uint8_t at(int x, int y) const { return values[static_cast<size_t>(y) * width + x]; }
};

inline Luma lumaOf(const AVFrame& frame) {
  Luma luma{frame.width, frame.height,
            std::vector<uint8_t>(static_cast<size_t>(frame.width) * frame.height)};
  SwsContext* scaler = sws_getContext(
      frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
      frame.height, AV_PIX_FMT_GRAY8, SWS_POINT, nullptr, nullptr, nullptr);
  EXPECT_NE(scaler, nullptr);
  if (!scaler) return luma;
  uint8_t* planes[4] = {luma.values.data(), nullptr, nullptr, nullptr};
  int strides[4] = {frame.width, 0, 0, 0};
  sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, planes, strides);
  sws_freeContext(scaler);
  return luma;
}

// The box around the bright pixels; empty (all zero) when there are none.
struct Extent {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const Extent&, const Extent&) = default;
};

inline std::ostream& operator<<(std::ostream& out, const Extent& extent) {
  return out << extent.width << "x" << extent.height << " at (" << extent.left << ", " << extent.top
             << ")";
}

inline Extent brightExtent(const Luma& luma, uint8_t threshold = 128) {
  int left = luma.width, top = luma.height, right = -1, bottom = -1;
  for (int y = 0; y < luma.height; ++y) {
    for (int x = 0; x < luma.width; ++x) {
      if (luma.at(x, y) < threshold) continue;
      left = std::min(left, x);
      right = std::max(right, x);
      top = std::min(top, y);
      bottom = std::max(bottom, y);
    }
  }
  if (right < 0) return Extent{};
  return Extent{left, top, right - left + 1, bottom - top + 1};
}

inline Extent brightExtent(const AVFrame& frame) {
  return brightExtent(lumaOf(frame));
}

// The brightest pixel outside the box from the top-left corner of `width` × `height`.
inline int brightestOutside(const Luma& luma, int width, int height) {
  int brightest = 0;
  for (int y = 0; y < luma.height; ++y) {
    for (int x = 0; x < luma.width; ++x) {
      if (x < width && y < height) continue;
      brightest = std::max<int>(brightest, luma.at(x, y));
    }
  }
  return brightest;
}

inline int frameIndexOf(const AVFrame& frame) {
  const auto code = testmedia::readFrameCode(frame);
  return code ? code->index : -1;
}

// Whether the whole picture is black (as a YUV picture in the video range shows it, or RGB).
inline bool isBlack(const AVFrame& frame) {
  const Luma luma = lumaOf(frame);
  return std::all_of(luma.values.begin(), luma.values.end(), [](uint8_t v) { return v <= 20; });
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
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
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
