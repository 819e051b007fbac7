#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/cli_command.h"
#include "cli/json_values.h"
#include "cli_runner.h"
#include "media/base/error.h"
#include "media/model/file_asset.h"
#include "media/support/composition_reading.h"
#include "mediagen/broken_files.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using nlohmann::json;
using testmedia::brokenMediaPath;
using testmedia::testMediaPath;

using clitest::CliResult;
using clitest::runCommandLine;

json infoOf(const std::string& path) {
  const CliResult result = runCommandLine("info", {path});
  EXPECT_EQ(result.exitCode, kExitSuccess);
  EXPECT_EQ(result.err, "");
  return json::parse(result.out);
}

json time(int64_t value, int32_t timescale) {
  return {{"value", value},
          {"timescale", timescale},
          {"seconds", static_cast<double>(value) / timescale}};
}

TEST(InfoCommand, DescribesAMovieAndItsTracks) {
  const json info = infoOf(testMediaPath("h264-aac-mov"));
  EXPECT_EQ(info["duration"]["seconds"], 3.0);
  EXPECT_EQ(info["naturalSize"], json::array({320, 240}));
  ASSERT_EQ(info["tracks"].size(), 2u);

  const json& video = info["tracks"][0];
  EXPECT_EQ(video["id"], 1);
  EXPECT_EQ(video["mediaType"], "video");
  EXPECT_EQ(video["codec"], "h264");
  EXPECT_EQ(video["naturalSize"], json::array({320, 240}));
  EXPECT_EQ(video["preferredTransform"], json::array({1, 0, 0, 1, 0, 0}));
  EXPECT_EQ(video["minFrameDuration"], time(1, 30));
  EXPECT_EQ(video["timeRange"]["start"]["seconds"], 0.0);
  EXPECT_EQ(video["timeRange"]["duration"]["seconds"], 3.0);
  EXPECT_FALSE(video.contains("sampleRate"));

  const json& audio = info["tracks"][1];
  EXPECT_EQ(audio["id"], 2);
  EXPECT_EQ(audio["mediaType"], "audio");
  EXPECT_EQ(audio["codec"], "aac");
  EXPECT_EQ(audio["sampleRate"], 48000);
  EXPECT_EQ(audio["channels"], 2);
  EXPECT_TRUE(audio["minFrameDuration"].is_null());
  EXPECT_EQ(audio["timeRange"]["duration"], time(144000, 48000));
}

TEST(InfoCommand, ShowsRotationAndNtscFrameDuration) {
  const json rotated = infoOf(testMediaPath("rotated-mov"));
  EXPECT_EQ(rotated["naturalSize"], json::array({240, 320}));
  EXPECT_EQ(rotated["tracks"][0]["naturalSize"], json::array({320, 240}));
  EXPECT_EQ(rotated["tracks"][0]["preferredTransform"], json::array({0, 1, -1, 0, 240, 0}));

  const json ntsc = infoOf(testMediaPath("ntsc-h264-aac-mov"));
  EXPECT_EQ(ntsc["tracks"][0]["minFrameDuration"], time(1001, 30000));
  EXPECT_EQ(ntsc["tracks"][0]["timeRange"]["duration"], time(60060, 30000));
}

TEST(InfoCommand, UnreadableFileIsOneLineOnStandardError) {
  for (const std::string& path : {brokenMediaPath(testmedia::BrokenFileKind::Text),
                                  brokenMediaPath(testmedia::BrokenFileKind::Truncated),
                                  testmedia::testMediaDirectory() + "/missing.mp4"}) {
    const CliResult result = runCommandLine("info", {path});
    EXPECT_EQ(result.exitCode, kExitFailure);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, reading::errorOf([&] { FileAsset::open(path); }).description + "\n");
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
  }
}

TEST(CommandLine, WrongCommandLinesAreUsageErrors) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"info"},
                                             {"info", "a.mov", "b.mov"},
                                             {"frobnicate", "a.mov"},
                                             {"help", "frobnicate"}}) {
    const CliResult result = runCommandLine("", arguments);
    EXPECT_EQ(result.exitCode, kExitUsage) << testing::PrintToString(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("usage: reelcraft-cli"), std::string::npos) << result.err;
  }
}

TEST(CommandLine, HelpListsEveryCommand) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--help"}, {"-h"}, {"help"}}) {
    const CliResult result = runCommandLine("", arguments);
    EXPECT_EQ(result.exitCode, kExitSuccess);
    for (const CliCommand& command : cliCommands()) {
      EXPECT_NE(result.out.find(std::string(command.name) + " " + std::string(command.arguments)),
                std::string::npos);
      EXPECT_NE(result.out.find(std::string(command.summary)), std::string::npos);
    }
  }
  const CliResult infoHelp = runCommandLine("info", {"--help"});
  EXPECT_EQ(infoHelp.exitCode, kExitSuccess);
  EXPECT_EQ(infoHelp.out.rfind("usage: reelcraft-cli info FILE\n", 0), 0u);
  EXPECT_EQ(runCommandLine("help", {"info"}).out, infoHelp.out);
}

TEST(JsonValues, SpecialTimesStayReadable) {
  EXPECT_TRUE(mediaTimeJson(MediaTime::invalid()).is_null());
  const auto infinite = mediaTimeJson(MediaTime::positiveInfinity());
  EXPECT_TRUE(infinite["seconds"].is_null());
  EXPECT_EQ(infinite["kind"], "+infinity");
  EXPECT_EQ(mediaTimeJson(MediaTime::indefinite())["kind"], "indefinite");
  EXPECT_EQ(transformJson({0.5, 0, 0, 0.5, 10.25, 0}).dump(), "[0.5,0,0,0.5,10.25,0]");
}

}  // namespace
}  // namespace reelcraft
