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

TEST(MovieVideoFormat, CompressionCarriesTheH264BitRateAndTheJpegQualityClamped) {
  MovieVideoFormat_H264 h264;
  EXPECT_TRUE(compression(h264.outputSettings()).empty());
  h264.bitrate = 5'000'000;
  EXPECT_EQ(compression(h264.outputSettings()),
            (OutputSettings{{key::kVideoAverageBitRate, int64_t{5'000'000}}}));
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

}  // namespace
}  // namespace reelcraft
