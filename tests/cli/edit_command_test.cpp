#include "cli/edit_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli/edit_options.h"
#include "cli_runner.h"
#include "document/document_test_support.h"
#include "media/model/file_asset.h"
#include "media/support/frame_runs.h"
#include "mediagen/media_reader.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using clitest::CliResult;
using clitest::commandLine;
using clitest::runCommandLine;
using ::testing::HasSubstr;
using ::testing::Not;
using testsupport::fileBytes;
using testsupport::frameRuns;

// Runs `reelcraft-cli edit` on a copy of the 3 s, 30 fps H.264 + AAC test movie (frames 0 to
// 89, GOPs of 25 with B-frames), writing into a folder of its own.
class EditCommandTest : public ::testing::Test {
 protected:
  CliResult edit(std::vector<std::string> edits) {
    edits.insert(edits.begin(), input);
    edits.insert(edits.end(), {"-o", output});
    return runCommandLine("edit", edits);
  }

  // A failure: the given exit code, one line on standard error, no output file.
  void expectFailure(const CliResult& run, int exitCode, const std::string& message) {
    EXPECT_EQ(run.exitCode, exitCode) << run.err;
    EXPECT_THAT(run.err, HasSubstr(message));
    if (exitCode == kExitFailure) {
      EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    EXPECT_FALSE(std::filesystem::exists(output));
    EXPECT_EQ(fileBytes(input), inputBytes) << "the input is never touched";
  }

  testsupport::ScratchFolder folder;
  const std::string input = folder.copyOf("h264-aac-mov", "in.mov");
  const std::string inputBytes = fileBytes(input);
  const std::string output = folder.file("out.mov");
};

TEST_F(EditCommandTest, EditsApplyInOrderAndCopyTheFramesTheyKeepWithoutReencoding) {
  const std::string other = testmedia::testMediaPath("h264-aac-mov");
  const struct {
    std::vector<std::string> edits;
    std::vector<int> frames;
  } cases[] = {
      {{"--trim", "0:00:00.40,56/30"}, frameRuns({{12, 56}})},
      // Times as a calculator prints them, at cut points no timescale of the tracks holds.
      {{"--delete", "1.099999999,2.300000001", "--delete", "0.333333333,0.500000001"},
       frameRuns({{0, 10}, {15, 33}, {69, 90}})},
      {{"--insert", other + ":0.5,1@1"}, frameRuns({{0, 30}, {15, 30}, {30, 90}})},
      // Without a range, the whole movie.
      {{"--trim", "0,1", "--insert", input + "@0:00:00.50"},
       frameRuns({{0, 15}, {0, 90}, {15, 30}})},
      {{"--copy", "0,0.5", "--paste-at", "2", "--paste-at", "0"},
       frameRuns({{0, 15}, {0, 60}, {0, 15}, {60, 90}})},
      // After the delete, 1 s is frame 45 of the original.
      {{"--delete", "0.5,1", "--trim", "1,2"}, frameRuns({{45, 75}})},
      {{"--delete", "0,1", "--delete", "0,1", "--undo", "2"}, frameRuns({{0, 90}})},
      {{"--delete", "0,1", "--delete", "0,1", "--undo", "2", "--redo", "1"}, frameRuns({{30, 90}})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(commandLine(c.edits));
    std::filesystem::remove(output);
    const CliResult run = edit(c.edits);
    ASSERT_EQ(run.exitCode, kExitSuccess) << run.err;
    EXPECT_THAT(run.out, Not(HasSubstr("e-encoded")));
    EXPECT_EQ(testmedia::readFrameIndices(output), c.frames);
  }
  EXPECT_EQ(fileBytes(input), inputBytes);
}

TEST_F(EditCommandTest, InsertFromAMovieInAnotherCodecReencodesAndSaysSo) {
  // Motion JPEG and PCM at 24 fps into H.264 and AAC at 30 fps.
  const CliResult run = edit({"--insert", testmedia::testMediaPath("mjpeg-pcm-mov") + ":0,0.5@1"});
  ASSERT_EQ(run.exitCode, kExitSuccess) << run.err;
  EXPECT_THAT(run.out, HasSubstr("Re-encoded"));

  // The re-encoded track may run at another frame rate: each frame must be the one due at its
  // time, and every inserted frame must show.
  std::vector<int> inserted;
  int before = 0, after = 0;
  for (const auto& frame : testmedia::readVideoFrames(output)) {
    const double t = frame.seconds + 1e-6;
    if (t >= 1.0 && t < 1.5) {
      EXPECT_EQ(frame.frameIndex(), static_cast<int>((t - 1.0) * 24)) << "at " << t;
      if (inserted.empty() || inserted.back() != frame.frameIndex()) {
        inserted.push_back(frame.frameIndex());
      }
    } else {
      ++(t < 1.0 ? before : after);
      EXPECT_EQ(frame.frameIndex(), std::lround((t < 1.0 ? t : t - 0.5) * 30)) << "at " << t;
    }
  }
  EXPECT_EQ(std::make_pair(before, after), std::make_pair(30, 60));
  EXPECT_EQ(inserted, frameRuns({{0, 12}}));
}

TEST_F(EditCommandTest, RotateTurnsThePicture) {
  ASSERT_EQ(edit({"--rotate", "left"}).exitCode, kExitSuccess);
  EXPECT_EQ(FileAsset::open(output)->naturalSize(), (Size{240, 320}));
  EXPECT_EQ(testmedia::readFrameIndices(output), frameRuns({{0, 90}}));
}

TEST_F(EditCommandTest, StretchPlaysTheRangeOverTheNewDuration) {
  // Video only (25 fps, frames 0 to 49): stretched video keeps its samples, retimed.
  const CliResult run =
      runCommandLine("edit", {testmedia::testMediaPath("video-only-mp4"), "--stretch",
                              "0:00:01.00,0:00:02.00:0:00:02.00", "-o", output});
  ASSERT_EQ(run.exitCode, kExitSuccess) << run.err;
  EXPECT_EQ(testmedia::readFrameIndices(output), frameRuns({{0, 50}}));
  const auto frames = testmedia::readVideoFrames(output);
  for (const auto& [index, seconds] :
       {std::pair{24, 24 / 25.0}, {25, 1.0}, {30, 1.4}, {49, 2.92}}) {
    EXPECT_NEAR(frames.at(index).seconds, seconds, 1e-3) << "frame " << index;
  }
}

TEST_F(EditCommandTest, SavingOverTheInputReplacesItWhole) {
  ASSERT_EQ(runCommandLine("edit", {input, "--trim", "2,3", "-o", input}).exitCode, kExitSuccess);
  EXPECT_EQ(testmedia::readFrameIndices(input), frameRuns({{60, 90}}));
}

TEST_F(EditCommandTest, BadTimesRangesAndFilesAreOneLineFailures) {
  expectFailure(edit({"--trim", "1,x"}), kExitFailure, "'x' is not a time");
  expectFailure(edit({"--delete", "2,1"}), kExitFailure, "must end after it starts");
  expectFailure(edit({"--trim", "1,4"}), kExitFailure,
                "--trim 1,4: the range ends after the end of the movie (0:00:03.00)");
  expectFailure(edit({"--paste-at", "1"}), kExitFailure, "nothing has been copied");
  expectFailure(edit({"--copy", "0,1", "--paste-at", "3.5"}), kExitFailure,
                "after the end of the movie");
  expectFailure(edit({"--delete", "0,1", "--undo", "2"}), kExitFailure,
                "only 1 edit(s) can be undone");
  expectFailure(edit({"--insert", folder.file("missing.mov") + "@0"}), kExitFailure, "missing.mov");
  expectFailure(edit({"--insert", input + ":1,5@0"}), kExitFailure,
                "the range ends after the end of “" + input + "”");
  expectFailure(edit({"--stretch", "0,1:0"}), kExitFailure, "longer than zero");
  expectFailure(runCommandLine("edit", {folder.file("nothing.mov"), "-o", output}), kExitFailure,
                "nothing.mov");
  const std::string unwritable = folder.file("no-such-folder/out.mov");
  expectFailure(runCommandLine("edit", {input, "--trim", "0,1", "-o", unwritable}), kExitFailure,
                "couldn’t be saved");
  EXPECT_FALSE(std::filesystem::exists(folder.file("no-such-folder")));
  const std::string matroska = folder.file("out.mkv");
  expectFailure(runCommandLine("edit", {input, "-o", matroska}), kExitFailure,
                "(.mp4, .m4v, .m4a) movies; use reelcraft-cli export");
  EXPECT_FALSE(std::filesystem::exists(matroska));
}

TEST_F(EditCommandTest, WrongCommandLinesAreUsageErrors) {
  for (const std::vector<std::string>& edits : std::vector<std::vector<std::string>>{
           {"--rotate", "up"},
           {"--undo", "0"},
           {"--redo", "x"},
           {"--trim", "1"},
           {"--stretch", "0,1"},
           {"--insert", "file.mov"},
           {"--frobnicate"},
       }) {
    expectFailure(edit(edits), kExitUsage, "usage: reelcraft-cli edit IN [EDIT ...] -o OUT");
  }
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {input}, {input, "-o"}, {input, input, "-o", output}, {input, "--trim"}}) {
    EXPECT_EQ(runCommandLine("edit", arguments).exitCode, kExitUsage) << commandLine(arguments);
  }
}

