#pragma once

#include <cstdint>

#include "media/writer/output_settings.h"

namespace reelcraft {

// The audio part of an export target. Audio is always written as two-channel stereo.
class MovieAudioFormat {
 public:
  virtual ~MovieAudioFormat() = default;

  virtual uint32_t audioFormatId() const = 0;
  virtual void setAudioFormatId(uint32_t formatId) = 0;
  // What a writer input is asked to produce.
  virtual OutputSettings outputSettings() const = 0;
};

// A compressed format (AAC, AC-3, MP3) at a sample rate and an encoder bit rate.
class MovieAudioFormatLossy : public MovieAudioFormat {
 public:
  MovieAudioFormatLossy(uint32_t formatId, uint64_t sampleRate, uint64_t encoderBitRate)
      : formatId(formatId), sampleRate(sampleRate), encoderBitRate(encoderBitRate) {}

  uint32_t audioFormatId() const override { return formatId; }
  void setAudioFormatId(uint32_t id) override { formatId = id; }
  // Format, bit rate, sample rate, stereo layout and two channels.
  OutputSettings outputSettings() const override;

  uint32_t formatId;        // audio_format_id::...
  uint64_t sampleRate;      // Hz
  uint64_t encoderBitRate;  // bit/s
};

// Linear PCM or Apple Lossless at a sample rate, with the PCM layout (which Apple Lossless
// receives too).
class MovieAudioFormatLossless : public MovieAudioFormat {
 public:
  MovieAudioFormatLossless(uint32_t formatId, uint64_t sampleRate, uint64_t bitDepth,
                           bool bigEndian, bool isFloat, bool isNonInterleaved)
      : formatId(formatId),
        sampleRate(sampleRate),
        bitDepth(bitDepth),
        bigEndian(bigEndian),
        isFloat(isFloat),
        isNonInterleaved(isNonInterleaved) {}

  uint32_t audioFormatId() const override { return formatId; }
  void setAudioFormatId(uint32_t id) override { formatId = id; }
  // Format, sample rate, bit depth, the three layout flags, stereo layout and two channels.
  OutputSettings outputSettings() const override;

  uint32_t formatId;
  uint64_t sampleRate;  // Hz
  uint64_t bitDepth;    // bits per sample
  bool bigEndian;
  bool isFloat;
  bool isNonInterleaved;
};

// The 32-byte channel layout record of stereo: the stereo layout tag (101 << 16 | 2) in
// little-endian byte order, then a zero bitmap, no channel descriptions and one zeroed
// description.
SettingValue::Bytes stereoChannelLayoutRecord();

}  // namespace reelcraft
