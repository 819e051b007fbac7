#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <string>

#include "media/model/asset.h"
#include "media/model/segment_list.h"
#include "media/model/segment_storage.h"

namespace reelcraft {
namespace {

// Segments per stored run: small enough that an edit rebuilds little, large enough that the
// list of runs stays short.
constexpr size_t kRunLength = 16;

// A timescale that is a multiple of `timescale` and of the timescales of `times` (so that times
// keep the timescales they were given, as sums of times do), or, when none fits in 32 bits, the
// finest multiple of one that holds as many of them as fit.
int32_t timescaleHolding(int32_t timescale, const std::vector<MediaTime>& times) {
  int64_t needed = timescale;
  for (const MediaTime& t : times) {
    const int64_t more = std::lcm(needed, static_cast<int64_t>(t.timescale));
    if (more > MediaTime::kMaxTimescale) {
      return static_cast<int32_t>(needed * (MediaTime::kMaxTimescale / needed));
    }
    needed = more;
  }
  return static_cast<int32_t>(needed);
}

std::shared_ptr<const SegmentRun> rescaled(const std::shared_ptr<const SegmentRun>& run,
                                           int64_t factor) {
  if (factor == 1) return run;
  auto copy = std::make_shared<SegmentRun>(*run);
  for (SegmentRun::Piece& piece : copy->pieces) {
    piece.offset *= factor;
    piece.duration *= factor;
  }
  copy->duration *= factor;
  return copy;
}

// Cuts `pieces` (offsets from the first one's start) into runs of at most kRunLength, of even
// lengths, placed from `start`.
void appendRuns(std::vector<SegmentRun::Piece> pieces, int64_t start,
                std::vector<SegmentStorage::PlacedRun>& runs) {
  const size_t runCount = (pieces.size() + kRunLength - 1) / kRunLength;
  size_t next = 0;
  for (size_t r = 0; r < runCount; ++r) {
    const size_t length = (pieces.size() - next) / (runCount - r);
    auto run = std::make_shared<SegmentRun>();
    run->pieces.assign(std::make_move_iterator(pieces.begin() + next),
                       std::make_move_iterator(pieces.begin() + next + length));
    const int64_t runStart = run->pieces.front().offset;
    for (SegmentRun::Piece& piece : run->pieces) piece.offset -= runStart;
    run->duration = run->pieces.back().offset + run->pieces.back().duration;
    runs.push_back({std::move(run), start + runStart, 0});
    next += length;
  }
}

}  // namespace

TrackSegment SegmentStorage::segment(size_t run, size_t piece) const {
  const PlacedRun& placed = runs[run];
  const SegmentRun::Piece& p = placed.run->pieces[piece];
  return TrackSegment{p.source, p.sourceRange,
                      TimeRange::make(time(placed.start + p.offset), time(p.duration))};
}

size_t SegmentStorage::runAt(MediaTime t) const {
  const auto after =
      std::upper_bound(runs.begin(), runs.end(), t, [this](MediaTime time, const PlacedRun& run) {
        return compare(time, this->time(run.start)) < 0;
      });
  return after == runs.begin() ? 0 : static_cast<size_t>(after - runs.begin()) - 1;
}

size_t SegmentStorage::runOfIndex(size_t index) const {
  const auto after =
      std::upper_bound(runs.begin(), runs.end(), index,
                       [](size_t i, const PlacedRun& run) { return i < run.firstIndex; });
  return static_cast<size_t>(after - runs.begin()) - 1;
}

SegmentList splicedSegmentList(const SegmentList& list, size_t first, size_t last,
                               const std::vector<TrackSegment>& segments, MediaTime end) {
  const SegmentStorage* old = list.storage().get();
  const size_t oldRuns = old ? old->runs.size() : 0;
  int64_t windowStart = 0;
  int64_t windowEnd = 0;
  if (old != nullptr) {
    windowStart = first < oldRuns ? old->runs[first].start : old->endTicks();
    windowEnd =
        last > first ? old->runs[last - 1].start + old->runs[last - 1].run->duration : windowStart;
  }

  // The new boundaries, first to last.
  std::vector<MediaTime> boundaries;
  boundaries.reserve(segments.size() + 1);
  if (old == nullptr && !segments.empty()) boundaries.push_back(segments.front().targetRange.start);
  for (size_t i = 1; i < segments.size(); ++i) {
    boundaries.push_back(segments[i].targetRange.start);
  }
  boundaries.push_back(end);

  const int32_t oldTimescale = old ? old->timescale : 1;
  const int32_t timescale = timescaleHolding(oldTimescale, boundaries);
  const int64_t factor = timescale / oldTimescale;
  windowStart *= factor;
  windowEnd *= factor;

  // Ticks of each boundary; rounding never lets a boundary precede the one before it.
  std::vector<int64_t> ticks;
  ticks.reserve(boundaries.size() + 1);
  if (old != nullptr) ticks.push_back(windowStart);
  for (const MediaTime& boundary : boundaries) {
    const int64_t t = convertScale(boundary, timescale).value;
    ticks.push_back(ticks.empty() ? t : std::max(t, ticks.back()));
  }
  if (old == nullptr) windowStart = ticks.front();

  std::vector<SegmentRun::Piece> pieces;
  pieces.reserve(segments.size());
  for (size_t i = 0; i < segments.size(); ++i) {
    const int64_t duration = ticks[i + 1] - ticks[i];
    if (duration <= 0) continue;
    TimeRange sourceRange = segments[i].sourceRange;
    // A piece that plays at its source's own speed keeps doing so when its edges were rounded:
    // its source range follows the rounded length (a sliver of a nanosecond or less), or it
    // would be taken for one that plays a hair faster or slower.
    if (!segments[i].isEmpty() &&
        compare(sourceRange.duration, segments[i].targetRange.duration) == 0) {
      sourceRange.duration = MediaTime::make(duration, timescale);
    }
    pieces.push_back(
        SegmentRun::Piece{segments[i].source, sourceRange, ticks[i] - windowStart, duration});
  }
  const int64_t shift = ticks.back() - windowEnd;

  auto storage = std::make_shared<SegmentStorage>();
  storage->timescale = timescale;
  storage->runs.reserve(oldRuns - (last - first) + pieces.size() / kRunLength + 1);
  for (size_t r = 0; r < first; ++r) {
    storage->runs.push_back({rescaled(old->runs[r].run, factor), old->runs[r].start * factor, 0});
  }
  if (!pieces.empty()) appendRuns(std::move(pieces), windowStart, storage->runs);
  for (size_t r = last; r < oldRuns; ++r) {
    storage->runs.push_back(
        {rescaled(old->runs[r].run, factor), old->runs[r].start * factor + shift, 0});
  }
  if (storage->runs.empty()) return SegmentList();
  for (SegmentStorage::PlacedRun& placed : storage->runs) {
    placed.firstIndex = storage->count;
    storage->count += placed.run->pieces.size();
  }
  return SegmentList(std::move(storage));
}

TrackSegment SegmentList::const_iterator::operator*() const {
  return storage_->segment(run_, piece_);
}

SegmentList::const_iterator& SegmentList::const_iterator::operator++() {
  if (++piece_ == storage_->runs[run_].run->pieces.size()) {
    ++run_;
    piece_ = 0;
  }
  return *this;
}

SegmentList::SegmentList(const std::vector<TrackSegment>& segments) {
  if (segments.empty()) return;
  // Each segment starts where the previous one ends.
  std::vector<TrackSegment> laidOut = segments;
  MediaTime end = laidOut.front().targetRange.start;
  for (TrackSegment& segment : laidOut) {
    segment.targetRange.start = end;
    end = add(end, segment.targetRange.duration);
  }
  *this = splicedSegmentList(SegmentList(), 0, 0, laidOut, end);
}

SegmentList::const_iterator SegmentList::begin() const {
  return storage_ ? const_iterator(storage_.get(), 0, 0) : const_iterator();
}

SegmentList::const_iterator SegmentList::end() const {
  return storage_ ? const_iterator(storage_.get(), storage_->runs.size(), 0) : const_iterator();
}

SegmentList::size_type SegmentList::size() const {
  return storage_ ? storage_->count : 0;
}

TrackSegment SegmentList::operator[](size_type index) const {
  const size_t run = storage_->runOfIndex(index);
  return storage_->segment(run, index - storage_->runs[run].firstIndex);
}

TrackSegment SegmentList::at(size_type index) const {
  if (index >= size()) {
    throw std::out_of_range("SegmentList::at: no segment " + std::to_string(index));
  }
  return (*this)[index];
}

TimeRange SegmentList::timeRange() const {
  if (!storage_) return TimeRange::zero();
  return TimeRange::make(storage_->time(storage_->startTicks()),
                         storage_->time(storage_->endTicks() - storage_->startTicks()));
}

SegmentList::const_iterator SegmentList::segmentEndingAfter(MediaTime t) const {
  if (!storage_) return end();
  const_iterator it(storage_.get(), storage_->runAt(t), 0);
  while (it != end() && compare((*it).targetRange.end(), t) <= 0) ++it;
  return it;
}

std::vector<TrackSegment> SegmentList::toVector() const {
  return std::vector<TrackSegment>(begin(), end());
}

void SegmentList::push_back(const TrackSegment& segment) {
  TrackSegment appended = segment;
  if (storage_) {
    appended.targetRange.start = timeRange().end();
    *this = splicedSegmentList(*this, storage_->runs.size(), storage_->runs.size(), {appended},
                               add(appended.targetRange.start, appended.targetRange.duration));
  } else {
    *this = SegmentList(std::vector<TrackSegment>{appended});
  }
}

}  // namespace reelcraft
