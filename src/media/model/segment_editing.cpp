#include "media/model/segment_editing.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "media/model/segment_storage.h"

namespace reelcraft {
namespace {

bool isPositive(MediaTime t) {
  return compare(t, MediaTime::zero()) > 0;
}

// The finest timescale that is a multiple of `timescale`: times in it round to a nanosecond or
// finer.
int32_t finestMultiple(int32_t timescale) {
  return timescale * (MediaTime::kMaxTimescale / timescale);
}

// t × numerator / denominator: exact when a timescale can hold the result, otherwise rounded
// to a nanosecond or finer (rather than to t's own, possibly coarse, timescale).
MediaTime proportion(MediaTime t, MediaTime numerator, MediaTime denominator) {
  const MediaTime exact = multiplyByTimeRatio(t, numerator, denominator);
  if (!exact.hasBeenRounded()) return exact;
  return multiplyByTimeRatio(convertScale(t, finestMultiple(t.timescale)), numerator, denominator);
}

bool playsAtOwnSpeed(const TrackSegment& segment) {
  return compare(segment.sourceRange.duration, segment.targetRange.duration) == 0;
}

// Whether `next`, played right after `previous`, is simply more of it.
bool continues(const TrackSegment& previous, const TrackSegment& next) {
  if (previous.isEmpty() || next.isEmpty()) return previous.isEmpty() && next.isEmpty();
  if (previous.source != next.source) return false;
  if (compare(previous.sourceRange.end(), next.sourceRange.start) != 0) return false;
  const bool previousAtOwnSpeed = playsAtOwnSpeed(previous);
  if (previousAtOwnSpeed || playsAtOwnSpeed(next)) {
    return previousAtOwnSpeed && playsAtOwnSpeed(next);
  }
  // Same speed: previous.source / previous.target == next.source / next.target, exactly.
  const MediaTime expected = multiplyByTimeRatio(
      previous.targetRange.duration, next.sourceRange.duration, next.targetRange.duration);
  // Rounded speeds are never taken for equal.
  return !expected.hasBeenRounded() && compare(expected, previous.sourceRange.duration) == 0;
}

// The source offset shown at target offset `offset` (0 <= offset <= duration) of `segment`.
MediaTime sourceOffset(const TrackSegment& segment, MediaTime offset) {
  if (compare(offset, MediaTime::zero()) == 0) return MediaTime::zero();
  if (compare(offset, segment.targetRange.duration) == 0) return segment.sourceRange.duration;
  if (playsAtOwnSpeed(segment)) return offset;
  return proportion(offset, segment.sourceRange.duration, segment.targetRange.duration);
}

// Lays segments end to end from a start, joining continuous neighbours.
class SegmentBuilder {
 public:
  explicit SegmentBuilder(MediaTime start) : end_(start) {}

  MediaTime end() const { return end_; }

  // Appends `segment` whole; its target start is replaced by the current end.
  void append(TrackSegment segment) {
    if (!isPositive(segment.targetRange.duration)) return;
    segment.targetRange.start = end_;
    end_ = add(end_, segment.targetRange.duration);
    if (!segments_.empty() && continues(segments_.back(), segment)) {
      TrackSegment& last = segments_.back();
      last.targetRange.duration = add(last.targetRange.duration, segment.targetRange.duration);
      if (!last.isEmpty()) {
        last.sourceRange.duration = add(last.sourceRange.duration, segment.sourceRange.duration);
      }
      return;
    }
    segments_.push_back(std::move(segment));
  }

  void appendEmpty(MediaTime duration) {
    TrackSegment empty;
    empty.targetRange = TimeRange::make(MediaTime::zero(), duration);
    append(std::move(empty));
  }

