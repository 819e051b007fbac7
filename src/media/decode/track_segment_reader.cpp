#include "media/decode/track_segment_reader.h"

#include <algorithm>
#include <list>
#include <utility>
#include <vector>

#include "media/decode/source_stream_decoder.h"

namespace reelcraft {
namespace {

// Open sources kept per track. Segments usually alternate between a few files; beyond that
// the least recently used one is closed.
constexpr size_t kMaxOpenSources = 4;

bool playsMedia(const TrackSegment& segment) {
  return !segment.isEmpty() && segment.sourceRange.isValid() &&
         segment.sourceRange.duration.isNumeric() &&
         compare(segment.sourceRange.duration, MediaTime::zero()) > 0 &&
         segment.targetRange.isValid() &&
         compare(segment.targetRange.duration, MediaTime::zero()) > 0;
}

bool isScaled(const TrackSegment& segment) {
  return compare(segment.sourceRange.duration, segment.targetRange.duration) != 0;
}

// The track time at which source time `t` (inside the segment's source range) plays.
MediaTime sourceToTrack(const TrackSegment& segment, MediaTime t) {
  MediaTime offset = subtract(t, segment.sourceRange.start);
  if (isScaled(segment)) {
    offset =
        multiplyByTimeRatio(offset, segment.targetRange.duration, segment.sourceRange.duration);
  }
  return add(segment.targetRange.start, offset);
}

// The source time that plays at track time `t` (inside the segment's target range).
MediaTime trackToSource(const TrackSegment& segment, MediaTime t) {
  MediaTime offset = subtract(t, segment.targetRange.start);
  if (isScaled(segment)) {
    offset =
        multiplyByTimeRatio(offset, segment.sourceRange.duration, segment.targetRange.duration);
  }
  return add(segment.sourceRange.start, offset);
}

bool sameStream(const SourceTrack& a, const SourceTrack& b) {
  return a.readPath() == b.readPath() && a.streamIndex == b.streamIndex;
}

}  // namespace

struct TrackSegmentReader::Impl {
  AssetTrack track;
  std::vector<TrackSegment> segments;
  size_t segmentIndex = 0;
  bool segmentStarted = false;
  // Where to start reading the present segment, when not at its beginning (after a seek).
  std::optional<MediaTime> startOverride;
  SourceStreamDecoder* decoder = nullptr;
  std::list<std::unique_ptr<SourceStreamDecoder>> openSources;  // most recently used first

  SourceStreamDecoder& decoderFor(const std::shared_ptr<const SourceTrack>& source) {
    for (auto it = openSources.begin(); it != openSources.end(); ++it) {
      if (sameStream((*it)->source(), *source)) {
        openSources.splice(openSources.begin(), openSources, it);
        return *openSources.front();
      }
    }
    openSources.push_front(std::make_unique<SourceStreamDecoder>(source));
    if (openSources.size() > kMaxOpenSources) openSources.pop_back();
    return *openSources.front();
  }

  void advanceSegment() {
    ++segmentIndex;
    segmentStarted = false;
    startOverride.reset();
  }

  DecodedFrame mapped(SourceFrame frame, const TrackSegment& segment) const {
    DecodedFrame result;
    result.frame = std::move(frame.frame);
    result.segmentIndex = segmentIndex;
    result.sourceTime = frame.time;
    result.sourceDuration = frame.duration;
    const MediaTime start = maximum(frame.time, segment.sourceRange.start);
    const MediaTime end = minimum(frame.end(), segment.sourceRange.end());
    result.time = sourceToTrack(segment, start);
    result.duration = subtract(sourceToTrack(segment, end), result.time);
    return result;
  }
};

TrackSegmentReader::TrackSegmentReader(AssetTrack track) : impl_(std::make_unique<Impl>()) {
  impl_->segments = track.segments.toVector();
  impl_->track = std::move(track);
}

TrackSegmentReader::~TrackSegmentReader() = default;
TrackSegmentReader::TrackSegmentReader(TrackSegmentReader&&) noexcept = default;
TrackSegmentReader& TrackSegmentReader::operator=(TrackSegmentReader&&) noexcept = default;

const AssetTrack& TrackSegmentReader::track() const {
  return impl_->track;
}

void TrackSegmentReader::seek(MediaTime t) {
  Impl& impl = *impl_;
  impl.segmentStarted = false;
  impl.startOverride.reset();
  impl.segmentIndex = impl.segments.size();
  if (!t.isValid() || t.isPositiveInfinity() || t.isIndefinite()) return;
  if (t.isNegativeInfinity()) t = MediaTime::zero();
  for (size_t i = 0; i < impl.segments.size(); ++i) {
    const TrackSegment& segment = impl.segments[i];
    if (compare(segment.targetRange.end(), t) <= 0) continue;
    impl.segmentIndex = i;
    if (playsMedia(segment) && compare(t, segment.targetRange.start) > 0) {
      impl.startOverride = trackToSource(segment, t);
    }
    return;
  }
}

std::optional<DecodedFrame> TrackSegmentReader::next() {
  Impl& impl = *impl_;
  while (impl.segmentIndex < impl.segments.size()) {
    const TrackSegment& segment = impl.segments[impl.segmentIndex];
    if (!playsMedia(segment)) {
      impl.advanceSegment();
      continue;
    }
    if (!impl.segmentStarted) {
      impl.decoder = &impl.decoderFor(segment.source);
      impl.decoder->seek(impl.startOverride.value_or(segment.sourceRange.start));
      impl.segmentStarted = true;
    }
    const SourceFrame* frame = impl.decoder->peek();
    // The frame past the segment's end stays in the decoder for a segment that goes on
    // from there.
    if (!frame || compare(frame->time, segment.sourceRange.end()) >= 0) {
      impl.advanceSegment();
      continue;
    }
    return impl.mapped(impl.decoder->pop(), segment);
  }
  return std::nullopt;
}

}  // namespace reelcraft
