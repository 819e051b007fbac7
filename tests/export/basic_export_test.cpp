#include <gtest/gtest.h>

#include <vector>

#include "export/basic_export.h"
#include "export_test_support.h"
#include "media/writer/output_settings.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using testmedia::testMediaPath;

std::vector<MovieFormatConfigPtr> catalogueOf(const std::string& variant) {
  return fileFormatsForMovie(*movieOfFile(testMediaPath(variant)));
}

TEST(BasicExport, CompatibleConfigsKeepOnlyEntriesWithBothCodecs) {
  const auto formats = catalogueOf("h264-aac-mov");
  const auto mp4 = compatibleConfigs(formats, "mp4", audio_format_id::kMPEG4AAC, "h264");
  // "MPEG 4" only: the audio-only and video-only MPEG-4 entries lack one of the two.
  ASSERT_EQ(mp4.size(), 1u);
  EXPECT_EQ(mp4[0].audioConfigs.size(), 1u);
  EXPECT_EQ(mp4[0].audioConfigs[0]->name, "AAC");
  ASSERT_EQ(mp4[0].videoConfigs.size(), 1u);
  EXPECT_EQ(mp4[0].videoConfigs[0]->name, "H.264");
  EXPECT_EQ(compatibleConfigs(formats, "mov", audio_format_id::kLinearPCM, "mjpeg").size(), 1u);
  EXPECT_TRUE(compatibleConfigs(formats, "wav", audio_format_id::kLinearPCM, "h264").empty());
}

TEST(BasicExport, DefaultSizeAndConversionFollowTheCatalogue) {
  const auto both = catalogueOf("h264-aac-mov");
  EXPECT_TRUE(canConvert(both));
  EXPECT_EQ(basicExportDefaultSize(both), (Size{320, 240}));

  for (const char* variant : {"audio-only-m4a", "video-only-mp4"}) {
    const auto formats = catalogueOf(variant);
    EXPECT_FALSE(canConvert(formats)) << variant;
    EXPECT_FALSE(basicExportDefaultSize(formats)) << variant;
    try {
      makeBasicFileFormat(formats, {});
      ADD_FAILURE() << "no conversion error for " << variant;
    } catch (const ErrorException& error) {
      EXPECT_EQ(error.error().domain, "MovieExporter ErrorDomain");
      EXPECT_EQ(error.error().code, 0);
      EXPECT_EQ(error.error().description, "Movie cannot be converted");
      EXPECT_EQ(error.error().recoverySuggestion,
                "The source material of the movie cannot be converted to the output format "
                "supported by Reelcraft");
    }
  }
}

TEST(BasicExport, FieldValuesBecomeAnMpeg4Format) {
  const auto formats = catalogueOf("h264-aac-mov");
  BasicExportValues values;
  values.width = 640;
  values.height = 360;
  values.videoKilobitsPerSecond = 5000;
  values.audioKilobitsPerSecond = 96;
  values.sampleRate = 48000;
  const auto format = makeBasicFileFormat(formats, values);
  EXPECT_EQ(format->type, "mp4");
  EXPECT_EQ(format->fileNameExtension, "mp4");
  const auto* video = dynamic_cast<const MovieVideoFormat_H264*>(format->videoFormat.get());
  ASSERT_NE(video, nullptr);
  EXPECT_EQ(video->codec, "h264");
  EXPECT_EQ(video->bitrate, 5'000'000);
  EXPECT_EQ(video->size, (Size{640, 360}));
  const auto* audio = dynamic_cast<const MovieAudioFormatLossy*>(format->audioFormat.get());
  ASSERT_NE(audio, nullptr);
  EXPECT_EQ(audio->formatId, audio_format_id::kMPEG4AAC);
  EXPECT_EQ(audio->encoderBitRate, 96000u);
  EXPECT_EQ(audio->sampleRate, 48000u);
}

TEST(BasicExport, EmptyZeroOrNegativeFieldsGiveTheDefaults) {
  const auto formats = catalogueOf("h264-aac-mov");
  for (const int64_t entered : {int64_t{0}, int64_t{-5}}) {
    BasicExportValues values;
    values.videoKilobitsPerSecond = entered;
    values.audioKilobitsPerSecond = entered;
    values.sampleRate = entered;
    const auto format = makeBasicFileFormat(formats, values);
    const auto& video = dynamic_cast<const MovieVideoFormat_H264&>(*format->videoFormat);
    EXPECT_FALSE(video.bitrate.has_value()) << entered;
    const auto& audio = dynamic_cast<const MovieAudioFormatLossy&>(*format->audioFormat);
    EXPECT_EQ(audio.encoderBitRate, 128000u) << entered;
    EXPECT_EQ(audio.sampleRate, 44100u) << entered;
  }
}

TEST(BasicExportDeath, AudioBitRateBeyondSixtyFourBitsStops) {
  const auto formats = catalogueOf("h264-aac-mov");
  BasicExportValues values;
  values.audioKilobitsPerSecond = INT64_MAX / 100;
  EXPECT_DEATH(makeBasicFileFormat(formats, values), "");
}

TEST(ExportProgressRule, UpdatesOnlyAfterMoreThanHalfAPercent) {
  std::vector<double> shown;
  ExportProgressRule rule(MediaTime::make(100, 1),
                          [&](double percent) { shown.push_back(percent); });
  for (const double seconds : {0.3, 0.5, 0.6, 0.9, 1.2}) {
    rule.report(MediaTime::fromSeconds(seconds, 1000));
  }
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_DOUBLE_EQ(shown[0], 0.6);
  EXPECT_DOUBLE_EQ(shown[1], 1.2);
  EXPECT_DOUBLE_EQ(rule.lastProgress(), 1.2);
  // Times going backwards (the other stream lagging) show nothing.
  rule.report(MediaTime::make(1, 1));
  EXPECT_EQ(shown.size(), 2u);
}

}  // namespace
}  // namespace reelcraft
