#include <gtest/gtest.h>

#include <variant>

#include "export/movie_file_format.h"
#include "media/writer/output_settings.h"

namespace reelcraft {
namespace {

namespace key = settings_key;

const OutputSettings& compression(const OutputSettings& settings) {
  return *std::get<std::shared_ptr<const OutputSettings>>(
      settings.at(key::kVideoCompressionProperties).value);
}

TEST(MovieVideoFormat, H264CarriesItsBitRateOrNoCompressionProperties) {
  MovieVideoFormat_H264 h264;
  EXPECT_TRUE(compression(h264.outputSettings()).empty());
  h264.bitrate = 5'000'000;
  EXPECT_EQ(compression(h264.outputSettings()),
            (OutputSettings{{key::kVideoAverageBitRate, int64_t{5'000'000}}}));
}

TEST(MovieVideoFormat, JpegQualityIsClampedIntoZeroToOne) {
  MovieVideoFormat_Jpeg format;
  format.codec = "mjpeg";
  EXPECT_TRUE(compression(format.outputSettings()).empty());
  for (const auto& [given, written] : {std::pair{1.7, 1.0}, {-0.2, 0.0}, {0.35, 0.35}}) {
    format.quality = given;
    const OutputSettings settings = format.outputSettings();
    EXPECT_EQ(settings.at(key::kVideoCodec), SettingValue("mjpeg"));
    EXPECT_EQ(compression(settings), (OutputSettings{{key::kVideoQuality, written}})) << given;
  }
}

TEST(MovieAudioFormat, GivesFormatRatesAndPcmLayoutInStereo) {
  EXPECT_EQ(MovieAudioFormatLossy(audio_format_id::kAC3, 48000, 192000).outputSettings(),
            (OutputSettings{{key::kFormatID, int64_t{0x61632D33}},
                            {key::kEncoderBitRate, int64_t{192000}},
                            {key::kSampleRate, int64_t{48000}},
                            {key::kChannelLayout, stereoChannelLayoutRecord()},
                            {key::kNumberOfChannels, 2}}));
  const MovieAudioFormatLossless alac(audio_format_id::kAppleLossless, 44100, 24, true, false,
                                      true);
  EXPECT_EQ(alac.outputSettings(),
            (OutputSettings{{key::kFormatID, int64_t{0x616C6163}},
                            {key::kSampleRate, int64_t{44100}},
                            {key::kLinearPCMBitDepth, int64_t{24}},
                            {key::kLinearPCMIsBigEndian, true},
                            {key::kLinearPCMIsFloat, false},
                            {key::kLinearPCMIsNonInterleaved, true},
                            {key::kChannelLayout, stereoChannelLayoutRecord()},
                            {key::kNumberOfChannels, 2}}));
}

}  // namespace
}  // namespace reelcraft
