#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media/base/geometry.h"
#include "media/writer/output_settings.h"

namespace reelcraft {

// The video part of an export target: codec and frame size, and what a writer input is asked
// to produce from them.
class MovieVideoFormat {
 public:
  MovieVideoFormat();
  virtual ~MovieVideoFormat() = default;

  // Codec, width and height (floating point, also for whole pixels).
  virtual OutputSettings outputSettings() const;

  Size size{100, 100};
  std::string codec;  // video_codec::...
};

// H.264 at an average bit rate, or at the encoder's default rate when there is none.
class MovieVideoFormat_H264 : public MovieVideoFormat {
 public:
  // Adds the compression properties, with the bit rate when there is one (and empty when not).
  OutputSettings outputSettings() const override;

  std::optional<int64_t> bitrate;  // bit/s
};

// Motion JPEG with an optional quality.
// The codec is set from the chosen catalogue entry, like any other.
class MovieVideoFormat_Jpeg : public MovieVideoFormat {
 public:
  // Adds the compression properties, with the quality clamped into 0...1 when there is one.
  OutputSettings outputSettings() const override;

  std::optional<double> quality;  // nominally 0...1
};

}  // namespace reelcraft
