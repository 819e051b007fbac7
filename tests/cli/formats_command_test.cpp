#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "cli_runner.h"
#include "mediagen/broken_files.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using clitest::CliResult;
using nlohmann::json;
using testmedia::brokenMediaPath;
using testmedia::testMediaPath;

CliResult formats(const std::vector<std::string>& arguments) {
  return clitest::runCommandLine("formats", arguments);
}

TEST(FormatsCommand, ListsTheCatalogueAsJsonInMenuOrder) {
  const CliResult outcome = formats({testMediaPath("h264-aac-mov")});
  ASSERT_EQ(outcome.exitCode, kExitSuccess) << outcome.err;
  const json list = json::parse(outcome.out);
  ASSERT_EQ(list.size(), 11u);
  EXPECT_EQ(list[0],
            json::parse(R"({"name": "QuickTime Movie", "fileType": "mov", "extension": "mov",
      "videoCodecs": [{"name": "H.264", "codec": "h264", "defaultSize": [320, 240]},
                      {"name": "Motion JPEG", "codec": "mjpeg", "defaultSize": [320, 240]}],
      "audioCodecs": [{"name": "AC3", "formatId": 1633889587, "lossless": false},
                      {"name": "AAC", "formatId": 1633772320, "lossless": false},
                      {"name": "MP3", "formatId": 778924083, "lossless": false},
                      {"name": "Apple Lossless", "formatId": 1634492771, "lossless": true},
                      {"name": "Linear PCM", "formatId": 1819304813, "lossless": true}]})"));
}

TEST(FormatsCommand, UnreadableFileAndWrongCommandLinesFail) {
  const CliResult broken = formats({brokenMediaPath(testmedia::BrokenFileKind::Text)});
  EXPECT_EQ(broken.exitCode, kExitFailure);
  EXPECT_EQ(broken.out, "");
  EXPECT_NE(broken.err, "");
  EXPECT_EQ(formats({}).exitCode, kExitUsage);
  EXPECT_EQ(formats({"a.mov", "b.mov"}).exitCode, kExitUsage);
}

}  // namespace
}  // namespace reelcraft
