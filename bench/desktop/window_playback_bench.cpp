// A movie played from start to end in the desktop application's document window, as a user
// plays it: a click at the start of the timeline, then a click on the play button. Counts the
// frames the player handed to the picture surface against the frames of the movie, the frames
// it dropped or showed late, the frames the surface painted, how long a paint took, and the
// processor time of the whole process (all threads) against the time on the clock.
//
// Sound goes to the system's output through the Qt audio sink when there is an output device
// (--audio=auto, the default, or --audio=qt), else to the null sink (--audio=null), which
// takes the samples at the sample rate on the steady clock as a device would.
//
// usage: window_playback_bench FILE [--audio=auto|qt|null] [--window=WxH]

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QApplication>
#include <QGuiApplication>
#include <QTest>
#include <QToolButton>

#include "benchmark_main.h"
#include "desktop_bench_support.h"
#include "qt_media/qt_audio_sink.h"
#include "timeline_view/timeline_control.h"

namespace reelcraft::bench {
namespace {

constexpr auto kPatience = std::chrono::seconds(20);

struct PlaybackFigures {
  PlayerStatistics counts;    // during the playback only
  int64_t movieFrames = 0;    // the frames of the video composition's cadence
  int64_t framesPainted = 0;  // distinct frames the surface painted while playing
  std::vector<double> paintTimes;
  double wallSeconds = 0;
  double cpuSeconds = 0;
  double movieSeconds = 0;
};

PlayerStatistics difference(const PlayerStatistics& after, const PlayerStatistics& before) {
  return {after.framesPresented - before.framesPresented,
          after.framesDropped - before.framesDropped, after.framesLate - before.framesLate,
          after.audioUnderruns - before.audioUnderruns};
}

PlaybackFigures playToTheEnd(DocumentWindowFixture& fixture) {
  TimelineControl& timeline = *fixture.view().timeline();
  Player& player = fixture.player();
  if (!player.videoComposition()) throw std::runtime_error("the movie has no video");

  // To the start: time zero lies at the bar's left end.
  const int startX = static_cast<int>(std::ceil(TimelineControl::kInset));
  QTest::mouseClick(&timeline, Qt::LeftButton, Qt::NoModifier,
                    QPoint(startX, timeline.height() / 2));
  const MediaTime start = timeline.currentTime();
  const bool atStart = runEventsUntil(
      [&] {
        const VideoFrame* shown = player.displayedFrame();
        return shown != nullptr && shown->time <= start &&
               start < add(shown->time, shown->duration) && player.currentTime() == start;
      },
      kPatience);
  if (!atStart) throw std::runtime_error("the player did not go to the start");
  runEventsFor(std::chrono::milliseconds(500));

  PlaybackFigures figures;
  figures.movieSeconds = subtract(player.duration(), start).seconds();
  figures.movieFrames = static_cast<int64_t>(
      std::ceil(figures.movieSeconds / player.videoComposition()->frameDuration.seconds()));

  PaintLog log(fixture.surface());
  const PlayerStatistics before = player.statistics();
  const double cpuBefore = processCpuSeconds();
  const SteadyClock::time_point began = SteadyClock::now();
  QTest::mouseClick(fixture.view().playPauseButton(), Qt::LeftButton);
  if (player.rate() != 1) throw std::runtime_error("the play button did not start playback");
  const auto timeout = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::duration<double>(figures.movieSeconds + 30));
  const bool ended = runEventsUntil([&] { return player.rate() == 0; }, timeout);
  figures.wallSeconds = secondsSince(began);
  figures.cpuSeconds = processCpuSeconds() - cpuBefore;
  fixture.throwOnAlert("playback failed");
  if (!ended) throw std::runtime_error("playback did not reach the end");
  if (player.currentTime() != player.duration()) {
    throw std::runtime_error("playback stopped at " + player.currentTime().debugString() +
                             " before the end");
  }
  // The last picture's paint may still be pending.
  runEventsFor(std::chrono::milliseconds(200));
  figures.counts = difference(player.statistics(), before);

