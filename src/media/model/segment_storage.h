#pragma once

// How a SegmentList keeps its segments. Only the list itself and the segment editing code use
// this header.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/model/asset.h"
#include "media/base/media_time.h"

namespace reelcraft {

// A run of consecutive segments, immutable once built and shared by every list (and so every
// composition snapshot) that contains it. Target times are whole ticks of the owning list's
// timescale, counted from the start of the run.
struct SegmentRun {
  struct Piece {
    std::shared_ptr<const SourceTrack> source;
    TimeRange sourceRange = TimeRange::invalid();
    int64_t offset = 0;
    int64_t duration = 0;
  };
  std::vector<Piece> pieces;  // never empty
  int64_t duration = 0;
};

struct SegmentStorage {
  struct PlacedRun {
    std::shared_ptr<const SegmentRun> run;
    int64_t start = 0;      // ticks
    size_t firstIndex = 0;  // the list index of the run's first segment
  };

  int32_t timescale = 1;
  std::vector<PlacedRun> runs;  // never empty, end to end
  size_t count = 0;

  int64_t startTicks() const { return runs.front().start; }
  int64_t endTicks() const { return runs.back().start + runs.back().run->duration; }
  MediaTime time(int64_t ticks) const { return MediaTime::make(ticks, timescale); }
  TrackSegment segment(size_t run, size_t piece) const;
  // The last run that starts at or before `t`; the first run when `t` precedes them all.
  size_t runAt(MediaTime t) const;
  // The run that holds the segment at `index`.
  size_t runOfIndex(size_t index) const;
};

// `list` with its runs [first, last) replaced by `segments`, laid end to end from the start of
// run `first` (from the first segment's start when `list` is empty) to `end`. The target times
// become ticks of a timescale that holds them all exactly when one exists; otherwise they are
// rounded to a nanosecond or finer.
SegmentList splicedSegmentList(const SegmentList& list, size_t first, size_t last,
                               const std::vector<TrackSegment>& segments, MediaTime end);

}  // namespace reelcraft
