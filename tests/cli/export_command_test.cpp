#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <tuple>

#include "cli_runner.h"
#include "media/support/converted_movies.h"
#include "media/support/frame_runs.h"
#include "mediagen/broken_files.h"
#include "mediagen/media_reader.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using clitest::CliResult;
using testing::HasSubstr;
using testmedia::testMediaPath;

CliResult exportMovie(const std::vector<std::string>& arguments) {
  return clitest::runCommandLine("export", arguments);
}

std::string outputPath(const std::string& name) {
  const std::string path = testmedia::testMediaDirectory() + "/cli-" + name;
  std::filesystem::remove(path);
  return path;
}

TEST(ExportCommand, WithoutOptionsWritesTheBasicMpeg4) {
  const std::string path = outputPath("basic.mp4");
  const CliResult outcome = exportMovie({testMediaPath("h264-aac-mov"), path});
  ASSERT_EQ(outcome.exitCode, kExitSuccess) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "");  // no progress bar when stderr is not a terminal
  const auto frames = testmedia::readVideoFrames(path);
  ASSERT_EQ(frames.size(), 90u);
  EXPECT_EQ(std::make_pair(frames.back().width, frames.back().height), std::make_pair(320, 240));
  EXPECT_EQ(frames.back().frameIndex(), 89);
  EXPECT_EQ(testmedia::readAudio(path).sourceSampleRate, 44100);
}

TEST(ExportCommand, MoviesOnClocksOfTheirOwnKeepTheirLengthAndLastPicture) {
  for (const converted::SourceKind& kind : converted::clockKinds()) {
    SCOPED_TRACE(kind.name);
    const std::string path = outputPath(kind.name + ".mp4");
    ASSERT_EQ(exportMovie({kind.path(), path}).exitCode, kExitSuccess);
    std::vector<int> shown = testmedia::readFrameIndices(path);
    // Black first where the picture starts a little after the sound; the last picture held.
    if (!shown.empty() && shown.front() == -1) shown.erase(shown.begin());
    shown.erase(std::unique(shown.begin(), shown.end()), shown.end());
    EXPECT_EQ(shown, testsupport::frameRuns({{0, 90}}));
    EXPECT_NEAR(testmedia::readVideoFrames(path).back().seconds, kind.seconds, 1 / 30.0 + 0.01);
  }
}

TEST(ExportCommand, EditsApplyBeforeConvertingAndOneSideSetKeepsTheAspectRatio) {
  const std::string path = outputPath("trimmed.mov");
  const CliResult outcome =
      exportMovie({testMediaPath("h264-aac-mov"), path, "--trim", "0.5,1.5", "--format",
                   "QuickTime Movie", "--video-codec", "Motion JPEG", "--width", "160"});
  ASSERT_EQ(outcome.exitCode, kExitSuccess) << outcome.err;
  EXPECT_EQ(testmedia::readFrameIndices(path), testsupport::frameRuns({{15, 45}}));

  const std::string narrow = outputPath("narrow.mov");
  ASSERT_EQ(exportMovie({testMediaPath("h264-aac-mov"), narrow, "--format",
                         "Video Only: QuickTime Movie", "--height", "106"})
                .exitCode,
            kExitSuccess);
  const auto frames = testmedia::readVideoFrames(narrow);
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames.front().width, 142);  // 106 × 4/3 = 141.3, truncated, then made even for H.264
  EXPECT_EQ(frames.front().height, 106);
}

// Without --format the first MPEG 4 entry that the movie's tracks allow is taken.
TEST(ExportCommand, WithoutAFormatOneSidedMoviesGetTheirMpeg4Entry) {
  for (const auto& [variant, video, audio] :
       {std::tuple{"audio-only-m4a", false, true}, {"video-only-mp4", true, false}}) {
    SCOPED_TRACE(variant);
    const std::string path = outputPath(std::string(variant) + "-default.mp4");
    const CliResult outcome = exportMovie({testMediaPath(variant), path});
    ASSERT_EQ(outcome.exitCode, kExitSuccess) << outcome.err;
    // The frames and the sound of the kinds the movie has.
    EXPECT_EQ(video ? testmedia::readFrameIndices(path).size() : 0u, 50u * video);
    EXPECT_NEAR(audio ? testmedia::readAudio(path).sampleCount() / 44100.0 : 0, 2.0 * audio, 0.03);
  }
}

