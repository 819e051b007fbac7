#pragma once

#include <vector>

#include "media/model/asset.h"
#include "media/base/media_time.h"

namespace reelcraft {

// Edits of one track's segment list. Each returns the edited list; only the stored runs around
// the edit are rebuilt, the others are shared with the original. Every segment starts exactly
// where the previous one ends, segments of zero length are dropped, and a segment that
// continues its neighbour (empty after empty, or the next stretch of the same source at the
// same speed) is joined to it. Cutting a scaled segment cuts its source range in proportion.

// The end of the last segment; zero when there are none.
MediaTime segmentsEnd(const SegmentList& segments);

// The part of `track` that lies in `range` (in the track's own time), as segments from zero to
// range.duration. Where the track has no segment the part is empty time.
std::vector<TrackSegment> extractSegments(const AssetTrack& track, TimeRange range);

// `pieces` (end to end from zero) inserted at `at`, shifting what follows; a track that ends
// before `at` is first padded with empty time up to `at`.
SegmentList insertingSegments(const SegmentList& segments, MediaTime at,
                              const std::vector<TrackSegment>& pieces);

// `range` taken out and the gap closed; the part of `range` beyond the end is ignored.
SegmentList removingTimeRange(const SegmentList& segments, TimeRange range);

// The media in `range` played over `newDuration` instead, shifting what follows. A track that
// ends inside `range` has its part of the range scaled by the same factor.
SegmentList scalingTimeRange(const SegmentList& segments, TimeRange range, MediaTime newDuration);

}  // namespace reelcraft
