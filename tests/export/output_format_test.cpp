#include <gtest/gtest.h>

#include <variant>

#include "export/movie_file_format.h"
#include "media/writer/output_settings.h"

namespace reelcraft {
namespace {

namespace key = settings_key;

const OutputSettings& nested(const OutputSettings& settings, const char* name) {
  return *std::get<std::shared_ptr<const OutputSettings>>(settings.at(name).value);
}

TEST(MovieVideoFormat, PlainFormatGivesCodecAndFloatingPointSize) {
  MovieVideoFormat format;
  format.size = Size{1280, 720};
  EXPECT_EQ(format.outputSettings(), (OutputSettings{{key::kVideoCodec, "h264"},
                                                     {key::kVideoWidth, 1280.0},
                                                     {key::kVideoHeight, 720.0}}));
}

TEST(MovieVideoFormat, H264CarriesItsBitRateOrAnEmptyCompressionDictionary) {
  MovieVideoFormat_H264 format;
  const OutputSettings withoutRate = format.outputSettings();
  EXPECT_EQ(withoutRate.size(), 4u);
  EXPECT_TRUE(nested(withoutRate, key::kVideoCompressionProperties).empty());

  format.bitrate = 5'000'000;
  EXPECT_EQ(nested(format.outputSettings(), key::kVideoCompressionProperties),
            (OutputSettings{{key::kVideoAverageBitRate, int64_t{5'000'000}}}));
}

TEST(MovieVideoFormat, JpegQualityIsClampedIntoZeroToOne) {
  MovieVideoFormat_Jpeg format;
  format.codec = "mjpeg";
  EXPECT_TRUE(nested(format.outputSettings(), key::kVideoCompressionProperties).empty());
  for (const auto& [given, written] : {std::pair{1.7, 1.0}, {-0.2, 0.0}, {0.35, 0.35}}) {
    format.quality = given;
    const OutputSettings settings = format.outputSettings();
    EXPECT_EQ(settings.at(key::kVideoCodec), SettingValue("mjpeg"));
    EXPECT_EQ(nested(settings, key::kVideoCompressionProperties),
              (OutputSettings{{key::kVideoQuality, written}}))
        << given;
  }
}

TEST(MovieAudioFormat, StereoLayoutRecordIsTheStereoTagThenZeros) {
  const SettingValue::Bytes record = stereoChannelLayoutRecord();
  ASSERT_EQ(record.size(), 32u);
  EXPECT_EQ(record[0], 0x02);
  EXPECT_EQ(record[1], 0x00);
  EXPECT_EQ(record[2], 0x65);
  EXPECT_EQ(record[3], 0x00);
  for (size_t i = 4; i < record.size(); ++i) EXPECT_EQ(record[i], 0) << i;
}

TEST(MovieAudioFormat, LossyGivesFormatRatesAndStereo) {
  const MovieAudioFormatLossy format(audio_format_id::kAC3, 48000, 192000);
  EXPECT_EQ(format.outputSettings(),
            (OutputSettings{{key::kFormatID, int64_t{0x61632D33}},
                            {key::kEncoderBitRate, int64_t{192000}},
                            {key::kSampleRate, int64_t{48000}},
                            {key::kChannelLayout, stereoChannelLayoutRecord()},
                            {key::kNumberOfChannels, 2}}));
}

TEST(MovieAudioFormat, LosslessAlwaysCarriesThePcmLayout) {
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

TEST(MovieFileFormat, NewFormatIsMpeg4WithSmallH264AndAac) {
  const MovieFileFormat format;
  EXPECT_EQ(format.type, "mp4");
  EXPECT_EQ(format.fileNameExtension, "");
  ASSERT_NE(format.videoFormat, nullptr);
  const OutputSettings video = format.videoFormat->outputSettings();
  EXPECT_EQ(video, (OutputSettings{{key::kVideoCodec, "h264"},
                                   {key::kVideoWidth, 100.0},
                                   {key::kVideoHeight, 100.0}}));
  ASSERT_NE(format.audioFormat, nullptr);
  const OutputSettings audio = format.audioFormat->outputSettings();
  EXPECT_EQ(audio.at(key::kFormatID), SettingValue(int64_t{0x61616320}));
  EXPECT_EQ(audio.at(key::kSampleRate), SettingValue(int64_t{44100}));
  EXPECT_EQ(audio.at(key::kEncoderBitRate), SettingValue(int64_t{128000}));
}

}  // namespace
}  // namespace reelcraft
