#include "cli/edit_command.h"

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli_command.h"
#include "cli/edit_options.h"
#include "media/model/file_asset.h"
#include "mediagen/media_reader.h"
#include "mediagen/position_signal.h"
#include "mediagen/test_media.h"

namespace reelcraft {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::vector<int> indices(int from, int to) {
  std::vector<int> result;
  for (int i = from; i < to; ++i) result.push_back(i);
  return result;
}

std::vector<int> joined(std::initializer_list<std::vector<int>> parts) {
  std::vector<int> result;
  for (const auto& part : parts) result.insert(result.end(), part.begin(), part.end());
  return result;
}

std::string fileBytes(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

struct CliRun {
  int exitCode = 0;
  std::string out;
  std::string err;
};

// Runs `reelcraft-cli edit` on a copy of the 3 s, 30 fps H.264 + AAC test movie (frames 0 to
// 89, GOPs of 25 with B-frames), writing into a folder of its own.
class EditCommandTest : public ::testing::Test {
 protected:
  EditCommandTest() {
    std::string pattern = testmedia::testMediaDirectory() + "/edit-XXXXXX";
    folder = ::mkdtemp(pattern.data());
    input = file("in.mov");
    std::filesystem::copy_file(testmedia::testMediaPath("h264-aac-mov"), input);
  }
  ~EditCommandTest() override { std::filesystem::remove_all(folder); }

  std::string file(const std::string& name) const { return folder + "/" + name; }

  CliRun edit(std::vector<std::string> edits, const std::string& outputName = "out.mov") {
    std::vector<std::string> arguments{"edit", input};
    arguments.insert(arguments.end(), edits.begin(), edits.end());
    arguments.insert(arguments.end(), {"-o", file(outputName)});
    return runArguments(arguments);
  }

  static CliRun runArguments(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    CliRun run;
    run.exitCode = runCli(arguments, out, err);
    run.out = out.str();
    run.err = err.str();
    return run;
  }

  std::vector<int> savedFrames(const std::string& name = "out.mov") const {
    return testmedia::readFrameIndices(file(name));
  }

  // A failure: the given exit code, one line on standard error, no output file.
  void expectFailure(const CliRun& run, int exitCode, const std::string& message) {
    EXPECT_EQ(run.exitCode, exitCode) << run.err;
    EXPECT_THAT(run.err, HasSubstr(message));
    if (exitCode == kExitFailure) {
      EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    EXPECT_FALSE(std::filesystem::exists(file("out.mov")));
    EXPECT_EQ(fileBytes(input), inputBytes) << "the input is never touched";
  }

  std::string folder;
  std::string input;
  const std::string inputBytes = fileBytes(testmedia::testMediaPath("h264-aac-mov"));
};

TEST_F(EditCommandTest, TrimKeepsTheRangeFrameExactly) {
  const CliRun run = edit({"--trim", "0:00:00.40,56/30"});
  ASSERT_EQ(run.exitCode, kExitSuccess) << run.err;
  EXPECT_EQ(savedFrames(), indices(12, 56));
  EXPECT_EQ(fileBytes(input), inputBytes);
}

// Where the sound heard at `seconds` of the saved movie comes from in the source.
std::optional<double> soundSourceAt(const std::string& path, double seconds) {
  const testmedia::DecodedAudio audio = testmedia::readAudio(path);
  const auto first =
      static_cast<size_t>(std::llround((seconds - audio.startSeconds) * audio.sampleRate));
  constexpr size_t kBlock = 4096;
  if (first + kBlock > audio.sampleCount()) return std::nullopt;
  const auto location =
      testmedia::locatePositionSignal(audio.channels[0].data() + first, kBlock, audio.sampleRate);
  if (!location) return std::nullopt;
  return location->seconds;
}

TEST_F(EditCommandTest, DeleteClosesTheGap) {
  ASSERT_EQ(edit({"--delete=1.1,2.3"}).exitCode, kExitSuccess);
  EXPECT_EQ(savedFrames(), joined({indices(0, 33), indices(69, 90)}));
  // Half an AAC packet at 48 kHz is 10.7 ms.
  const auto heard = soundSourceAt(file("out.mov"), 1.5);
  ASSERT_TRUE(heard.has_value());
  EXPECT_NEAR(*heard, 2.7, 0.0107);
}

TEST_F(EditCommandTest, CutsAtNanosecondTimesCopyEverythingWithoutReencoding) {
  // Times as a calculator prints them, at cut points no timescale of the tracks holds.
  const CliRun run =
      edit({"--delete", "1.099999999,2.300000001", "--delete", "0.333333333,0.500000001"});
  ASSERT_EQ(run.exitCode, kExitSuccess) << run.err;
  EXPECT_THAT(run.out, Not(HasSubstr("e-encoded"))) << run.out;
  EXPECT_EQ(savedFrames(), joined({indices(0, 10), indices(15, 33), indices(69, 90)}));
}

TEST_F(EditCommandTest, InsertFromAMovieInAnotherCodecReencodesAndSaysSo) {
  // Motion JPEG and PCM at 24 fps into H.264 and AAC at 30 fps.
  const std::string other = file("other.mov");
  std::filesystem::copy_file(testmedia::testMediaPath("mjpeg-pcm-mov"), other);
  const CliRun run = edit({"--insert", other + ":0,0.5@1"});
  ASSERT_EQ(run.exitCode, kExitSuccess) << run.err;
  EXPECT_THAT(run.out, HasSubstr("Re-encoded"));

  // The re-encoded track may run at another frame rate: each frame must be the one due at its
  // time, and every inserted frame must show.
  std::vector<int> before;
  std::vector<int> inserted;
  std::vector<int> after;
  for (const auto& frame : testmedia::readVideoFrames(file("out.mov"))) {
    const double t = frame.seconds;
    if (t < 1.0 - 1e-6) {
      before.push_back(frame.frameIndex());
      EXPECT_EQ(frame.frameIndex(), std::lround(t * 30)) << "at " << t;
    } else if (t < 1.5 - 1e-6) {
      if (inserted.empty() || inserted.back() != frame.frameIndex()) {
        inserted.push_back(frame.frameIndex());
      }
      EXPECT_EQ(frame.frameIndex(), static_cast<int>(std::floor((t - 1.0) * 24 + 1e-6)))
          << "at " << t;
    } else {
      after.push_back(frame.frameIndex());
      EXPECT_EQ(frame.frameIndex(), std::lround((t - 0.5) * 30)) << "at " << t;
    }
  }
  EXPECT_EQ(before, indices(0, 30));
  EXPECT_EQ(inserted, indices(0, 12));
  EXPECT_EQ(after, indices(30, 90));
}

TEST_F(EditCommandTest, InsertPutsAnotherMoviesRangeAtTheTime) {
  const std::string other = file("other.mov");
  std::filesystem::copy_file(testmedia::testMediaPath("h264-aac-mov"), other);
  ASSERT_EQ(edit({"--insert", other + ":0.5,1@1"}).exitCode, kExitSuccess);
  EXPECT_EQ(savedFrames(), joined({indices(0, 30), indices(15, 30), indices(30, 90)}));
}

TEST_F(EditCommandTest, InsertWithoutARangeTakesTheWholeMovie) {
  ASSERT_EQ(edit({"--trim", "0,1", "--insert", input + "@0:00:00.50"}).exitCode, kExitSuccess);
  EXPECT_EQ(savedFrames(), joined({indices(0, 15), indices(0, 90), indices(15, 30)}));
}

TEST_F(EditCommandTest, CopyAndPasteWithinTheMovie) {
  ASSERT_EQ(edit({"--copy", "0,0.5", "--paste-at", "2", "--paste-at", "0"}).exitCode, kExitSuccess);
  EXPECT_EQ(savedFrames(),
            joined({indices(0, 15), indices(0, 60), indices(0, 15), indices(60, 90)}));
}

TEST_F(EditCommandTest, EditsApplyInOrderToTheMovieAsLeftByTheOnesBefore) {
  // After the delete, 1 s is frame 45 of the original.
  ASSERT_EQ(edit({"--delete", "0.5,1", "--trim", "1,2"}).exitCode, kExitSuccess);
  EXPECT_EQ(savedFrames(), indices(45, 75));
}

TEST_F(EditCommandTest, UndoAndRedoStepThroughTheEdits) {
  ASSERT_EQ(edit({"--delete", "0,1", "--delete", "0,1", "--undo", "2"}, "undone.mov").exitCode,
            kExitSuccess);
  EXPECT_EQ(savedFrames("undone.mov"), indices(0, 90));

  ASSERT_EQ(edit({"--delete", "0,1", "--delete", "0,1", "--undo", "2", "--redo", "1"}, "redone.mov")
                .exitCode,
            kExitSuccess);
  EXPECT_EQ(savedFrames("redone.mov"), indices(30, 90));
}

TEST_F(EditCommandTest, RotateTurnsThePicture) {
  ASSERT_EQ(edit({"--rotate", "left"}).exitCode, kExitSuccess);
  const auto saved = FileAsset::open(file("out.mov"));
  EXPECT_EQ(saved->naturalSize().width, 240);
  EXPECT_EQ(saved->naturalSize().height, 320);
  EXPECT_EQ(savedFrames(), indices(0, 90));
}

TEST_F(EditCommandTest, StretchPlaysTheRangeOverTheNewDuration) {
  // Video only (25 fps, frames 0 to 49): stretched video keeps its samples, retimed.
  const std::string silent = file("silent.mp4");
  std::filesystem::copy_file(testmedia::testMediaPath("video-only-mp4"), silent);
  const CliRun run = runArguments(
      {"edit", silent, "--stretch", "0:00:01.00,0:00:02.00:0:00:02.00", "-o", file("out.mov")});
  ASSERT_EQ(run.exitCode, kExitSuccess) << run.err;

  const auto frames = testmedia::readVideoFrames(file("out.mov"));
  std::vector<int> shown;
  for (const auto& frame : frames) shown.push_back(frame.frameIndex());
  ASSERT_EQ(shown, indices(0, 50));
  EXPECT_NEAR(frames[24].seconds, 24 / 25.0, 1e-3);
  EXPECT_NEAR(frames[25].seconds, 1.0, 1e-3);
  EXPECT_NEAR(frames[30].seconds, 1.4, 1e-3);
  EXPECT_NEAR(frames[49].seconds, 1.0 + 24 * 2 / 25.0, 1e-3);
}

TEST_F(EditCommandTest, SavingOverTheInputReplacesItWhole) {
  const std::vector<std::string> arguments{"edit", input, "--trim", "2,3", "-o", input};
  ASSERT_EQ(runArguments(arguments).exitCode, kExitSuccess);
  EXPECT_EQ(testmedia::readFrameIndices(input), indices(60, 90));
}

TEST_F(EditCommandTest, BadTimesAndRangesAreOneLineFailures) {
  expectFailure(edit({"--trim", "1,x"}), kExitFailure, "'x' is not a time");
  expectFailure(edit({"--delete", "2,1"}), kExitFailure, "must end after it starts");
  expectFailure(edit({"--trim", "1,4"}), kExitFailure,
                "--trim 1,4: the range ends after the end of the movie (0:00:03.00)");
  expectFailure(edit({"--paste-at", "1"}), kExitFailure, "nothing has been copied");
  expectFailure(edit({"--copy", "0,1", "--paste-at", "3.5"}), kExitFailure,
                "after the end of the movie");
  expectFailure(edit({"--delete", "0,1", "--undo", "2"}), kExitFailure,
                "only 1 edit(s) can be undone");
  expectFailure(edit({"--insert", file("missing.mov") + "@0"}), kExitFailure, "missing.mov");
  expectFailure(edit({"--insert", input + ":1,5@0"}), kExitFailure,
                "the range ends after the end of “" + input + "”");
  expectFailure(edit({"--stretch", "0,1:0"}), kExitFailure, "longer than zero");
}

TEST_F(EditCommandTest, UnreadableInputAndUnwritableOutputAreFailures) {
  const CliRun missing = runArguments({"edit", file("nothing.mov"), "-o", file("out.mov")});
  expectFailure(missing, kExitFailure, "nothing.mov");

  const CliRun unwritable = edit({"--trim", "0,1"}, "no-such-folder/out.mov");
  expectFailure(unwritable, kExitFailure, "couldn’t be saved");
  EXPECT_FALSE(std::filesystem::exists(file("no-such-folder")));
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
    const CliRun run = edit(edits);
    EXPECT_EQ(run.exitCode, kExitUsage) << edits[0] << ": " << run.err;
    EXPECT_THAT(run.err, HasSubstr("usage: reelcraft-cli edit IN [EDIT ...] -o OUT"));
  }
  EXPECT_EQ(runArguments({"edit", input}).exitCode, kExitUsage) << "no output";
  EXPECT_EQ(runArguments({"edit", input, "-o"}).exitCode, kExitUsage);
  EXPECT_EQ(runArguments({"edit", input, input, "-o", file("out.mov")}).exitCode, kExitUsage);
  EXPECT_EQ(runArguments({"edit", input, "--trim"}).exitCode, kExitUsage);
}

TEST(EditOptions, ExtractsTheEditsInOrderAndLeavesTheRest) {
  const ExtractedEditOptions extracted = extractEditOptions(
      {"in.mov", "--rotate=right", "-o", "out.mov", "--stretch", "1,2:3/2", "--undo", "1"});
  EXPECT_EQ(extracted.otherArguments, (std::vector<std::string>{"in.mov", "-o", "out.mov"}));
  ASSERT_EQ(extracted.edits.size(), 3u);
  EXPECT_EQ(extracted.edits[0].kind, EditStep::Kind::Rotate);
  EXPECT_FALSE(extracted.edits[0].left);
  EXPECT_EQ(extracted.edits[1].kind, EditStep::Kind::Stretch);
  EXPECT_TRUE(extracted.edits[1].range ==
              TimeRange::make(MediaTime::make(1, 1), MediaTime::make(1, 1)));
  EXPECT_TRUE(extracted.edits[1].time == MediaTime::make(3, 2));
  EXPECT_EQ(extracted.edits[1].text, "--stretch 1,2:3/2");
  EXPECT_EQ(extracted.edits[2].count, 1);
}

TEST(EditOptions, InsertFindsTheFileNameAmongColons) {
  const std::string odd = testmedia::testMediaDirectory() + "/odd:name.mov";
  std::ofstream(odd) << "x";
  const auto withRange = extractEditOptions({"--insert", odd + ":0:00:01.00,2@0:00:00.50"});
  ASSERT_EQ(withRange.edits.size(), 1u);
  EXPECT_EQ(withRange.edits[0].file, odd);
  EXPECT_TRUE(withRange.edits[0].range ==
              TimeRange::make(MediaTime::make(1, 1), MediaTime::make(1, 1)));
  EXPECT_TRUE(withRange.edits[0].time == MediaTime::make(1, 2));

  const auto whole = extractEditOptions({"--insert", odd + "@1"});
  EXPECT_EQ(whole.edits[0].file, odd);
  EXPECT_FALSE(whole.edits[0].range.isValid());
  std::filesystem::remove(odd);
}

TEST(EditOptions, HelpDescribesEveryOption) {
  std::ostringstream out;
  std::ostringstream err;
  ASSERT_EQ(runCli({"edit", "--help"}, out, err), kExitSuccess);
  const std::string help = out.str();
  EXPECT_THAT(help, HasSubstr("usage: reelcraft-cli edit IN [EDIT ...] -o OUT"));
  for (const char* option :
       {"--trim A,B", "--delete A,B", "--rotate left|right", "--stretch A,B:D",
        "--insert FILE[:A,B]@T", "--copy A,B", "--paste-at T", "--undo N", "--redo N"}) {
    EXPECT_THAT(help, HasSubstr(option));
  }
}

}  // namespace
}  // namespace reelcraft
