// Playback of a movie from start to end through the player, with a video sink that counts the
// pictures it is shown and the null audio sink (which takes samples at the sample rate on the
// steady clock, as a device would): at rate 1, how many pictures were late or dropped; at
// rate 2, how often the sound ran dry.
//
// usage: playback_bench FILE [--rates=1,2]

#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "benchmark_main.h"
#include "media/audio/null_audio_sink.h"
#include "media/base/main_queue.h"
#include "media/playback/player.h"
#include "media/playback/video_sink.h"
#include "media_bench_support.h"

namespace reelcraft::bench {
namespace {

class CountingVideoSink : public VideoSink {
 public:
  void showFrame(const VideoFrame& frame) override {
    if (frame.frame) ++shown;
  }
  int64_t shown = 0;
};

struct PlaybackRun {
  PlayerStatistics statistics;
  int64_t expectedFrames = 0;  // the frames of the video composition's cadence
  double wallSeconds = 0;      // from play() to the end
  double movieSeconds = 0;
};

PlaybackRun play(const std::shared_ptr<const Composition>& movie, double rate) {
  EventLoop loop;
  std::unique_ptr<Player> player = Player::create(movie, loop);
  CountingVideoSink sink;
  player->setVideoSink(&sink);
  player->setAudioSink(std::make_shared<NullAudioSink>());
  std::optional<Error> failure;
  bool ended = false;
  player->setFailureHandler([&](const Error& error) { failure = error; });
  player->setEndHandler([&] { ended = true; });

  // Start as a user does: once the first picture is on show.
  loop.runUntil([&] { return sink.shown > 0 || failure; }, std::chrono::seconds(20));
  if (failure) throw std::runtime_error("the movie cannot be played: " + failure->description);
  if (sink.shown == 0) throw std::runtime_error("the first picture never came");
  if (!player->videoComposition()) throw std::runtime_error("the movie has no video");

  PlaybackRun run;
  run.movieSeconds = player->duration().seconds();
  run.expectedFrames = static_cast<int64_t>(
      std::ceil(run.movieSeconds / player->videoComposition()->frameDuration.seconds()));
  const SteadyClock::time_point start = SteadyClock::now();
  player->setRate(rate);
  const auto timeout = std::chrono::duration<double>(run.movieSeconds / rate + 30);
  loop.runUntil([&] { return ended || failure; },
                std::chrono::duration_cast<std::chrono::nanoseconds>(timeout));
  run.wallSeconds = secondsSince(start);
  if (failure) throw std::runtime_error("playback failed: " + failure->description);
  if (!ended) throw std::runtime_error("playback did not reach the end");
  run.statistics = player->statistics();
  return run;
}

int run(const BenchmarkCommandLine& commandLine) {
  const std::string& path = commandLine.arguments.front();
  std::vector<double> rates;
  std::istringstream rateList(commandLine.option("rates", "1,2"));
  for (std::string rate; std::getline(rateList, rate, ',');) rates.push_back(std::stod(rate));

  const std::shared_ptr<const Composition> movie = wholeFileComposition(path);
  for (const double rate : rates) {
    const PlaybackRun run = play(movie, rate);
    const PlayerStatistics& counts = run.statistics;
    const double badShare =
        static_cast<double>(counts.framesLate + counts.framesDropped) / run.expectedFrames;
    std::printf(
        "rate %g: %.2f s of movie in %.2f s; %lld of %lld frames presented, %lld late, %lld "
        "dropped; %lld audio underruns\n",
        rate, run.movieSeconds, run.wallSeconds, static_cast<long long>(counts.framesPresented),
        static_cast<long long>(run.expectedFrames), static_cast<long long>(counts.framesLate),
        static_cast<long long>(counts.framesDropped),
        static_cast<long long>(counts.audioUnderruns));
    const std::string label = "playback: rate " + format("%g", rate);
    if (rate == 1) {
      printResult(label + ", frames late or dropped", format("%.2f %%", 100 * badShare), "",
                  std::nan(""), "<= 1 %", badShare <= 0.01);
    } else {
      printResult(label + ", frames late or dropped", format("%.2f %%", 100 * badShare), "",
                  std::nan(""), "(information)", true);
    }
    printResult(label + ", audio underruns", std::to_string(counts.audioUnderruns), "",
                std::nan(""), "none", counts.audioUnderruns == 0);
    printResult(label + ", wall time against movie time / rate", format("%.2f s", run.wallSeconds),
                format("%.2f s", run.movieSeconds / rate),
                run.wallSeconds / (run.movieSeconds / rate), "(information)", true);
  }
  return 0;
}

}  // namespace
}  // namespace reelcraft::bench

int main(int argc, char** argv) {
  return reelcraft::bench::benchmarkMain(argc, argv, {"playback_bench", "FILE [--rates=1,2]"},
                                         reelcraft::bench::run);
}