  // The stretch of `segment` between target offsets `from` and `to`, played over
  // `targetDuration`.
  void appendPart(const TrackSegment& segment, MediaTime from, MediaTime to,
                  MediaTime targetDuration) {
    if (!isPositive(targetDuration) || compare(from, to) >= 0) return;
    TrackSegment part;
    part.targetRange = TimeRange::make(MediaTime::zero(), targetDuration);
    if (!segment.isEmpty()) {
      const MediaTime sourceFrom = sourceOffset(segment, from);
      // Where rounding was needed, a sliver could come out a hair negative.
      const MediaTime sourceTo = maximum(sourceOffset(segment, to), sourceFrom);
      part.source = segment.source;
      part.sourceRange = TimeRange::make(add(segment.sourceRange.start, sourceFrom),
                                         subtract(sourceTo, sourceFrom));
    }
    append(std::move(part));
  }

  // The stretch of `segment` between target offsets `from` and `to`, at its own pace.
  void appendPart(const TrackSegment& segment, MediaTime from, MediaTime to) {
    appendPart(segment, from, to, subtract(to, from));
  }

  void appendAll(const std::vector<TrackSegment>& segments) {
    for (const TrackSegment& segment : segments) append(segment);
  }

  const std::vector<TrackSegment>& segments() const { return segments_; }