  std::optional<MediaTime> lastPainted;
  for (const PaintLog::Paint& paint : log.paints) {
    figures.paintTimes.push_back(std::chrono::duration<double>(paint.end - paint.start).count());
    if (!lastPainted || paint.frameTime != *lastPainted) ++figures.framesPainted;
    lastPainted = paint.frameTime;
  }
  return figures;
}

int run(const BenchmarkCommandLine& commandLine) {
  const std::string& path = commandLine.arguments.front();
  const std::string audio = commandLine.option("audio", "auto");
  if (audio != "auto" && audio != "qt" && audio != "null") {
    throw UsageError("no sound output named " + audio);
  }
  const QSize windowSize = parseSize(commandLine.option("window", ""));

  bool qtSound = false;
  std::string audioOutput = "null sink";
  if (audio != "null") {
    qtSound = QtAudioSink().hasOutputDevice();
    if (qtSound) {
      audioOutput = "Qt audio sink";
    } else if (audio == "qt") {
      throw std::runtime_error("there is no audio output device");
    } else {
      audioOutput = "null sink (no audio output device)";
    }
  }
  // Null: the window plays through the null sink.
  auto audioSinks = [qtSound]() -> std::shared_ptr<AudioSink> {
    if (!qtSound) return nullptr;
    return std::make_shared<QtAudioSink>();
  };
  DocumentWindowFixture fixture(path, windowSize, audioSinks);
  fixture.waitForFirstPicture(kPatience);
  const QSize surfaceSize = fixture.surface().size();
  std::printf("platform %s, window %dx%d, picture surface %dx%d, sound to the %s\n",
              qPrintable(QGuiApplication::platformName()), fixture.window().playerWindow()->width(),
              fixture.window().playerWindow()->height(), surfaceSize.width(), surfaceSize.height(),
              audioOutput.c_str());

  const PlaybackFigures figures = playToTheEnd(fixture);
  const PlayerStatistics& counts = figures.counts;
  // The first frame is on show before play is pressed; every later one must be presented.
  const int64_t expected = figures.movieFrames - 1;
  const double cpuShare = figures.cpuSeconds / figures.wallSeconds;
  std::printf(
      "%.2f s of movie in %.2f s: %lld of %lld frames presented, %lld dropped, %lld late; "
      "%lld frames painted; paint median %.1f ms, 95th percentile %.1f ms; %lld audio underruns; "
      "CPU %.2f s (%.0f %% of one core, %d cores)\n",
      figures.movieSeconds, figures.wallSeconds, static_cast<long long>(counts.framesPresented),
      static_cast<long long>(expected), static_cast<long long>(counts.framesDropped),
      static_cast<long long>(counts.framesLate), static_cast<long long>(figures.framesPainted),
      milliseconds(median(figures.paintTimes)), milliseconds(percentile(figures.paintTimes, 0.95)),
      static_cast<long long>(counts.audioUnderruns), figures.cpuSeconds, 100 * cpuShare,
      static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)));

  const std::string label =
      "ui (" + QGuiApplication::platformName().toStdString() + ", " + audioOutput + "): playback";
  printResult(label + ", frames presented", std::to_string(counts.framesPresented),
              std::to_string(expected), static_cast<double>(counts.framesPresented) / expected,
              "all", counts.framesPresented >= expected);
  printResult(label + ", frames dropped", std::to_string(counts.framesDropped), "", std::nan(""),
              "none", counts.framesDropped == 0);
  printResult(label + ", frames late", std::to_string(counts.framesLate), "", std::nan(""),
              "(information)", true);
  printResult(label + ", frames painted", std::to_string(figures.framesPainted),
              std::to_string(expected), static_cast<double>(figures.framesPainted) / expected,
              "(information)", true);
  printResult(label + ", CPU (user+sys / wall)", format("%.0f %%", 100 * cpuShare), "",
              std::nan(""), "(information)", true);
  printResult(label + ", wall time against movie time", format("%.2f s", figures.wallSeconds),
              format("%.2f s", figures.movieSeconds), figures.wallSeconds / figures.movieSeconds,
              "(information)", true);
  if (audioOutput == "Qt audio sink") {
    printResult(label + ", audio underruns", std::to_string(counts.audioUnderruns), "",
                std::nan(""), "none", counts.audioUnderruns == 0);
  }
  return 0;
}

}  // namespace
}  // namespace reelcraft::bench

int main(int argc, char** argv) {
  reelcraft::bench::chooseOffscreenWithoutDisplay();
  QApplication application(argc, argv);
  return reelcraft::bench::benchmarkMain(
      argc, argv, {"window_playback_bench", "FILE [--audio=auto|qt|null] [--window=WxH]"},
      reelcraft::bench::run);
}