TEST(ExportCommand, SoundOnlyFormatsTakeTheirPcmOptions) {
  const std::string path = outputPath("sound.wav");
  const CliResult outcome = exportMovie({testMediaPath("audio-only-m4a"), path, "--format",
                                         "Audio Only: WAVE", "--sample-rate", "48000", "--quiet"});
  ASSERT_EQ(outcome.exitCode, kExitSuccess) << outcome.err;
  const auto audio = testmedia::readAudio(path);
  EXPECT_EQ(audio.channels.size(), 2u);
  EXPECT_EQ(audio.sourceSampleRate, 48000);
  EXPECT_NEAR(static_cast<double>(audio.sampleCount()) / 48000, 2.0, 1e-3);
}

TEST(ExportCommand, FailuresNameTheirCauseOnOneLine) {
  const std::string noVideo = outputPath("no-video.mp4");
  const CliResult cannotConvert =
      exportMovie({testMediaPath("audio-only-m4a"), noVideo, "--format", "MPEG 4"});
  EXPECT_EQ(cannotConvert.exitCode, kExitFailure);
  EXPECT_EQ(cannotConvert.err,
            "Movie cannot be converted: The source material of the movie cannot be converted to "
            "the output format supported by Reelcraft\n");
  EXPECT_FALSE(std::filesystem::exists(noVideo));

  const CliResult unreadable = exportMovie(
      {testmedia::brokenMediaPath(testmedia::BrokenFileKind::RandomBytes), outputPath("x.mp4")});
  EXPECT_EQ(unreadable.exitCode, kExitFailure);
  EXPECT_NE(unreadable.err, "");
  EXPECT_EQ(unreadable.err.find('\n'), unreadable.err.size() - 1);

  const std::string unwritable = testmedia::testMediaDirectory() + "/no-such-folder/out.mp4";
  const CliResult cannotWrite = exportMovie({testMediaPath("h264-aac-mov"), unwritable});
  EXPECT_EQ(cannotWrite.exitCode, kExitFailure);
  EXPECT_THAT(cannotWrite.err, HasSubstr("out.mp4"));

  const std::string pcmInMp4 = outputPath("pcm.mp4");
  const CliResult refused =
      exportMovie({testMediaPath("h264-aac-mov"), pcmInMp4, "--audio-codec", "Linear PCM"});
  EXPECT_EQ(refused.exitCode, kExitFailure);
  EXPECT_FALSE(std::filesystem::exists(pcmInMp4));
}

TEST(ExportCommand, WrongCommandLinesAreUsageErrors) {
  const std::string in = testMediaPath("h264-aac-mov");
  const std::string out = outputPath("never.mp4");
  const std::vector<std::vector<std::string>> wrong = {
      {in},
      {in, out, "--format", "MPEG4"},
      {in, out, "--video-codec", "VP9"},
      {in, out, "--format", "Audio Only: WAVE", "--audio-codec", "AAC"},
      {in, out, "--format", "Audio Only: WAVE", "--video-codec", "H.264"},
      {in, out, "--quality", "0.5"},   // H.264 takes no quality
      {in, out, "--bit-depth", "24"},  // AAC takes no bit depth
      {in, out, "--size", "640x480", "--width", "320"},
      {in, out, "--size", "640"},
      {in, out, "--width", "0"},
      {in, out, "--video-kbps", "lots"},
      {in, out, "--audio-kbps"},
      {in, out, "--sample-rate", "44100", "--sample-rate", "48000"},
      {in, out, "--frobnicate"},
      {in, in},
  };
  for (const auto& arguments : wrong) {
    const CliResult outcome = exportMovie(arguments);
    EXPECT_EQ(outcome.exitCode, kExitUsage) << clitest::commandLine(arguments);
    EXPECT_THAT(outcome.err, HasSubstr("usage: reelcraft-cli export"));
  }
  EXPECT_FALSE(std::filesystem::exists(out));
}

TEST(ExportCommand, HelpShowsTheUsage) {
  const CliResult help = exportMovie({"--help"});
  EXPECT_EQ(help.exitCode, kExitSuccess);
  EXPECT_THAT(help.out, HasSubstr("usage: reelcraft-cli export"));
}

}  // namespace
}  // namespace reelcraft
