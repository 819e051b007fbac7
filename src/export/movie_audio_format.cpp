#include "export/movie_audio_format.h"

namespace reelcraft {
namespace {

constexpr uint32_t kStereoLayoutTag = (101u << 16) | 2u;
constexpr size_t kChannelLayoutRecordSize = 32;

SettingValue unsignedValue(uint64_t value) {
  return SettingValue(static_cast<int64_t>(value));
}

}  // namespace

SettingValue::Bytes stereoChannelLayoutRecord() {
  SettingValue::Bytes record(kChannelLayoutRecordSize, 0);
  for (size_t i = 0; i < 4; ++i) record[i] = static_cast<uint8_t>(kStereoLayoutTag >> (8 * i));
  return record;
}

OutputSettings MovieAudioFormatLossy::outputSettings() const {
  return {
      {settings_key::kFormatID, formatId},
      {settings_key::kEncoderBitRate, unsignedValue(encoderBitRate)},
      {settings_key::kSampleRate, unsignedValue(sampleRate)},
      {settings_key::kChannelLayout, stereoChannelLayoutRecord()},
      {settings_key::kNumberOfChannels, 2},
  };
}

OutputSettings MovieAudioFormatLossless::outputSettings() const {
  return {
      {settings_key::kFormatID, formatId},
      {settings_key::kSampleRate, unsignedValue(sampleRate)},
      {settings_key::kLinearPCMBitDepth, unsignedValue(bitDepth)},
      {settings_key::kLinearPCMIsBigEndian, bigEndian},
      {settings_key::kLinearPCMIsFloat, isFloat},
      {settings_key::kLinearPCMIsNonInterleaved, isNonInterleaved},
      {settings_key::kChannelLayout, stereoChannelLayoutRecord()},
      {settings_key::kNumberOfChannels, 2},
  };
}

}  // namespace reelcraft
