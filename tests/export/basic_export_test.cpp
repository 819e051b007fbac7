#include "export/basic_export.h"

#include <gtest/gtest.h>

#include <vector>

#include "export_test_support.h"
#include "media/support/composition_reading.h"
#include "media/writer/output_settings.h"

namespace reelcraft {
namespace {

TEST(BasicExport, CompatibleConfigsKeepOnlyEntriesWithBothCodecs) {
  const auto formats = catalogueOf("h264-aac-mov");
  const auto mp4 = compatibleConfigs(formats, "mp4", audio_format_id::kMPEG4AAC, "h264");
  // "MPEG 4" only: the audio-only and video-only MPEG-4 entries lack one of the two.
  ASSERT_EQ(mp4.size(), 1u);
  ASSERT_EQ(mp4[0].audioConfigs.size(), 1u);
  EXPECT_EQ(mp4[0].audioConfigs[0]->name, "AAC");
  ASSERT_EQ(mp4[0].videoConfigs.size(), 1u);
  EXPECT_EQ(mp4[0].videoConfigs[0]->name, "H.264");
  EXPECT_EQ(compatibleConfigs(formats, "mov", audio_format_id::kLinearPCM, "mjpeg").size(), 1u);
  EXPECT_TRUE(compatibleConfigs(formats, "wav", audio_format_id::kLinearPCM, "h264").empty());
}

TEST(BasicExport, MovieWithoutSoundOrPictureCannotBeConverted) {
  EXPECT_TRUE(canConvert(catalogueOf("h264-aac-mov")));
  EXPECT_EQ(basicExportDefaultSize(catalogueOf("h264-aac-mov")), (Size{320, 240}));
  for (const char* variant : {"audio-only-m4a", "video-only-mp4"}) {
    SCOPED_TRACE(variant);
    const auto formats = catalogueOf(variant);
    EXPECT_FALSE(canConvert(formats));
    EXPECT_FALSE(basicExportDefaultSize(formats));
    const Error error = reading::errorOf([&] { makeBasicFileFormat(formats, {}); });
    EXPECT_EQ(error.domain, "MovieExporter ErrorDomain");
    EXPECT_EQ(error.code, 0);
    EXPECT_EQ(error.description, "Movie cannot be converted");
    EXPECT_EQ(error.recoverySuggestion,
              "The source material of the movie cannot be converted to the output format "
              "supported by Reelcraft");
  }
}

// Entered values become an MPEG-4 format; empty, zero or negative fields give the defaults.
TEST(BasicExport, FieldValuesBecomeAnMpeg4Format) {
  const struct {
    int64_t videoEntered, audioEntered, rateEntered;
    std::optional<int64_t> videoBitRate;
    uint32_t audioBitRate, sampleRate;
  } cases[] = {{5000, 96, 48000, 5'000'000, 96000, 48000},
               {0, 0, 0, std::nullopt, 128000, 44100},
               {-5, -5, -5, std::nullopt, 128000, 44100}};
  const auto formats = catalogueOf("h264-aac-mov");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.videoEntered);
    const auto format =
        makeBasicFileFormat(formats, {c.videoEntered, c.audioEntered, c.rateEntered, 640, 360});
    EXPECT_EQ(format->type, "mp4");
    EXPECT_EQ(format->fileNameExtension, "mp4");
    const auto& video = dynamic_cast<const MovieVideoFormat_H264&>(*format->videoFormat);
    EXPECT_EQ(video.codec, "h264");
    EXPECT_EQ(video.bitrate, c.videoBitRate);
    EXPECT_EQ(video.size, (Size{640, 360}));
    const auto& audio = dynamic_cast<const MovieAudioFormatLossy&>(*format->audioFormat);
    EXPECT_EQ(audio.formatId, audio_format_id::kMPEG4AAC);
    EXPECT_EQ(audio.encoderBitRate, c.audioBitRate);
    EXPECT_EQ(audio.sampleRate, c.sampleRate);
  }
}

TEST(BasicExportDeath, AudioBitRateBeyondSixtyFourBitsStops) {
  BasicExportValues values;
  values.audioKilobitsPerSecond = INT64_MAX / 100;
  EXPECT_DEATH(makeBasicFileFormat(catalogueOf("h264-aac-mov"), values), "");
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
