#include "core/timeline_selection.h"

namespace reelcraft {

TimelineSelection TimelineSelection::makeSelection(MediaTime a, MediaTime b) {
  if (compare(a, b) < 0) return {a, subtract(b, a)};
  return {b, subtract(a, b)};
}

TimelineSelection TimelineSelection::boundingRange(
    const std::vector<TimelineSelection>& selections) {
  if (selections.empty()) return {MediaTime::zero(), MediaTime::zero()};
  MediaTime minimumStart = selections.front().start;
  MediaTime maximumEnd = selections.front().end();
  for (size_t i = 1; i < selections.size(); ++i) {
    if (compare(selections[i].start, minimumStart) < 0) minimumStart = selections[i].start;
    MediaTime end = selections[i].end();
    if (compare(end, maximumEnd) > 0) maximumEnd = end;
  }
  return {minimumStart, subtract(maximumEnd, minimumStart)};
}

}  // namespace reelcraft
