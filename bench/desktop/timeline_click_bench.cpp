// A click on the timeline until the picture at the time clicked is on screen, in the desktop
// application's document window.
//
// The movie (full HD with long GOPs, so that most clicks land far from a keyframe) opens in a
// document window as the application opens it. Then the timeline is clicked at random places
// across the whole movie, one click at a time with a pause between clicks as a user makes,
// and each click is timed until the picture surface has painted the frame displayed at the
// time clicked. The floor: the same frame sought and decoded with plain libavformat/libavcodec
// calls, timed right after the click settles. The painted picture must be the floor's, pixel
// for pixel.
//
// usage: timeline_click_bench FILE [--clicks=N] [--seed=N] [--pause-ms=N] [--window=WxH]

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <QApplication>
#include <QGuiApplication>
#include <QTest>

#include "benchmark_main.h"
#include "desktop_bench_support.h"
#include "plain_video_decoder.h"
#include "timeline_view/timeline_control.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/mathematics.h>
}

namespace reelcraft::bench {
namespace {

constexpr auto kPatience = std::chrono::seconds(20);

bool covers(const VideoFrame& frame, MediaTime time) {
  return frame.time <= time && time < add(frame.time, frame.duration);
}

struct ClickFigures {
  std::vector<double> toPainted;   // seconds from the click to the end of the paint
  std::vector<double> paintTimes;  // seconds the paint itself took
  std::vector<double> floor;       // seconds for the plain decoder to reach the frame
  // Processor seconds (all threads) for the same, which a busy machine disturbs less than the
  // time on the clock.
  std::vector<double> toPaintedCpu;
  std::vector<double> floorCpu;
  int mismatches = 0;
};

ClickFigures measureClicks(DocumentWindowFixture& fixture, const std::string& path, int clicks,
                           std::chrono::milliseconds pause, std::mt19937_64& random) {
  TimelineControl& timeline = *fixture.view().timeline();
  PlayerVideoView& surface = fixture.surface();
  const MediaTime duration = fixture.player().duration();

  // The pixels of the bar whose times lie inside the movie.
  const int firstX = static_cast<int>(std::ceil(TimelineControl::kInset));
  int lastX = static_cast<int>(std::floor(timeline.width() - TimelineControl::kInset));
  while (lastX > firstX && timeline.timeAt(lastX) >= duration) --lastX;
  if (lastX <= firstX) throw std::runtime_error("the timeline is too narrow to click");
  std::uniform_int_distribution<int> anyX(firstX, lastX);
  std::printf("timeline: %d px wide, %d places to click, %.1f ms of movie each\n", timeline.width(),
              lastX - firstX + 1, milliseconds(duration.seconds() / timeline.usableWidth()));

  PlainVideoDecoder plain(path);
  ClickFigures figures;
  for (int click = 0; click < clicks; ++click) {
    // A place whose frame is not already on show, so that there is something new to paint.
    int x = 0;
    MediaTime target;
    do {
      x = anyX(random);
      target = timeline.timeAt(x);
    } while (surface.frame() && covers(*surface.frame(), target));

    PaintLog log(surface);
    const double cpuBefore = processCpuSeconds();
    const SteadyClock::time_point start = SteadyClock::now();
    QTest::mouseClick(&timeline, Qt::LeftButton, Qt::NoModifier, QPoint(x, timeline.height() / 2));
    if (timeline.currentTime() != target) {
      throw std::runtime_error("a click did not move the timeline's cursor");
    }
    const auto paintOfTarget = [&]() -> const PaintLog::Paint* {
      for (const PaintLog::Paint& paint : log.paints) {
        if (paint.shows(target)) return &paint;
      }
      return nullptr;
    };
    if (!runEventsUntil([&] { return paintOfTarget() != nullptr; }, kPatience)) {
      fixture.throwOnAlert("the player failed");
      throw std::runtime_error("the frame at " + target.debugString() + " was never painted");
    }
    figures.toPaintedCpu.push_back(processCpuSeconds() - cpuBefore);
    const PaintLog::Paint painted = *paintOfTarget();
    figures.toPainted.push_back(std::chrono::duration<double>(painted.end - start).count());
    figures.paintTimes.push_back(
        std::chrono::duration<double>(painted.end - painted.start).count());

    // The user looks at the picture before clicking again; the player settles meanwhile.
    runEventsFor(pause);

    const int64_t ticks = av_rescale_q_rnd(target.value, AVRational{1, target.timescale},
                                           plain.timeBase(), AV_ROUND_DOWN);
    const double floorCpuBefore = processCpuSeconds();
    const SteadyClock::time_point floorStart = SteadyClock::now();
    const AVFrame* floorPicture = plain.frameAt(ticks);
    figures.floor.push_back(secondsSince(floorStart));
    figures.floorCpu.push_back(processCpuSeconds() - floorCpuBefore);
    // The player is paused after a click: the surface still shows the frame it painted.
    const std::optional<VideoFrame>& shown = surface.frame();
    if (!floorPicture || !shown || !covers(*shown, target) || !shown->frame ||
        !sameLuma(*shown->frame, *floorPicture)) {
      ++figures.mismatches;
      std::printf("click at %.6f s: the painted picture differs from the decoded one\n",
                  target.seconds());
    }
  }
  return figures;
}

int run(const BenchmarkCommandLine& commandLine) {
  const std::string& path = commandLine.arguments.front();
  const int clicks = commandLine.number("clicks", 200, 1);
  const auto pause = std::chrono::milliseconds(commandLine.number("pause-ms", 150, 0));
  const QSize windowSize = parseSize(commandLine.option("window", ""));
  std::mt19937_64 random(std::stoull(commandLine.option("seed", "20241123")));

  // Clicks only: the sound output stays silent.
  DocumentWindowFixture fixture(path, windowSize, [] { return nullptr; });
  fixture.waitForFirstPicture(kPatience);
  // Let the window reach its size and the player settle before the first click.
  runEventsFor(std::chrono::milliseconds(500));
  const QSize surfaceSize = fixture.surface().size();
  std::printf("platform %s, window %dx%d, picture surface %dx%d\n",
              qPrintable(QGuiApplication::platformName()), fixture.window().playerWindow()->width(),
              fixture.window().playerWindow()->height(), surfaceSize.width(), surfaceSize.height());

  const ClickFigures figures = measureClicks(fixture, path, clicks, pause, random);
  const double median_ = median(figures.toPainted);
  const double p95 = percentile(figures.toPainted, 0.95);
  const double floorMedian = median(figures.floor);
  const double floorP95 = percentile(figures.floor, 0.95);
  std::printf(
      "%d clicks: to painted mean %.1f ms, slowest %.1f ms; paint alone median %.1f ms; floor "
      "mean %.1f ms; %d pictures differ\n",
      clicks, milliseconds(mean(figures.toPainted)), milliseconds(percentile(figures.toPainted, 1)),
      milliseconds(median(figures.paintTimes)), milliseconds(mean(figures.floor)),
      figures.mismatches);
  const std::string platform = QGuiApplication::platformName().toStdString();
  const std::string movie = std::filesystem::path(path).stem().string();
  const std::string label = "ui (" + platform + ", " + movie + "): timeline click to frame painted";
  printResult(label + ", median", format("%.1f ms", milliseconds(median_)),
              format("%.1f ms", milliseconds(floorMedian)), median_ / floorMedian, "(information)",
              true);
  printResult(label + ", 95th percentile", format("%.1f ms", milliseconds(p95)),
              format("%.1f ms", milliseconds(floorP95)), p95 / floorP95, "<= 50 ms",
              milliseconds(p95) <= 50);
  const double cpuMedian = median(figures.toPaintedCpu);
  const double floorCpuMedian = median(figures.floorCpu);
  printResult(label + ", CPU time, median", format("%.1f ms", milliseconds(cpuMedian)),
              format("%.1f ms", milliseconds(floorCpuMedian)), cpuMedian / floorCpuMedian,
              "(information)", true);
  printResult("ui (" + platform + ", " + movie + "): painted pictures identical to the floor's",
              std::to_string(clicks - figures.mismatches) + "/" + std::to_string(clicks), "",
              std::nan(""), "all", figures.mismatches == 0);
  return figures.mismatches == 0 ? 0 : 1;
}

}  // namespace
}  // namespace reelcraft::bench

int main(int argc, char** argv) {
  reelcraft::bench::chooseOffscreenWithoutDisplay();
  QApplication application(argc, argv);
  return reelcraft::bench::benchmarkMain(
      argc, argv,
      {"timeline_click_bench", "FILE [--clicks=N] [--seed=N] [--pause-ms=N] [--window=WxH]"},
      reelcraft::bench::run);
}
