// Saves a movie after ten cuts without re-encoding and reports the wall time and the peak
// resident set: save_bench IN OUT. bench/save_vs_ffmpeg.sh compares it with `ffmpeg -c copy`.

#include <sys/resource.h>

#include <chrono>
#include <cstdio>

#include "benchmark_main.h"
#include "media/model/composition.h"
#include "media/model/file_asset.h"
#include "media/save/passthrough_movie_writer.h"

namespace reelcraft::bench {
namespace {

int run(const BenchmarkCommandLine& commandLine) {
  const auto opening = std::chrono::steady_clock::now();
  auto asset = FileAsset::open(commandLine.arguments[0]);
  auto composition = MutableComposition::create();
  composition->insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                               MediaTime::zero());
  // Ten cuts of a third of a second, spread over the movie, none on a keyframe.
  const double seconds = asset->duration().seconds();
  for (int cut = 10; cut >= 1; --cut) {
    const double start = seconds * cut / 11.0 + 0.123;
    composition->removeTimeRange(
        TimeRange::make(MediaTime::fromSeconds(start, 30000), MediaTime::make(10010, 30000)));
  }
  const auto begin = std::chrono::steady_clock::now();
  const std::chrono::duration<double> opened = begin - opening;
  writePassthroughMovie(*composition, commandLine.arguments[1]);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("open_seconds %.3f\nsave_seconds %.3f\npeak_rss_kb %ld\n", opened.count(),
              elapsed.count(), usage.ru_maxrss);
  return 0;
}

}  // namespace
}  // namespace reelcraft::bench

int main(int argc, char** argv) {
  return reelcraft::bench::benchmarkMain(argc, argv, {"save_bench", "IN OUT", 2},
                                         reelcraft::bench::run);
}