 private:
  std::vector<TrackSegment> segments_;
  MediaTime end_;
};

// Runs [first, last) of a list, read out as segments.
struct Window {
  MediaTime start = MediaTime::zero();
  std::vector<TrackSegment> segments;
};

Window windowOf(const SegmentStorage* storage, size_t first, size_t last) {
  Window window;
  if (storage == nullptr) return window;
  window.start = first < storage->runs.size() ? storage->time(storage->runs[first].start)
                                              : storage->time(storage->endTicks());
  size_t count = 0;
  for (size_t r = first; r < last; ++r) count += storage->runs[r].run->pieces.size();
  window.segments.reserve(count);
  for (size_t r = first; r < last; ++r) {
    for (size_t p = 0; p < storage->runs[r].run->pieces.size(); ++p) {
      window.segments.push_back(storage->segment(r, p));
    }
  }
  return window;
}

// Rebuilds the runs that hold `from` to `to`: `edit` lays out their edited segments with a
// builder. Should the result join a segment of a neighbouring run, the edit is made again with
// that run taken in, so that continuous segments are always joined.
template <class Edit>
SegmentList editRuns(const SegmentList& list, MediaTime from, MediaTime to, const Edit& edit) {
  const SegmentStorage* storage = list.storage().get();
  size_t first = storage ? storage->runAt(from) : 0;
  size_t last = storage ? storage->runAt(to) + 1 : 0;
  for (;;) {
    const Window window = windowOf(storage, first, last);
    SegmentBuilder builder(window.start);
    edit(window.segments, builder);
    if (storage != nullptr) {
      const std::vector<TrackSegment>& built = builder.segments();
      std::optional<TrackSegment> before;
      std::optional<TrackSegment> after;
      if (first > 0) {
        before = storage->segment(first - 1, storage->runs[first - 1].run->pieces.size() - 1);
      }
      if (last < storage->runs.size()) after = storage->segment(last, 0);
      const std::optional<TrackSegment> head = built.empty() ? after : built.front();
      const std::optional<TrackSegment> tail = built.empty() ? before : built.back();
      bool widened = false;
      if (before && head && continues(*before, *head)) {
        --first;
        widened = true;
      }
      if (after && tail && continues(*tail, *after)) {
        ++last;
        widened = true;
      }
      if (widened) continue;
    }
    return splicedSegmentList(list, first, last, builder.segments(), builder.end());
  }
}

}  // namespace

MediaTime segmentsEnd(const SegmentList& segments) {
  return segments.timeRange().end();
}

std::vector<TrackSegment> extractSegments(const AssetTrack& track, TimeRange range) {
  SegmentBuilder builder(MediaTime::zero());
  const MediaTime end = range.end();
  MediaTime cursor = range.start;
  for (auto it = track.segments.segmentEndingAfter(cursor); it != track.segments.end(); ++it) {
    const TrackSegment segment = *it;
    const MediaTime segmentStart = segment.targetRange.start;
    const MediaTime segmentEnd = segment.targetRange.end();
    if (compare(segmentStart, end) >= 0) break;
    if (compare(segmentStart, cursor) > 0) {
      builder.appendEmpty(subtract(segmentStart, cursor));
      cursor = segmentStart;
    }
    const MediaTime partEnd = minimum(segmentEnd, end);
    builder.appendPart(segment, subtract(cursor, segmentStart), subtract(partEnd, segmentStart));
    cursor = partEnd;
  }
  if (compare(cursor, end) < 0) builder.appendEmpty(subtract(end, cursor));
  return builder.segments();
}

SegmentList insertingSegments(const SegmentList& segments, MediaTime at,
                              const std::vector<TrackSegment>& pieces) {
  const auto edit = [&](const std::vector<TrackSegment>& window, SegmentBuilder& builder) {
    bool inserted = false;
    for (const TrackSegment& segment : window) {
      if (!inserted && compare(segment.targetRange.end(), at) > 0) {
        const MediaTime offset = subtract(at, segment.targetRange.start);
        if (isPositive(offset)) {
          builder.appendPart(segment, MediaTime::zero(), offset);
          builder.appendAll(pieces);
          builder.appendPart(segment, offset, segment.targetRange.duration);
          inserted = true;
          continue;
        }
        builder.appendAll(pieces);
        inserted = true;
      }
      builder.append(segment);
    }
    if (!inserted) {
      builder.appendEmpty(subtract(at, builder.end()));
      builder.appendAll(pieces);
    }
  };
  return editRuns(segments, at, at, edit);
}

SegmentList removingTimeRange(const SegmentList& segments, TimeRange range) {
  const MediaTime removeStart = range.start;
  const MediaTime removeEnd = range.end();
  const auto edit = [&](const std::vector<TrackSegment>& window, SegmentBuilder& builder) {
    for (const TrackSegment& segment : window) {
      const MediaTime start = segment.targetRange.start;
      const MediaTime end = segment.targetRange.end();
      if (compare(end, removeStart) <= 0 || compare(start, removeEnd) >= 0) {
        builder.append(segment);
        continue;
      }
      if (compare(start, removeStart) < 0) {
        builder.appendPart(segment, MediaTime::zero(), subtract(removeStart, start));
      }
      if (compare(end, removeEnd) > 0) {
        builder.appendPart(segment, subtract(removeEnd, start), segment.targetRange.duration);
      }
    }
  };
  return editRuns(segments, removeStart, removeEnd, edit);
}

SegmentList scalingTimeRange(const SegmentList& segments, TimeRange range, MediaTime newDuration) {
  const MediaTime scaleStart = range.start;
  const MediaTime scaleEnd = range.end();
  // Where an offset into the range lands once the range plays over newDuration. Every segment
  // edge is mapped the same way, so the scaled pieces stay contiguous and add up exactly.
  const auto scaled = [&](MediaTime offset) {
    if (compare(offset, range.duration) == 0) return newDuration;
    return proportion(offset, newDuration, range.duration);
  };
  const auto edit = [&](const std::vector<TrackSegment>& window, SegmentBuilder& builder) {
    for (const TrackSegment& segment : window) {
      const MediaTime start = segment.targetRange.start;
      const MediaTime end = segment.targetRange.end();
      if (compare(end, scaleStart) <= 0 || compare(start, scaleEnd) >= 0) {
        builder.append(segment);
        continue;
      }
      if (compare(start, scaleStart) < 0) {
        builder.appendPart(segment, MediaTime::zero(), subtract(scaleStart, start));
      }
      const MediaTime innerStart = maximum(start, scaleStart);
      const MediaTime innerEnd = minimum(end, scaleEnd);
      const MediaTime targetDuration = subtract(scaled(subtract(innerEnd, scaleStart)),
                                                scaled(subtract(innerStart, scaleStart)));
      builder.appendPart(segment, subtract(innerStart, start), subtract(innerEnd, start),
                         targetDuration);
      if (compare(end, scaleEnd) > 0) {
        builder.appendPart(segment, subtract(scaleEnd, start), segment.targetRange.duration);
      }
    }
  };
  return editRuns(segments, scaleStart, scaleEnd, edit);
}

}  // namespace reelcraft
