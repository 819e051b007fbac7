#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "core/bindable.h"
#include "core/timeline_selection.h"
#include "document/movie.h"
#include "media/base/media_time.h"
#include "timeline/selection_rules.h"
#include "timeline/timeline.h"

namespace reelcraft {

// The selection and edit commands of a player: each reads the timeline's selections and the
// movie afresh, edits the movie, replaces the selections (then asks the timeline to redraw)
// and moves the play cursor by a set-and-notify on the current-time Bindable, which seeks the
// player and moves the timeline's cursor.
//
// The timeline is required: a command run without one is a programming error and stops the
// program. The movie is held weakly; once it is gone (the document is closing) the commands
// leave it alone, and those that need it do nothing. Main thread only.
class SelectionCommands {
 public:
  // `timeline` is not owned and may be set later; `currentTimeBindable` must not be null.
  SelectionCommands(Timeline* timeline, std::shared_ptr<Bindable<MediaTime>> currentTimeBindable);

  void setTimeline(Timeline* timeline) { timeline_ = timeline; }
  void setMovie(std::weak_ptr<Movie> movie) { movie_ = std::move(movie); }

  // Move the start or end edge of every selection one frame later or earlier (see stepEdge),
  // then put the cursor on that edge of the bounding range. With no selection they work on a
  // zero-length selection at the timeline's cursor, so each makes a one-frame selection
  // beside it.
  void incrementSelectionStart();
  void decrementSelectionStart();
  void incrementSelectionEnd();
  void decrementSelectionEnd();

  // Put the cursor on the start or the end of the bounding range; nothing without selections.
  void moveCursorToSelectionStart();
  void moveCursorToSelectionEnd();

  // One selection over the whole movie.
  void selectAll();

  // Replace the selections by the one that moveSelectionEdge makes from them (or, without any,
  // from a zero-length selection at the timeline's cursor) and put the cursor at `time`. A time
  // that is not a number of seconds changes nothing.
  void setSelectionStart(MediaTime time);
  void setSelectionEnd(MediaTime time);

  // Keeps only the first selection's range of the movie; selections and cursor stay.
  void trimToSelection();
  // Removes the last selection's range from the movie and clears the selections. A cursor
  // after the removed range moves back with the media under it.
  void deleteSelection();

  // The selection a time stretch applies to (the first), or none without selections.
  std::optional<TimelineSelection> selectionToStretch() const;
  // Plays `selection` (kept from when the stretch was asked for) over `newDuration`, then
  // clears the selections.
  void applyStretch(const TimelineSelection& selection, MediaTime newDuration);

 private:
  Timeline& timeline() const;
  void stepSelectionEdge(SelectionEdge edge, int direction);
  void setSelectionEdge(SelectionEdge edge, MediaTime time);
  void moveCursorToBoundingEdge(SelectionEdge edge);
  void replaceSelections(std::vector<TimelineSelection> selections);
  // The selections, or a zero-length one at the cursor when there are none.
  std::vector<TimelineSelection> selectionsOrCursor() const;
  void moveCursor(MediaTime time);

  Timeline* timeline_;
  std::weak_ptr<Movie> movie_;
  std::shared_ptr<Bindable<MediaTime>> currentTimeBindable_;
};

}  // namespace reelcraft
