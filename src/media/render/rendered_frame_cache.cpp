#include "media/render/rendered_frame_cache.h"

#include <algorithm>
#include <cmath>

namespace reelcraft {
namespace {

// How far `range` lies from `t`, in seconds; 0 when it contains t. Only for ordering.
double distance(const TimeRange& range, MediaTime t) {
  const double seconds = t.seconds();
  const double start = range.start.seconds();
  const double end = range.end().seconds();
  if (seconds < start) return start - seconds;
  if (seconds >= end) return seconds - end + 1e-9;
  return 0;
}

}  // namespace

RenderedFrameCache::RenderedFrameCache(size_t capacity) : capacity_(std::max<size_t>(1, capacity)) {
  entries_.reserve(capacity_ + 1);
}

std::shared_ptr<AVFrame> RenderedFrameCache::find(size_t layer, MediaTime t) const {
  for (const Entry& entry : entries_) {
    if (entry.layer == layer && entry.range.containsTime(t)) return entry.picture;
  }
  return nullptr;
}

void RenderedFrameCache::insert(size_t layer, MediaTime time, MediaTime duration,
                                std::shared_ptr<AVFrame> picture, MediaTime playhead) {
  const TimeRange range = TimeRange::make(time, duration);
  const auto same = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return entry.layer == layer && entry.range.start == time;
  });
  if (same != entries_.end()) {
    *same = Entry{layer, range, std::move(picture)};
    return;
  }
  entries_.push_back(Entry{layer, range, std::move(picture)});
  if (entries_.size() <= capacity_) return;
  const auto farthest =
      std::max_element(entries_.begin(), entries_.end(), [&](const Entry& a, const Entry& b) {
        return distance(a.range, playhead) < distance(b.range, playhead);
      });
  entries_.erase(farthest);
}

}  // namespace reelcraft
