#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/cli_command.h"
#include "mediagen/broken_files.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using nlohmann::json;
using testmedia::brokenMediaPath;
using testmedia::testMediaPath;

struct Outcome {
  int exitCode = -1;
  std::string out, err;
};

Outcome formats(const std::vector<std::string>& arguments) {
  std::ostringstream out, err;
  std::vector<std::string> command = {"formats"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const int exitCode = runCli(command, out, err);
  return {exitCode, out.str(), err.str()};
}

TEST(FormatsCommand, ListsTheCatalogueAsJsonInMenuOrder) {
  const Outcome outcome = formats({testMediaPath("h264-aac-mov")});
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
  EXPECT_EQ(list[4]["name"], "Audio Only: CoreAudio");
  EXPECT_EQ(list[4]["extension"], "caf");
  EXPECT_EQ(list[4]["videoCodecs"], json::array());
  EXPECT_EQ(list[10]["name"], "Video Only: MPEG 4");
  EXPECT_EQ(list[10]["audioCodecs"], json::array());
}

TEST(FormatsCommand, SoundFileGetsTheAudioOnlyEntries) {
  const Outcome outcome = formats({testMediaPath("audio-only-m4a")});
  ASSERT_EQ(outcome.exitCode, kExitSuccess);
  const json list = json::parse(outcome.out);
  ASSERT_EQ(list.size(), 7u);
  EXPECT_EQ(list[0]["name"], "Audio Only: QuickTime Movie");
  EXPECT_EQ(list[6]["name"], "Audio Only: AC3");
}

TEST(FormatsCommand, UnreadableFileAndWrongCommandLinesFail) {
  const Outcome broken = formats({brokenMediaPath(testmedia::BrokenFileKind::Text)});
  EXPECT_EQ(broken.exitCode, kExitFailure);
  EXPECT_EQ(broken.out, "");
  EXPECT_NE(broken.err, "");
  EXPECT_EQ(formats({}).exitCode, kExitUsage);
  EXPECT_EQ(formats({"a.mov", "b.mov"}).exitCode, kExitUsage);
}

}  // namespace
}  // namespace reelcraft
