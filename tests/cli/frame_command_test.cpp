#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cli_runner.h"
#include "mediagen/broken_files.h"
#include "mediagen/media_reader.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using testmedia::brokenMediaPath;
using testmedia::testMediaPath;

using clitest::CliResult;
using clitest::runCommandLine;

std::string pngPath(const std::string& name) {
  return testmedia::testMediaDirectory() + "/frame-" + name + ".png";
}

// The picture the command wrote, decoded back.
testmedia::DecodedVideoFrame writtenPicture(const std::string& path) {
  const auto frames = testmedia::readVideoFrames(path);
  EXPECT_EQ(frames.size(), 1u);
  return frames.empty() ? testmedia::DecodedVideoFrame{} : frames.front();
}

TEST(FrameCommand, WritesThePictureShownAtEveryKindOfTime) {
  struct Case {
    std::string time;
    int frameIndex;
  };
  // 30 fps: frame n is shown from n/30 s up to (n+1)/30 s.
  const std::vector<Case> cases = {
      {"0", 0},           {"1.5", 45},   {"1.51", 45},  {"1.4999", 44},
      {"0:00:02.20", 66}, {"45/30", 45}, {"89/30", 89}, {"3", 89},  // the end shows the last frame
  };
  const std::string movie = testMediaPath("h264-aac-mov");
  for (const Case& c : cases) {
    const std::string output = pngPath("time-" + std::to_string(c.frameIndex));
    const CliResult result = runCommandLine("frame", {movie, c.time, "-o", output});
    ASSERT_EQ(result.exitCode, kExitSuccess) << c.time << ": " << result.err;
    EXPECT_EQ(result.err, "");
    const auto picture = writtenPicture(output);
    EXPECT_EQ(picture.width, 320);
    EXPECT_EQ(picture.height, 240);
    EXPECT_EQ(picture.frameIndex(), c.frameIndex) << "at " << c.time;
  }
}

TEST(FrameCommand, RotatedMovieComesOutUpright) {
  const std::string output = pngPath("rotated");
  const CliResult result =
      runCommandLine("frame", {testMediaPath("rotated-mov"), "1", "--output", output});
  ASSERT_EQ(result.exitCode, kExitSuccess) << result.err;
  const auto picture = writtenPicture(output);
  EXPECT_EQ(picture.width, 240);
  EXPECT_EQ(picture.height, 320);
  ASSERT_TRUE(picture.code.has_value());
  EXPECT_EQ(picture.code->index, 30);
  // The stored pictures are turned a quarter clockwise when shown, as players show them.
  EXPECT_EQ(picture.code->quarterTurnsClockwise, 1);
  EXPECT_FALSE(picture.code->mirrored);
}

TEST(FrameCommand, FailuresAreOneLineWithoutAFile) {
  const std::string movie = testMediaPath("h264-aac-mov");
  struct Case {
    std::vector<std::string> arguments;
    int exitCode;
  };
  const std::string output = pngPath("failure");
  const std::vector<Case> cases = {
      {{brokenMediaPath(testmedia::BrokenFileKind::Truncated), "1", "-o", output}, kExitFailure},
      {{"/nonexistent/movie.mov", "1", "-o", output}, kExitFailure},
      {{movie, "3.5", "-o", output}, kExitFailure},   // after the end
      {{movie, "five", "-o", output}, kExitFailure},  // not a time
      {{testMediaPath("audio-only-m4a"), "1", "-o", output}, kExitFailure},
      {{movie, "1", "-o", "/nonexistent/folder/x.png"}, kExitFailure},
      {{movie, "1"}, kExitUsage},                          // no output
      {{movie, "-o", output}, kExitUsage},                 // no time
      {{movie, "1", "2", "-o", output}, kExitUsage},       // too many
      {{movie, "1", "-o", output, "--fast"}, kExitUsage},  // unknown option
  };
  for (const Case& c : cases) {
    std::filesystem::remove(output);
    const CliResult result = runCommandLine("frame", c.arguments);
    const std::string command = clitest::commandLine(c.arguments);
    EXPECT_EQ(result.exitCode, c.exitCode) << command;
    EXPECT_EQ(result.out, "") << command;
    EXPECT_FALSE(result.err.empty()) << command;
    if (c.exitCode == kExitFailure) {
      EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << command << result.err;
    }
    EXPECT_FALSE(std::filesystem::exists(output)) << command;
  }
}

}  // namespace
}  // namespace reelcraft
