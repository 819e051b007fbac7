// Saves a movie after ten cuts without re-encoding and reports the wall time and the peak
// resident set: save_bench IN OUT. bench/save_vs_ffmpeg.sh compares it with `ffmpeg -c copy`.

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <exception>

#include "media/model/composition.h"
#include "media/base/error.h"
#include "media/model/file_asset.h"
#include "media/save/passthrough_movie_writer.h"

int main(int argc, char** argv) {
  using namespace reelcraft;
  if (argc != 3) {
    std::fprintf(stderr, "usage: save_bench IN OUT\n");
    return 2;
  }
  try {
    const auto opening = std::chrono::steady_clock::now();
    auto asset = FileAsset::open(argv[1]);
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
    writePassthroughMovie(*composition, argv[2]);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("open_seconds %.3f\nsave_seconds %.3f\npeak_rss_kb %ld\n", opened.count(),
                elapsed.count(), usage.ru_maxrss);
  } catch (const ErrorException& error) {
    std::fprintf(stderr, "save_bench: %s %s\n", error.error().description.c_str(),
                 error.error().recoverySuggestion.c_str());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "save_bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
