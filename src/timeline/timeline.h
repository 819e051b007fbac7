#pragma once

#include <vector>

#include "core/timeline_selection.h"
#include "media/base/media_time.h"

namespace reelcraft {

// What the selection commands need from the timeline view: its selections, which they replace
// whole, the cursor time it shows, and a way to ask for a redraw. The view keeps its own
// cursor in step with the player's current-time Bindable.
class Timeline {
 public:
  virtual ~Timeline() = default;

  virtual std::vector<TimelineSelection> selections() const = 0;
  virtual void setSelections(std::vector<TimelineSelection> selections) = 0;
  virtual MediaTime currentTime() const = 0;
  // Asks for the whole view to be drawn again; every change of the selections is followed by
  // one.
  virtual void setNeedsDisplay() = 0;
};

}  // namespace reelcraft