TEST(EditOptions, InsertFindsTheFileNameAmongColons) {
  testsupport::ScratchFolder folder;
  const std::string odd = folder.file("odd:name.mov");
  std::ofstream(odd) << "x";
  const auto withRange = extractEditOptions({"--insert", odd + ":0:00:01.00,2@0:00:00.50"});
  ASSERT_EQ(withRange.edits.size(), 1u);
  EXPECT_EQ(withRange.edits[0].file, odd);
  EXPECT_EQ(withRange.edits[0].range,
            TimeRange::make(MediaTime::make(1, 1), MediaTime::make(1, 1)));
  EXPECT_EQ(withRange.edits[0].time, MediaTime::make(1, 2));

  const auto whole = extractEditOptions({"--insert", odd + "@1"});
  EXPECT_EQ(whole.edits[0].file, odd);
  EXPECT_FALSE(whole.edits[0].range.isValid());
}

TEST(EditOptions, HelpShowsTheUsage) {
  const CliResult help = runCommandLine("edit", {"--help"});
  ASSERT_EQ(help.exitCode, kExitSuccess);
  EXPECT_THAT(help.out, HasSubstr("usage: reelcraft-cli edit IN [EDIT ...] -o OUT"));
}

}  // namespace
}  // namespace reelcraft
