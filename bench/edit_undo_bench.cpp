// Ten thousand random edits of a three-track movie through Movie, each registering its undo
// snapshot, then undo all and redo all. Reports the time of each phase, the growth of the peak
// resident set and the size of the segment maps.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "document/movie.h"
#include "media/base/error.h"

namespace reelcraft {
namespace {

constexpr int kEdits = 10000;

long peakResidentKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

size_t segmentCount(const Composition& composition) {
  size_t count = 0;
  for (const AssetTrack& track : composition.tracks()) count += track.segments.size();
  return count;
}

// A camera file as the demuxer would describe it: no media is read.
class CameraFile : public Asset {
 public:
  CameraFile() {
    add(MediaType::Video, 1, MediaTime::make(1801800, 30000));  // 60.06 s of 29.97 fps
    add(MediaType::Audio, 2, MediaTime::make(2880000, 48000));  // 60 s
    add(MediaType::Audio, 3, MediaTime::make(2646000, 44100));  // 60 s, a second language
  }
  MediaTime duration() const override { return MediaTime::make(1801800, 30000); }
  Size naturalSize() const override { return Size{1920, 1080}; }
  const std::vector<AssetTrack>& tracks() const override { return tracks_; }

 private:
  void add(MediaType type, int32_t id, MediaTime duration) {
    auto source = std::make_shared<SourceTrack>();
    source->path = "camera.mov";
    source->trackID = id;
    source->mediaType = type;
    source->timeRange = TimeRange::make(MediaTime::make(0, duration.timescale), duration);
    if (type == MediaType::Video) {
      source->naturalSize = Size{1920, 1080};
      source->minFrameDuration = MediaTime::make(1001, 30000);
    }
    tracks_.push_back(AssetTrack::fromSource(std::move(source)));
  }
  std::vector<AssetTrack> tracks_;
};

// Edits like a user's, on a timeline kept between 30 s and 5 min long: inserts of camera clips
// and of pasted stretches of the movie itself, deletions, trims, stretches and rotations. Times
// fall on the 1/600 s grid of the timeline.
class RandomEditor {
 public:
  RandomEditor(Movie& movie, AssetPtr camera) : movie_(movie), camera_(std::move(camera)) {}

  // One edit; an insertion the composition refuses still leaves its undo entry, as in the app.
  void edit() {
    try {
      editOnce();
    } catch (const ErrorException&) {
      ++refusedInserts;
    }
  }

  int refusedInserts = 0;

 private:
  void editOnce() {
    const MediaTime duration = movie_.composition->duration();
    const double seconds = duration.seconds();
    int choice = uniform(100);
    if (seconds < 30) choice = choice % 40;        // only inserts
    if (seconds > 300) choice = 40 + choice % 60;  // no inserts
    if (choice < 30) {
      const MediaTime length = grid(300 + uniform(2700));  // 0.5 s to 5 s
      const MediaTime start = grid(uniform(36036 - length.value));
      movie_.insert(MovieFragment{camera_, TimeRange::make(start, length)}, gridUpTo(duration));
    } else if (choice < 40) {
      if (!clipboard_.asset || uniform(4) == 0) {
        clipboard_ = MovieFragment{movie_.composition->copy(), rangeWithin(duration, 6000)};
      }
      movie_.insert(clipboard_, gridUpTo(duration));
    } else if (choice < 72) {
      movie_.remove(rangeWithin(duration, 3000));
    } else if (choice < 75) {
      movie_.trim(
          TimeRange::make(grid(uniform(600)), grid(static_cast<int64_t>(seconds * 600) - 1200)));
    } else if (choice < 92) {
      const TimeRange range = rangeWithin(duration, 3600);
      movie_.scale(range, multiplyByRatio(range.duration, 50 + uniform(151), 100));
    } else {
      movie_.rotate(uniform(2) == 0);
    }
  }

  int uniform(int64_t below) { return static_cast<int>(random_() % static_cast<uint64_t>(below)); }
  static MediaTime grid(int64_t ticks) { return MediaTime::make(ticks, 600); }
  MediaTime gridUpTo(MediaTime limit) {
    return grid(uniform(static_cast<int64_t>(limit.seconds() * 600) + 1));
  }
  TimeRange rangeWithin(MediaTime limit, int64_t longestTicks) {
    const auto last = static_cast<int64_t>(limit.seconds() * 600);
    const int64_t start = uniform(last);
    return TimeRange::make(grid(start), grid(1 + uniform(std::min(longestTicks, last - start))));
  }
  Movie& movie_;
  const AssetPtr camera_;
  MovieFragment clipboard_;
  std::mt19937_64 random_{42};
};

void BM_TenThousandEditsUndoneAndRedone(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  const auto milliseconds = [](Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
  };
  const auto camera = std::make_shared<const CameraFile>();
  for (auto _ : state) {
    const long residentBefore = peakResidentKilobytes();
    const auto manager = std::make_shared<UndoManager>();
    const auto movie = Movie::create();
    movie->undoManager = manager;
    movie->composition->removeTrack(movie->composition->tracks().front().trackID);
    movie->composition->insertTimeRange(TimeRange::make(MediaTime::zero(), camera->duration()),
                                        *camera, MediaTime::zero());
    RandomEditor editor(*movie, camera);
    size_t mostSegments = 0;

    const auto start = Clock::now();
    for (int i = 0; i < kEdits; ++i) {
      editor.edit();
      mostSegments = std::max(mostSegments, segmentCount(*movie->composition));
    }
    const auto edited = Clock::now();
    const size_t finalSegments = segmentCount(*movie->composition);
    const double finalSeconds = movie->composition->duration().seconds();
    while (manager->undo()) {
    }
    const auto undone = Clock::now();
    while (manager->redo()) {
    }
    const auto redone = Clock::now();
    if (segmentCount(*movie->composition) != finalSegments) {
      state.SkipWithError("redo did not give back the edited movie");
    }

    state.counters["edit_ms"] = milliseconds(edited - start);
    state.counters["undo_all_ms"] = milliseconds(undone - edited);
    state.counters["redo_all_ms"] = milliseconds(redone - undone);
    state.counters["total_ms"] = milliseconds(redone - start);
    state.counters["peak_rss_growth_MB"] = (peakResidentKilobytes() - residentBefore) / 1024.0;
    state.counters["segments_final"] = static_cast<double>(finalSegments);
    state.counters["segments_most"] = static_cast<double>(mostSegments);
    state.counters["movie_final_s"] = finalSeconds;
    state.counters["refused_inserts"] = editor.refusedInserts;
  }
}
BENCHMARK(BM_TenThousandEditsUndoneAndRedone)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace reelcraft

BENCHMARK_MAIN();
