#pragma once

#include <vector>

#include "media/base/media_time.h"

namespace reelcraft {

// One marked stretch of the timeline. A zero duration marks an instant.
struct TimelineSelection {
  MediaTime start = MediaTime::zero();
  MediaTime duration = MediaTime::zero();

  MediaTime end() const { return add(start, duration); }
  TimeRange timeRange() const { return {start, duration}; }

  // The selection between two instants given in either order; never a negative duration.
  static TimelineSelection makeSelection(MediaTime a, MediaTime b);
  // The smallest selection covering all of `selections`; zero start and duration when empty.
  // On ties the earlier element's representation is kept.
  static TimelineSelection boundingRange(const std::vector<TimelineSelection>& selections);
};

}  // namespace reelcraft
