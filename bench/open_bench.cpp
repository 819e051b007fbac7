// From a file's name to its first picture delivered, over several runs, three ways in turn:
// - player: FileAsset::open, a composition of the whole file, Player::create with a video
//   sink, until the sink is shown the first picture (sound is opened and started too);
// - frame access: the same composition, CompositionVideoSource::create and frameAt(0);
// - floor: plain libavformat/libavcodec: open the file, read its stream information, open
//   the decoder and decode the first frame.
//
// usage: open_bench FILE [--runs=N]

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
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

namespace reelcraft::bench {
namespace {

class FirstFrameSink : public VideoSink {
 public:
  void showFrame(const VideoFrame& frame) override {
    if (frame.frame) shown = true;
  }
  bool shown = false;
};

// Wall and CPU seconds (all threads) of one open.
struct OpenTime {
  double wall = 0;
  double cpu = 0;
};

OpenTime openWithPlayer(const std::string& path) {
  const SteadyClock::time_point start = SteadyClock::now();
  const double cpuBefore = processCpuSeconds();
  EventLoop loop;
  FirstFrameSink sink;
  std::optional<Error> failure;
  std::unique_ptr<Player> player = Player::create(wholeFileComposition(path), loop);
  player->setFailureHandler([&](const Error& error) { failure = error; });
  player->setVideoSink(&sink);
  loop.runUntil([&] { return sink.shown || failure; }, std::chrono::seconds(20));
  const OpenTime time{secondsSince(start), processCpuSeconds() - cpuBefore};
  if (failure) throw std::runtime_error("the player failed: " + failure->description);
  if (!sink.shown) throw std::runtime_error("the player showed no picture");
  return time;
}

OpenTime openWithFrameAccess(const std::string& path) {
  const SteadyClock::time_point start = SteadyClock::now();
  const double cpuBefore = processCpuSeconds();
  const std::shared_ptr<const Composition> movie = wholeFileComposition(path);
  const std::unique_ptr<CompositionVideoSource> source =
      CompositionVideoSource::create(movie, VideoComposition::withPropertiesOfAsset(*movie));
  const VideoFrame first = source->frameAt(MediaTime::zero());
  const OpenTime time{secondsSince(start), processCpuSeconds() - cpuBefore};
  if (!first.frame) throw std::runtime_error("no first picture");
  return time;
}

OpenTime openPlainly(const std::string& path) {
  const SteadyClock::time_point start = SteadyClock::now();
  const double cpuBefore = processCpuSeconds();
  PlainVideoDecoder decoder(path);
  const AVFrame* first = decoder.nextFrame();
  const OpenTime time{secondsSince(start), processCpuSeconds() - cpuBefore};
  if (!first) throw std::runtime_error("no first frame");
  return time;
}

int run(const BenchmarkCommandLine& commandLine) {
  const std::string& path = commandLine.arguments.front();
  const int runs = commandLine.number("runs", 20, 1);

  std::vector<double> player, frameAccess, floor, playerCpu, frameAccessCpu, floorCpu;
  for (int index = 0; index < runs; ++index) {
    const OpenTime byPlayer = openWithPlayer(path);
    const OpenTime byFrameAccess = openWithFrameAccess(path);
    const OpenTime plainly = openPlainly(path);
    player.push_back(byPlayer.wall);
    playerCpu.push_back(byPlayer.cpu);
    frameAccess.push_back(byFrameAccess.wall);
    frameAccessCpu.push_back(byFrameAccess.cpu);
    floor.push_back(plainly.wall);
    floorCpu.push_back(plainly.cpu);
  }
  const double floorMedian = median(floor);
  std::printf("%d runs: player slowest %.1f ms, frame access slowest %.1f ms\n", runs,
              milliseconds(percentile(player, 1)), milliseconds(percentile(frameAccess, 1)));
  printResult("open: to first picture, player, median",
              format("%.1f ms", milliseconds(median(player))),
              format("%.1f ms", milliseconds(floorMedian)), median(player) / floorMedian,
              "< 100 ms", milliseconds(median(player)) < 100);
  printResult("open: to first picture, frame access, median",
              format("%.1f ms", milliseconds(median(frameAccess))),
              format("%.1f ms", milliseconds(floorMedian)), median(frameAccess) / floorMedian,
              "< 100 ms", milliseconds(median(frameAccess)) < 100);
  const double floorCpuMedian = median(floorCpu);
  printResult("open: player, CPU time (all threads), median",
              format("%.1f ms", milliseconds(median(playerCpu))),
              format("%.1f ms", milliseconds(floorCpuMedian)), median(playerCpu) / floorCpuMedian,
              "(information)", true);
  printResult("open: frame access, CPU time (all threads), median",
              format("%.1f ms", milliseconds(median(frameAccessCpu))),
              format("%.1f ms", milliseconds(floorCpuMedian)),
              median(frameAccessCpu) / floorCpuMedian, "(information)", true);
  return 0;
}

}  // namespace
}  // namespace reelcraft::bench

int main(int argc, char** argv) {
  return reelcraft::bench::benchmarkMain(argc, argv, {"open_bench", "FILE [--runs=N]"},
                                         reelcraft::bench::run);
}
