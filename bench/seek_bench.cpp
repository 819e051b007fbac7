// Exact seeks and frame steps back in a movie with long GOPs.
//
// Seeks: random times, each handed to our exact frame access (the path the player takes:
// CompositionVideoSource::frameAt over a composition showing the whole file, which returns
// the picture displayed at the time, drawn at the render size) and to the floor (plain
// libavformat/libavcodec: seek back to the keyframe at or before the time, decode until the
// frame that covers it), one after the other so that both meet the same load. Each seek is
// timed until its picture is delivered, and the two pictures must be the same, pixel for
// pixel.
//
// Steps back: from random times, one frame back at a time, as the player's step -1 asks, both
// straight from the frame access and through a player (until its video sink shows the frame).
//
// usage: seek_bench FILE [--seeks=N] [--step-starts=N] [--steps=N] [--seed=N]

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "benchmark_main.h"
#include "media/base/main_queue.h"
#include "media/model/video_composition.h"
#include "media/playback/player.h"
#include "media/playback/video_sink.h"
#include "media/render/composition_video_source.h"
#include "media_bench_support.h"
#include "plain_video_decoder.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/mathematics.h>
}

namespace reelcraft::bench {
namespace {

struct SeekFigures {
  std::vector<double> ours;   // seconds per seek
  std::vector<double> floor;  // seconds per seek
  // CPU seconds per seek (all threads, the decoder's included), which a busy machine
  // disturbs less than the time on the clock.
  std::vector<double> oursCpu;
  std::vector<double> floorCpu;
  int mismatches = 0;
};

SeekFigures measureSeeks(const std::string& path, const std::shared_ptr<const Composition>& movie,
                         int seeks, std::mt19937_64& random) {
  const VideoComposition videoComposition = VideoComposition::withPropertiesOfAsset(*movie);
  const std::unique_ptr<CompositionVideoSource> source =
      CompositionVideoSource::create(movie, videoComposition);
  PlainVideoDecoder plain(path);
  const AVRational timeBase = plain.timeBase();

  // Times anywhere in the movie's video, in microseconds, not only on frame boundaries.
  const int64_t firstMicrosecond =
      av_rescale_q_rnd(plain.startTicks(), timeBase, AVRational{1, 1000000}, AV_ROUND_UP);
  const int64_t lastMicrosecond = static_cast<int64_t>(movie->duration().seconds() * 1e6) - 1;
  std::uniform_int_distribution<int64_t> anyTime(firstMicrosecond, lastMicrosecond);

  SeekFigures figures;
  for (int index = 0; index < seeks; ++index) {
    const int64_t microseconds = anyTime(random);
    const MediaTime t = MediaTime::make(microseconds, 1000000);
    // Composition times are the file's times here (the composition shows the whole file
    // from zero). Rounded down, so that the tick lies in the same frame as the time.
    const int64_t ticks =
        av_rescale_q_rnd(microseconds, AVRational{1, 1000000}, timeBase, AV_ROUND_DOWN);

    // Alternate who goes first, so that neither side always finds the file's pages warmer.
    std::shared_ptr<AVFrame> ourPicture;
    const AVFrame* floorPicture = nullptr;
    for (int turn = 0; turn < 2; ++turn) {
      const SteadyClock::time_point start = SteadyClock::now();
      const double cpuBefore = processCpuSeconds();
      if ((index + turn) % 2 == 0) {
        ourPicture = source->frameAt(t).frame;
        figures.ours.push_back(secondsSince(start));
        figures.oursCpu.push_back(processCpuSeconds() - cpuBefore);
      } else {
        floorPicture = plain.frameAt(ticks);
        figures.floor.push_back(secondsSince(start));
        figures.floorCpu.push_back(processCpuSeconds() - cpuBefore);
      }
    }
    if (!ourPicture || !floorPicture || !sameLuma(*ourPicture, *floorPicture)) {
      ++figures.mismatches;
      std::printf("seek to %.6f s: the pictures differ\n", t.seconds());
    }
  }
  return figures;
}

std::vector<double> measureStepsBack(const std::shared_ptr<const Composition>& movie, int starts,
                                     int steps, std::mt19937_64& random) {
  const VideoComposition videoComposition = VideoComposition::withPropertiesOfAsset(*movie);
  const std::unique_ptr<CompositionVideoSource> source =
      CompositionVideoSource::create(movie, videoComposition);
  const MediaTime frame = source->frameDuration();
  const int64_t frameCount = static_cast<int64_t>(movie->duration().seconds() / frame.seconds());
  std::uniform_int_distribution<int64_t> startFrame(steps, frameCount - 1);

  std::vector<double> times;
  for (int run = 0; run < starts; ++run) {
    int64_t position = startFrame(random);
    // Land on the starting frame first, as the user does before stepping (not timed).
    source->frameAt(multiplyByRatio(frame, position, 1));
    for (int step = 0; step < steps; ++step) {
      --position;
      const SteadyClock::time_point start = SteadyClock::now();
      const VideoFrame shown = source->frameAt(multiplyByRatio(frame, position, 1));
      times.push_back(secondsSince(start));
      if (!shown.frame) throw std::runtime_error("a step back delivered no picture");
    }
  }
  return times;
}

class LastFrameSink : public VideoSink {
 public:
  void showFrame(const VideoFrame& frame) override { last = frame; }
  std::optional<VideoFrame> last;
};

// The same steps through a player: stepByCount(-1), timed until its video sink is shown the
// picture of the frame before (the player decodes on its own thread and hands the picture
// over through its main queue).
std::vector<double> measurePlayerStepsBack(const std::shared_ptr<const Composition>& movie,
                                           int starts, int steps, std::mt19937_64& random) {
  EventLoop loop;
  std::unique_ptr<Player> player = Player::create(movie, loop);
  LastFrameSink sink;
  player->setVideoSink(&sink);
  std::optional<Error> failure;
  player->setFailureHandler([&](const Error& error) { failure = error; });
  const auto patience = std::chrono::seconds(60);
  if (!loop.runUntil([&] { return sink.last || failure; }, patience) || failure) {
    throw std::runtime_error("the player showed no picture");
  }
  const MediaTime frame = player->videoComposition()->frameDuration;
  const int64_t frameCount = static_cast<int64_t>(movie->duration().seconds() / frame.seconds());
  std::uniform_int_distribution<int64_t> startFrame(steps, frameCount - 1);

  std::vector<double> times;
  for (int run = 0; run < starts; ++run) {
    const MediaTime startTime = multiplyByRatio(frame, startFrame(random), 1);
    bool sought = false;
    player->seek(startTime, [&](bool) { sought = true; });
    if (!loop.runUntil([&] { return sought || failure; }, patience) || failure) {
      throw std::runtime_error("a seek of the player did not complete");
    }
    for (int step = 0; step < steps; ++step) {
      const MediaTime expected = subtract(sink.last->time, frame);
      const SteadyClock::time_point start = SteadyClock::now();
      player->stepByCount(-1);
      if (!loop.runUntil([&] { return compare(sink.last->time, expected) == 0 || failure; },
                         patience) ||
          failure) {
        throw std::runtime_error("a step back of the player showed no picture");
      }
      times.push_back(secondsSince(start));
    }
  }
  return times;
}

int run(const BenchmarkCommandLine& commandLine) {
  const std::string& path = commandLine.arguments.front();
  const int seeks = commandLine.number("seeks", 200, 1);
  const int stepStarts = commandLine.number("step-starts", 10, 1);
  const int steps = commandLine.number("steps", 40, 1);
  std::mt19937_64 random(std::stoull(commandLine.option("seed", "20240521")));

  const std::shared_ptr<const Composition> movie = wholeFileComposition(path);
  const SeekFigures seekFigures = measureSeeks(path, movie, seeks, random);
  const double oursMedian = median(seekFigures.ours);
  const double floorMedian = median(seekFigures.floor);
  const double oursP95 = percentile(seekFigures.ours, 0.95);
  const double floorP95 = percentile(seekFigures.floor, 0.95);
  std::printf("%d seeks: ours mean %.1f ms, floor mean %.1f ms, %d pictures differ\n", seeks,
              milliseconds(mean(seekFigures.ours)), milliseconds(mean(seekFigures.floor)),
              seekFigures.mismatches);
  printResult("seek: exact seek, median", format("%.1f ms", milliseconds(oursMedian)),
              format("%.1f ms", milliseconds(floorMedian)), oursMedian / floorMedian,
              "ratio <= 1.2", oursMedian / floorMedian <= 1.2);
  printResult("seek: exact seek, 95th percentile", format("%.1f ms", milliseconds(oursP95)),
              format("%.1f ms", milliseconds(floorP95)), oursP95 / floorP95, "ratio <= 1.2",
              oursP95 / floorP95 <= 1.2);
  const double oursCpuMedian = median(seekFigures.oursCpu);
  const double floorCpuMedian = median(seekFigures.floorCpu);
  printResult("seek: exact seek, CPU time, median", format("%.1f ms", milliseconds(oursCpuMedian)),
              format("%.1f ms", milliseconds(floorCpuMedian)), oursCpuMedian / floorCpuMedian,
              "(information)", true);
  printResult("seek: pictures identical to the floor's",
              std::to_string(seeks - seekFigures.mismatches) + "/" + std::to_string(seeks), "",
              std::nan(""), "all", seekFigures.mismatches == 0);

  const std::vector<double> stepTimes = measureStepsBack(movie, stepStarts, steps, random);
  const double stepMedian = median(stepTimes);
  std::printf("%zu steps back: mean %.1f ms, 95th percentile %.1f ms, slowest %.1f ms\n",
              stepTimes.size(), milliseconds(mean(stepTimes)),
              milliseconds(percentile(stepTimes, 0.95)), milliseconds(percentile(stepTimes, 1)));
  printResult("seek: step back one frame, median", format("%.3f ms", milliseconds(stepMedian)), "",
              std::nan(""), "<= 30 ms", milliseconds(stepMedian) <= 30);

  const std::vector<double> playerSteps = measurePlayerStepsBack(movie, stepStarts, steps, random);
  const double playerStepMedian = median(playerSteps);
  std::printf("%zu steps back through the player: mean %.1f ms, 95th percentile %.1f ms\n",
              playerSteps.size(), milliseconds(mean(playerSteps)),
              milliseconds(percentile(playerSteps, 0.95)));
  printResult("seek: step back one frame, player, median",
              format("%.3f ms", milliseconds(playerStepMedian)), "", std::nan(""), "<= 30 ms",
              milliseconds(playerStepMedian) <= 30);
  return seekFigures.mismatches == 0 ? 0 : 1;
}

}  // namespace
}  // namespace reelcraft::bench

int main(int argc, char** argv) {
  return reelcraft::bench::benchmarkMain(
      argc, argv, {"seek_bench", "FILE [--seeks=N] [--step-starts=N] [--steps=N] [--seed=N]"},
      reelcraft::bench::run);
}
