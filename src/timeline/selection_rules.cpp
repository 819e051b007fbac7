#include "timeline/selection_rules.h"

#include "core/media_time_operators.h"

namespace reelcraft {
namespace {

const MediaTime kZero = MediaTime::zero();

MediaTime magnitude(MediaTime t) {
  return t < kZero ? t * -1.0 : t;
}

MediaTime clamped(MediaTime t, MediaTime low, MediaTime high) {
  if (t < low) return low;
  if (t > high) return high;
  return t;
}

TimelineSelection stepped(TimelineSelection s, SelectionEdge edge, MediaTime step,
                          MediaTime movieEnd) {
  if (edge == SelectionEdge::Start) {
    s.start += step;
    s.duration -= step;
  } else {
    s.duration += step;
  }
  s = normalized(s);
  if (s.start < kZero) s.start = kZero;  // keeps the length: the selection shifts right
  const MediaTime end = s.start + s.duration;
  if (end > movieEnd) {
    s.duration -= end - movieEnd;
    s = normalized(s);
  }
  return s;
}

}  // namespace

TimelineSelection normalized(TimelineSelection s) {
  if (s.duration < kZero) {
    s.start += s.duration;
    s.duration = s.duration * -1.0;
  }
  return s;
}

std::vector<TimelineSelection> updateSelections(MediaTime time,
                                                std::vector<TimelineSelection> selections,
                                                MediaTime currentTime) {
  if (selections.empty()) return {TimelineSelection::makeSelection(time, currentTime)};
  selections.back() = dragEdge(selections.back(), time);
  return selections;
}

TimelineSelection dragEdge(const TimelineSelection& s, MediaTime time) {
  const MediaTime end = s.start + s.duration;
  const MediaTime fromStart = magnitude(s.start - time);
  const MediaTime fromEnd = magnitude(end - time);
  if (fromEnd < fromStart) return {s.start, time - s.start};
  return {time, magnitude(end - time)};
}

MediaTime frameStep(const Composition& composition) {
  const auto& tracks = composition.tracks();
  if (tracks.empty()) return kZero;
  // An invalid duration compares greater than every valid one, so it only stays while no
  // track has a frame duration.
  MediaTime step = tracks.front().minFrameDuration;
  for (size_t i = 1; i < tracks.size(); ++i) {
    if (step > tracks[i].minFrameDuration) step = tracks[i].minFrameDuration;
  }
  return step.isNumeric() ? step : kZero;
}

std::vector<TimelineSelection> stepEdge(const std::vector<TimelineSelection>& selections,
                                        SelectionEdge edge, MediaTime step,
                                        MediaTime movieDuration) {
  const MediaTime movieEnd = kZero + movieDuration;
  std::vector<TimelineSelection> result;
  for (const TimelineSelection& selection : selections) {
    const TimelineSelection s = stepped(selection, edge, step, movieEnd);
    if (s.duration > kZero) result.push_back(s);
  }
  return result;
}

TimelineSelection moveSelectionEdge(const std::vector<TimelineSelection>& selections,
                                    SelectionEdge edge, MediaTime time, MediaTime movieDuration) {
  const TimelineSelection bounds = TimelineSelection::boundingRange(selections);
  TimelineSelection moved = edge == SelectionEdge::Start
                                ? TimelineSelection{time, bounds.end() - time}
                                : TimelineSelection{bounds.start, time - bounds.start};
  moved = normalized(moved);
  const MediaTime start = clamped(moved.start, kZero, movieDuration);
  const MediaTime end = clamped(moved.end(), kZero, movieDuration);
  return {start, end - start};
}

}  // namespace reelcraft
