#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace reelcraft {

struct SettingValue;

// What a writer input is asked to produce: codec, size, bit rate, sample rate... keyed by the
// constants below. Unordered, like any dictionary; the values are numbers, text, a nested
// dictionary or a block of bytes.
using OutputSettings = std::map<std::string, SettingValue>;

struct SettingValue {
  using Bytes = std::vector<uint8_t>;
  // Integers (signed and unsigned alike), floating-point numbers, booleans, text, a nested
  // dictionary (held by pointer, since the type is still incomplete here), bytes.
  std::variant<int64_t, double, bool, std::string, std::shared_ptr<const OutputSettings>, Bytes>
      value;

  SettingValue(int64_t v) : value(v) {}
  SettingValue(uint32_t v) : value(int64_t{v}) {}
  SettingValue(int v) : value(int64_t{v}) {}
  SettingValue(double v) : value(v) {}
  SettingValue(bool v) : value(v) {}
  SettingValue(std::string v) : value(std::move(v)) {}
  SettingValue(const char* v) : value(std::string(v)) {}
  SettingValue(OutputSettings v) : value(std::make_shared<const OutputSettings>(std::move(v))) {}
  SettingValue(Bytes v) : value(std::move(v)) {}

  bool operator==(const SettingValue& other) const;
};

inline bool SettingValue::operator==(const SettingValue& other) const {
  if (value.index() != other.value.index()) return false;
  if (auto* nested = std::get_if<std::shared_ptr<const OutputSettings>>(&value)) {
    const auto& otherNested = std::get<std::shared_ptr<const OutputSettings>>(other.value);
    return **nested == *otherNested;
  }
  return value == other.value;
}

// The keys of OutputSettings.
namespace settings_key {
// Video
inline constexpr const char* kVideoCodec = "VideoCodec";    // text: an FFmpeg codec name
inline constexpr const char* kVideoWidth = "VideoWidth";    // floating-point pixels
inline constexpr const char* kVideoHeight = "VideoHeight";  // floating-point pixels
inline constexpr const char* kVideoCompressionProperties =
    "VideoCompressionProperties";                                      // nested dictionary
inline constexpr const char* kVideoAverageBitRate = "AverageBitRate";  // integer, bit/s
inline constexpr const char* kVideoQuality = "Quality";                // 0.0 to 1.0
// Audio
inline constexpr const char* kFormatID = "FormatID";  // four-character code as an integer
inline constexpr const char* kEncoderBitRate = "EncoderBitRate";  // integer, bit/s
inline constexpr const char* kSampleRate = "SampleRate";          // integer, Hz
inline constexpr const char* kChannelLayout = "ChannelLayout";    // 32-byte layout record
inline constexpr const char* kNumberOfChannels = "NumberOfChannels";
inline constexpr const char* kLinearPCMBitDepth = "LinearPCMBitDepth";
inline constexpr const char* kLinearPCMIsBigEndian = "LinearPCMIsBigEndian";
inline constexpr const char* kLinearPCMIsFloat = "LinearPCMIsFloat";
inline constexpr const char* kLinearPCMIsNonInterleaved = "LinearPCMIsNonInterleaved";
}  // namespace settings_key

// Four-character audio format codes, as they appear in kFormatID.
namespace audio_format_id {
inline constexpr uint32_t fourCharCode(const char (&code)[5]) {
  return (uint32_t(uint8_t(code[0])) << 24) | (uint32_t(uint8_t(code[1])) << 16) |
         (uint32_t(uint8_t(code[2])) << 8) | uint32_t(uint8_t(code[3]));
}
inline constexpr uint32_t kLinearPCM = fourCharCode("lpcm");
inline constexpr uint32_t kAppleLossless = fourCharCode("alac");
inline constexpr uint32_t kMPEG4AAC = fourCharCode("aac ");
inline constexpr uint32_t kAC3 = fourCharCode("ac-3");
inline constexpr uint32_t kMPEGLayer3 = fourCharCode(".mp3");
}  // namespace audio_format_id

}  // namespace reelcraft
