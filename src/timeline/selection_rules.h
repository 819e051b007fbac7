#pragma once

#include <vector>

#include "core/timeline_selection.h"
#include "media/model/composition.h"
#include "media/base/media_time.h"

// The arithmetic of the timeline's selections, free of any view or movie.
namespace reelcraft {

enum class SelectionEdge { Start, End };

// `s` with a negative duration turned round so that it starts at its former end; `s` itself
// when its duration is zero or positive.
TimelineSelection normalized(TimelineSelection s);

// The mouse rule: with selections, the last one has its nearer edge dragged to `time` (the
// others are kept); without, the one selection between `time` and the cursor `currentTime`.
std::vector<TimelineSelection> updateSelections(MediaTime time,
                                                std::vector<TimelineSelection> selections,
                                                MediaTime currentTime);

// Moves the edge of `s` (a selection of non-negative duration) that is nearer to `time` to
// it; on a tie the start edge moves. The moved start edge stays at `time` even when `time`
// lies after the end: a zero-length selection at 2 s dragged to 3 s becomes 3 s lasting 1 s.
TimelineSelection dragEdge(const TimelineSelection& s, MediaTime time);

// The shortest minimum frame duration of the composition's tracks: the step of the frame-wise
// edge commands. Tracks without one (audio) never win over a track with one. Zero when no track
// has a frame duration (no tracks, or only audio and empty tracks), so the edge commands then
// have no step to take.
MediaTime frameStep(const Composition& composition);

// Moves `edge` of every selection by `step` (negative to move it earlier), turning round a
// selection whose edge passes the other one, then fits it into the movie: a start before zero
// shifts the whole selection to zero, an end after `movieDuration` is cut back to it. Selections
// left without length are dropped.
std::vector<TimelineSelection> stepEdge(const std::vector<TimelineSelection>& selections,
                                        SelectionEdge edge, MediaTime step,
                                        MediaTime movieDuration);

// The rule behind typing a selection start or end: `edge` of the bounding range of
// `selections` moves to `time`, the other edge stays; the result is normalised (an edge moved
// past the other one turns the selection round) and each edge is then clamped into the movie,
// 0 to `movieDuration`. The answer is one selection, which may have zero length (a marked
// instant).
TimelineSelection moveSelectionEdge(const std::vector<TimelineSelection>& selections,
                                    SelectionEdge edge, MediaTime time, MediaTime movieDuration);

}  // namespace reelcraft
