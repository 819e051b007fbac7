#include "timeline/selection_rules.h"

#include <gtest/gtest.h>

#include <vector>

#include "core/media_time_operators.h"
#include "media/model/composition.h"
#include "media/support/composition_reading.h"
#include "timeline_test_support.h"

namespace reelcraft {
namespace {

using reading::openVariant;

MediaTime s(double seconds) {
  return MediaTime::fromSeconds(seconds, 600);
}
TimelineSelection sel(double start, double duration) {
  return {s(start), s(duration)};
}
using Selections = std::vector<TimelineSelection>;

TEST(UpdateSelections, SelectsFromTheCursorOrDragsTheLastSelection) {
  EXPECT_EQ(updateSelections(s(4), {}, s(1)), Selections{sel(1, 3)});
  EXPECT_EQ(updateSelections(s(1), {}, s(4)), Selections{sel(1, 3)});
  EXPECT_EQ(updateSelections(s(2), {}, s(2)), Selections{sel(2, 0)});
  // With selections, only the last one is dragged.
  const Selections before = {sel(1, 1), sel(5, 2)};
  EXPECT_EQ(updateSelections(s(8), before, s(0)), (Selections{sel(1, 1), sel(5, 3)}));
  EXPECT_EQ(updateSelections(s(0), before, s(9)), (Selections{sel(1, 1), sel(0, 7)}));
}

TEST(DragEdge, MovesTheNearerEdgeAndTheStartOnATie) {
  EXPECT_EQ(dragEdge(sel(2, 4), s(5)), sel(2, 3));        // nearer the end
  EXPECT_EQ(dragEdge(sel(2, 4), s(7)), sel(2, 5));        // beyond the end
  EXPECT_EQ(dragEdge(sel(2, 4), s(3)), sel(3, 3));        // nearer the start
  EXPECT_EQ(dragEdge(sel(2, 4), s(0.5)), sel(0.5, 5.5));  // before the start
  EXPECT_EQ(dragEdge(sel(2, 4), s(4)), sel(4, 2));        // halfway: the start moves
  // A zero-length selection: both edges are equally near, so the start edge follows the
  // pointer, even past the end.
  EXPECT_EQ(dragEdge(sel(2, 0), s(3)), sel(3, 1));
  EXPECT_EQ(dragEdge(sel(2, 0), s(1)), sel(1, 1));
}

TEST(StepEdge, KeepsSelectionsInsideTheMovieTurnsThemRoundAndDropsThoseWithoutLength) {
  const MediaTime step = s(0.5);
  // A start before zero shifts the whole selection, so its end moves later.
  EXPECT_EQ(stepEdge({sel(0, 1)}, SelectionEdge::Start, -step, s(10)), Selections{sel(0, 1.5)});
  // An end after the movie is cut back to it.
  EXPECT_EQ(stepEdge({sel(9, 1)}, SelectionEdge::End, step, s(10)), Selections{sel(9, 1)});
  EXPECT_EQ(stepEdge({sel(9.75, 0)}, SelectionEdge::End, step, s(10)), Selections{sel(9.75, 0.25)});
  // A selection left beyond a shortened movie: cutting the end back past the start gives a
  // negative length, which turns round.
  EXPECT_EQ(stepEdge({sel(12, 1)}, SelectionEdge::Start, step, s(10)), Selections{sel(10, 2.5)});
  // An edge passing the other turns the selection round.
  EXPECT_EQ(stepEdge({sel(2, 0.5)}, SelectionEdge::Start, s(2), s(10)), Selections{sel(2.5, 1.5)});
  EXPECT_EQ(stepEdge({sel(2, 0.5)}, SelectionEdge::End, s(-2), s(10)), Selections{sel(0.5, 1.5)});
  // Selections left without length are dropped.
  EXPECT_EQ(stepEdge({sel(2, 0.5)}, SelectionEdge::Start, step, s(10)), Selections{});
  EXPECT_EQ(stepEdge({sel(2, 0.5)}, SelectionEdge::End, -step, s(10)), Selections{});
  EXPECT_EQ(stepEdge({sel(10, 0)}, SelectionEdge::End, step, s(10)), Selections{});
  EXPECT_EQ(stepEdge({sel(3, 0)}, SelectionEdge::Start, MediaTime::zero(), s(10)), Selections{});
  // Each selection on its own: the others stay, in order.
  EXPECT_EQ(stepEdge({sel(1, 2), sel(4, 0.5), sel(6, 1)}, SelectionEdge::Start, step, s(10)),
            (Selections{sel(1.5, 1.5), sel(6.5, 0.5)}));
}

TEST(MoveSelectionEdge, MovesOneEdgeOfTheBoundingRangeTurnsItRoundAndClampsIt) {
  const Selections selections = {sel(2, 1), sel(5, 1)};
  EXPECT_EQ(moveSelectionEdge(selections, SelectionEdge::Start, s(1), s(10)), sel(1, 5));
  EXPECT_EQ(moveSelectionEdge(selections, SelectionEdge::Start, s(4), s(10)), sel(4, 2));
  EXPECT_EQ(moveSelectionEdge(selections, SelectionEdge::End, s(8), s(10)), sel(2, 6));
  EXPECT_EQ(moveSelectionEdge(selections, SelectionEdge::End, s(2), s(10)), sel(2, 0));
  // An edge moved past the other turns round.
  EXPECT_EQ(moveSelectionEdge({sel(2, 1)}, SelectionEdge::Start, s(5), s(10)), sel(3, 2));
  EXPECT_EQ(moveSelectionEdge({sel(2, 1)}, SelectionEdge::End, s(0.5), s(10)), sel(0.5, 1.5));
  // Each edge is clamped into the movie.
  EXPECT_EQ(moveSelectionEdge({sel(2, 1)}, SelectionEdge::End, s(12), s(10)), sel(2, 8));
  EXPECT_EQ(moveSelectionEdge({sel(2, 1)}, SelectionEdge::Start, s(-3), s(10)), sel(0, 3));
  EXPECT_EQ(moveSelectionEdge({sel(2, 1)}, SelectionEdge::Start, s(12), s(10)), sel(3, 7));
  // A selection wholly beyond the movie collapses onto its end.
  EXPECT_EQ(moveSelectionEdge({sel(11, 1)}, SelectionEdge::End, s(14), s(10)), sel(10, 0));
}

TEST(FrameStep, IsTheShortestVideoFrameAndZeroWithoutOne) {
  EXPECT_EQ(frameStep(*MutableComposition::create()), MediaTime::zero());
  // A new movie's empty video track has no frame duration.
  EXPECT_EQ(frameStep(*Movie::create()->composition), MediaTime::zero());

  auto composition = MutableComposition::create();
  const TimeRange second = TimeRange::make(MediaTime::zero(), s(1));
  composition->insertTimeRange(second, *openVariant("audio-only-m4a"), MediaTime::zero());
  EXPECT_EQ(frameStep(*composition), MediaTime::zero());
  // The audio track comes first; its missing frame duration never wins.
  composition->insertTimeRange(second, *openVariant("h264-aac-mp4"), MediaTime::zero());
  ASSERT_EQ(composition->tracks().front().mediaType, MediaType::Audio);
  EXPECT_EQ(frameStep(*composition), MediaTime::make(1, 30));
}

}  // namespace
}  // namespace reelcraft
