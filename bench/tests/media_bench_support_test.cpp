// The parts of the media benchmarks whose faults would make their figures lie: the plain
// FFmpeg decoder that serves as the floor must land on the right frames, the statistics and
// command timing must report what happened, and the options must be read as the scripts give
// them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <tuple>

#include "benchmark_main.h"
#include "media/model/video_composition.h"
#include "media/render/composition_video_source.h"
#include "media_bench_support.h"
#include "mediagen/frame_code.h"
#include "mediagen/test_media.h"
#include "plain_video_decoder.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/mathematics.h>
}

namespace reelcraft::bench {
namespace {

using testmedia::readFrameCode;
using testmedia::testMediaPath;

int frameIndexOf(const AVFrame* frame) {
  if (!frame) return -1;
  const std::optional<testmedia::FrameCode> code = readFrameCode(*frame);
  return code ? code->index : -2;
}

// Every frame of the file in presentation order: (presentation ticks, frame number).
std::vector<std::pair<int64_t, int>> decodeAll(const std::string& path) {
  PlainVideoDecoder decoder(path);
  std::vector<std::pair<int64_t, int>> frames;
  while (const AVFrame* frame = decoder.nextFrame()) {
    frames.emplace_back(PlainVideoDecoder::presentationTicks(*frame), frameIndexOf(frame));
  }
  return frames;
}

// The frame number displayed at `ticks`: the last frame that starts at or before it (the
// first frame before the stream starts).
int displayedAt(const std::vector<std::pair<int64_t, int>>& frames, int64_t ticks) {
  int shown = frames.front().second;
  for (const auto& [start, index] : frames) {
    if (start > ticks) break;
    shown = index;
  }
  return shown;
}

class PlainVideoDecoderTest : public testing::TestWithParam<const char*> {};

TEST_P(PlainVideoDecoderTest, ReadsEveryFrameInOrderAndFrameAtLandsOnTheFrameDisplayed) {
  const std::string path = testMediaPath(GetParam());
  const std::vector<std::pair<int64_t, int>> frames = decodeAll(path);
  ASSERT_GT(frames.size(), 40u);
  for (size_t position = 0; position < frames.size(); ++position) {
    EXPECT_EQ(frames[position].second, static_cast<int>(position)) << "at " << position;
    if (position > 0) {
      EXPECT_GT(frames[position].first, frames[position - 1].first);
    }
  }

  // Frame starts, the tick before each start and the tick after it (B-frames make the
  // frames right after a keyframe the hard ones), in an order that seeks back and forth;
  // past the last frame the last frame shows.
  PlainVideoDecoder decoder(path);
  std::vector<int64_t> targets{frames.back().first + 1000000};
  for (const auto& [start, index] : frames)
    targets.insert(targets.end(), {start, start - 1, start + 1});
  std::shuffle(targets.begin(), targets.end(), std::mt19937(7));
  targets.push_back(decoder.startTicks());
  for (const int64_t ticks : targets) {
    if (ticks < decoder.startTicks()) continue;
    EXPECT_EQ(frameIndexOf(decoder.frameAt(ticks)), displayedAt(frames, ticks))
        << GetParam() << " at tick " << ticks;
  }
}

// The seek benchmark compares our exact frame access with the floor picture for picture:
// both must show the same frame at any time of a whole-file composition.
TEST_P(PlainVideoDecoderTest, AgreesWithTheFrameAccessOfAWholeFileComposition) {
  const std::string path = testMediaPath(GetParam());
  const std::shared_ptr<const Composition> movie = wholeFileComposition(path);
  const std::unique_ptr<CompositionVideoSource> source =
      CompositionVideoSource::create(movie, VideoComposition::withPropertiesOfAsset(*movie));
  PlainVideoDecoder decoder(path);
  const AVRational timeBase = decoder.timeBase();

  // Composition times are the file's times; before the video starts the composition shows
  // black, which the floor does not know of.
  const int64_t firstMicrosecond =
      av_rescale_q_rnd(decoder.startTicks(), timeBase, AVRational{1, 1000000}, AV_ROUND_UP);
  const int64_t lastMicrosecond = static_cast<int64_t>(movie->duration().seconds() * 1e6) - 1;
  std::mt19937 random(11);
  std::uniform_int_distribution<int64_t> anyTime(firstMicrosecond, lastMicrosecond);
  for (int seek = 0; seek < 40; ++seek) {
    const int64_t microseconds = anyTime(random);
    const int64_t ticks =
        av_rescale_q_rnd(microseconds, AVRational{1, 1000000}, timeBase, AV_ROUND_DOWN);
    const VideoFrame ours = source->frameAt(MediaTime::make(microseconds, 1000000));
    EXPECT_EQ(frameIndexOf(ours.frame.get()), frameIndexOf(decoder.frameAt(ticks)))
        << GetParam() << " at " << microseconds << " us";
  }
}

INSTANTIATE_TEST_SUITE_P(GeneratedMovies, PlainVideoDecoderTest,
                         testing::Values("h264-aac-mp4", "ntsc-h264-aac-mov", "delayed-video-mov",
                                         "mjpeg-pcm-mov"));

TEST(PlainVideoDecoderErrorsTest, FilesThatCannotBeDecodedThrow) {
  EXPECT_THROW(PlainVideoDecoder("/nonexistent/movie.mp4"), std::runtime_error);
  EXPECT_THROW(PlainVideoDecoder(testMediaPath("audio-only-m4a")), std::runtime_error);
}

TEST(StatisticsTest, PercentilesInterpolateBetweenRanks) {
  const std::vector<double> values = {40, 10, 30, 20};
  EXPECT_DOUBLE_EQ(percentile(values, 0), 10);
  EXPECT_DOUBLE_EQ(percentile(values, 1), 40);
  EXPECT_DOUBLE_EQ(median(values), 25);
  EXPECT_DOUBLE_EQ(percentile(values, 0.95), 38.5);
  EXPECT_DOUBLE_EQ(median({7}), 7);
  EXPECT_DOUBLE_EQ(mean(values), 25);
  EXPECT_TRUE(std::isnan(median({})));
  EXPECT_TRUE(std::isnan(mean({})));
}

TEST(BenchmarkCommandLineTest, SeparatesPlainArgumentsFromOptions) {
  const BenchmarkCommandLine line = BenchmarkCommandLine::parse(
      {"--seeks=12", "movie.mp4", "--seeks=3", "--rounds=many", "other.mp4"});
  EXPECT_EQ(line.arguments, (std::vector<std::string>{"movie.mp4", "other.mp4"}));
  EXPECT_EQ(line.number("seeks", 200, 1), 12);
  EXPECT_EQ(line.number("seeks", 200, 20), 20);
  EXPECT_EQ(line.number("seed", 7, 1), 7);
  EXPECT_EQ(line.option("window", "default"), "default");
  EXPECT_THROW(line.number("rounds", 3, 1), UsageError);
}

TEST(BenchmarkCommandLineTest, MainExitsWithTheDriversStatusOrAnError) {
  const auto succeeds = [](const BenchmarkCommandLine&) { return 0; };
  const auto refuses = [](const BenchmarkCommandLine&) -> int { throw UsageError("x"); };
  const auto fails = [](const BenchmarkCommandLine&) -> int { throw std::runtime_error("x"); };
  const std::vector<
      std::tuple<std::vector<std::string>, std::function<int(const BenchmarkCommandLine&)>, int>>
      cases = {{{"bench", "movie.mp4", "--runs=2"}, succeeds, 0},
               {{"bench"}, succeeds, 2},
               {{"bench", "movie.mp4", "other.mp4"}, succeeds, 2},
               {{"bench", "movie.mp4", "--runs"}, succeeds, 2},
               {{"bench", "movie.mp4"}, refuses, 2},
               {{"bench", "movie.mp4"}, fails, 1}};
  for (auto [words, run, exitStatus] : cases) {
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    EXPECT_EQ(benchmarkMain(static_cast<int>(argv.size()), argv.data(), {"bench", "FILE"}, run),
              exitStatus)
        << testing::PrintToString(words);
  }
}

TEST(RunCommandTest, ReportsTheExitStatusAndTheChildsCpuTime) {
  const CommandRun failing = runCommand({"sh", "-c", "exit 3"});
  EXPECT_EQ(failing.exitStatus, 3);
  EXPECT_EQ(runCommand({"/nonexistent/program"}).exitStatus, 127);

  // A fixed amount of work on one thread: its CPU time shows, and cannot exceed the time it
  // took on the clock.
  const CommandRun busy =
      runCommand({"sh", "-c", "i=0; while [ $i -lt 200000 ]; do i=$((i + 1)); done"});
  EXPECT_EQ(busy.exitStatus, 0);
  EXPECT_GT(busy.cpuSeconds, 0.01);
  EXPECT_LE(busy.cpuSeconds, busy.wallSeconds + 0.01);
}

}  // namespace
}  // namespace reelcraft::bench
