#include "timeline/selection_commands.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "core/media_time_operators.h"

namespace reelcraft {

SelectionCommands::SelectionCommands(Timeline* timeline,
                                     std::shared_ptr<Bindable<MediaTime>> currentTimeBindable)
    : timeline_(timeline), currentTimeBindable_(std::move(currentTimeBindable)) {
  if (currentTimeBindable_ == nullptr) {
    std::fputs("SelectionCommands: no current-time Bindable\n", stderr);
    std::abort();
  }
}

void SelectionCommands::incrementSelectionStart() {
  stepSelectionEdge(SelectionEdge::Start, +1);
}
void SelectionCommands::decrementSelectionStart() {
  stepSelectionEdge(SelectionEdge::Start, -1);
}
void SelectionCommands::incrementSelectionEnd() {
  stepSelectionEdge(SelectionEdge::End, +1);
}
void SelectionCommands::decrementSelectionEnd() {
  stepSelectionEdge(SelectionEdge::End, -1);
}

void SelectionCommands::moveCursorToSelectionStart() {
  moveCursorToBoundingEdge(SelectionEdge::Start);
}
void SelectionCommands::moveCursorToSelectionEnd() {
  moveCursorToBoundingEdge(SelectionEdge::End);
}

void SelectionCommands::selectAll() {
  const auto movie = movie_.lock();
  if (movie == nullptr) return;
  replaceSelections({normalized({MediaTime::zero(), movie->composition->duration()})});
}

void SelectionCommands::setSelectionStart(MediaTime time) {
  setSelectionEdge(SelectionEdge::Start, time);
}
void SelectionCommands::setSelectionEnd(MediaTime time) {
  setSelectionEdge(SelectionEdge::End, time);
}

void SelectionCommands::trimToSelection() {
  const auto selections = timeline().selections();
  if (selections.empty()) return;
  if (const auto movie = movie_.lock()) movie->trim(selections.front().timeRange());
}

void SelectionCommands::deleteSelection() {
  Timeline& view = timeline();
  const auto selections = view.selections();
  if (selections.empty()) return;
  const TimelineSelection removed = selections.back();
  if (const auto movie = movie_.lock()) {
    movie->remove(removed.timeRange());
    const MediaTime cursor = view.currentTime();
    if (removed.end() < cursor) moveCursor(cursor - removed.duration);
  }
  replaceSelections({});
}

std::optional<TimelineSelection> SelectionCommands::selectionToStretch() const {
  const auto selections = timeline().selections();
  if (selections.empty()) return std::nullopt;
  return selections.front();
}

void SelectionCommands::applyStretch(const TimelineSelection& selection, MediaTime newDuration) {
  if (const auto movie = movie_.lock()) movie->scale(selection.timeRange(), newDuration);
  replaceSelections({});
}

Timeline& SelectionCommands::timeline() const {
  if (timeline_ == nullptr) {
    std::fputs("SelectionCommands: no timeline\n", stderr);
    std::abort();
  }
  return *timeline_;
}

void SelectionCommands::stepSelectionEdge(SelectionEdge edge, int direction) {
  const auto movie = movie_.lock();
  if (movie == nullptr) return;
  const MediaTime step = frameStep(*movie->composition) * direction;
  auto stepped = stepEdge(selectionsOrCursor(), edge, step, movie->composition->duration());
  const TimelineSelection bounds = TimelineSelection::boundingRange(stepped);
  const bool moveCursorToo = !stepped.empty();
  replaceSelections(std::move(stepped));
  if (moveCursorToo) moveCursor(edge == SelectionEdge::Start ? bounds.start : bounds.end());
}

void SelectionCommands::setSelectionEdge(SelectionEdge edge, MediaTime time) {
  const auto movie = movie_.lock();
  if (movie == nullptr || !time.isNumeric()) return;
  replaceSelections(
      {moveSelectionEdge(selectionsOrCursor(), edge, time, movie->composition->duration())});
  moveCursor(time);
}

void SelectionCommands::moveCursorToBoundingEdge(SelectionEdge edge) {
  const auto selections = timeline().selections();
  if (selections.empty()) return;
  const TimelineSelection bounds = TimelineSelection::boundingRange(selections);
  moveCursor(edge == SelectionEdge::Start ? bounds.start : bounds.end());
}

void SelectionCommands::replaceSelections(std::vector<TimelineSelection> selections) {
  Timeline& view = timeline();
  view.setSelections(std::move(selections));
  view.setNeedsDisplay();
}

std::vector<TimelineSelection> SelectionCommands::selectionsOrCursor() const {
  auto selections = timeline().selections();
  if (selections.empty()) selections.push_back({timeline().currentTime(), MediaTime::zero()});
  return selections;
}

void SelectionCommands::moveCursor(MediaTime time) {
  currentTimeBindable_->setValueAndNotify(time);
}

}  // namespace reelcraft
