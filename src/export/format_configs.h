#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/base/geometry.h"

namespace reelcraft {

class Movie;

// Anything a menu lists by name.
class NamedItem {
 public:
  virtual ~NamedItem() = default;
  virtual const std::string& itemName() const = 0;
};

// One video codec that a container can take.
class VideoFormatConfig : public NamedItem {
 public:
  VideoFormatConfig();
  const std::string& itemName() const override { return name; }

  std::string name;
  std::string codec;  // video_codec::...
  Size defaultSize;   // pixels
};

// H.264, offered at the movie's render size.
class VideoFormatConfig_H264 : public VideoFormatConfig {
 public:
  explicit VideoFormatConfig_H264(const Movie& movie);
};

// Motion JPEG, offered at the movie's render size.
class VideoFormatConfig_Jpeg : public VideoFormatConfig {
 public:
  explicit VideoFormatConfig_Jpeg(const Movie& movie);
};

// One audio codec that a container can take.
class AudioFormatConfig : public NamedItem {
 public:
  AudioFormatConfig();
  const std::string& itemName() const override { return name; }

  std::string name;
  std::vector<std::string> availableSettingKeys;  // kept empty
  uint32_t formatId = 0;                          // audio_format_id::...
};

// Configured by sample rate and encoder bit rate.
class LossyAudioFormatConfig : public AudioFormatConfig {};
// Configured by sample rate and the linear-PCM layout.
class LosslessAudioFormatConfig : public AudioFormatConfig {};

class AudioFormatConfig_Ac3 : public LossyAudioFormatConfig {
 public:
  AudioFormatConfig_Ac3();
};
class AudioFormatConfig_Aac : public LossyAudioFormatConfig {
 public:
  AudioFormatConfig_Aac();
};
class AudioFormatConfig_Mp3 : public LossyAudioFormatConfig {
 public:
  AudioFormatConfig_Mp3();
};
class AudioFormatConfig_AppleLossless : public LosslessAudioFormatConfig {
 public:
  AudioFormatConfig_AppleLossless();
};
class AudioFormatConfig_LinearPcm : public LosslessAudioFormatConfig {
 public:
  AudioFormatConfig_LinearPcm();
};

using VideoFormatConfigPtr = std::shared_ptr<const VideoFormatConfig>;
using AudioFormatConfigPtr = std::shared_ptr<const AudioFormatConfig>;

// Whether `config` is configured by bit rate (AC3, AAC, MP3) rather than by PCM layout.
bool isLossy(const AudioFormatConfig& config);

}  // namespace reelcraft
