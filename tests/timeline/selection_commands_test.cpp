#include "timeline/selection_commands.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/media_time_operators.h"
#include "media/base/undo_manager.h"
#include "timeline_test_support.h"

namespace reelcraft {
namespace {

using testsupport::movieOf;
using timeline_testing::decodedFrames;
using timeline_testing::FakeTimeline;
using timeline_testing::frameShownAt;
using Selections = std::vector<TimelineSelection>;

const MediaTime kFrame = MediaTime::make(1, 30);

MediaTime s(double seconds) {
  return MediaTime::fromSeconds(seconds, 600);
}
TimelineSelection sel(MediaTime start, MediaTime duration) {
  return {start, duration};
}

// The commands of a player showing three seconds of 30 fps video with sound, with the
// player's current time bound to the timeline as the player view binds them.
class SelectionCommandsTest : public ::testing::Test {
 protected:
  SelectionCommandsTest() {
    movie->undoManager = undoManager;
    commands.setMovie(movie);
    bind(playerTime, timeline.currentTimeBindable);
    playerTime->observers.push_back([this](const MediaTime& time) { seeks.push_back(time); });
  }

  void placeCursor(MediaTime time) {
    playerTime->setValueAndNotify(time);
    seeks.clear();
  }
  void select(Selections selections) {
    timeline.setSelections(std::move(selections));
    timeline.setNeedsDisplay();
    timeline.redraws = 0;
  }
  MediaTime duration() const { return movie->composition->duration(); }

  // The cursor moved once, to `time`, and the timeline shows it there.
  void expectCursorMovedTo(MediaTime time) {
    ASSERT_EQ(seeks.size(), 1u);
    EXPECT_EQ(seeks[0], time);
    EXPECT_EQ(timeline.currentTime(), time);
  }
  void expectSelectionsRedrawn(const Selections& expected) {
    EXPECT_EQ(timeline.selections(), expected);
    EXPECT_TRUE(timeline.drawn);
    EXPECT_GE(timeline.redraws, 1);
  }

  FakeTimeline timeline;
  const std::shared_ptr<Bindable<MediaTime>> playerTime =
      Bindable<MediaTime>::create(MediaTime::make(10, 100));
  const std::shared_ptr<UndoManager> undoManager = std::make_shared<UndoManager>();
  std::shared_ptr<Movie> movie = movieOf("h264-aac-mp4");
  SelectionCommands commands{&timeline, playerTime};
  std::vector<MediaTime> seeks;
};

TEST_F(SelectionCommandsTest, EdgeStepsMoveEverySelectionAndTheCursorByAFrame) {
  using Step = void (SelectionCommands::*)();
  const Step incrementStart = &SelectionCommands::incrementSelectionStart;
  const Step decrementStart = &SelectionCommands::decrementSelectionStart;
  const Step incrementEnd = &SelectionCommands::incrementSelectionEnd;
  const Step decrementEnd = &SelectionCommands::decrementSelectionEnd;
  const MediaTime c = s(1), end = duration();
  struct Case {
    Step step;
    Selections before, after;
    std::optional<MediaTime> cursor;  // where the cursor moves, if it does
  };
  const Case cases[] = {
      // Without a selection: one frame beside the cursor.
      {incrementStart, {}, {sel(c, kFrame)}, c},
      {decrementStart, {}, {sel(c - kFrame, kFrame)}, c - kFrame},
      {incrementEnd, {}, {sel(c, kFrame)}, c + kFrame},
      {decrementEnd, {}, {sel(c - kFrame, kFrame)}, c},
      // Every selection moves; the cursor goes to the edge of the bounding range.
      {decrementStart,
       {sel(s(1), s(0.5)), sel(s(0.2), s(0.1))},
       {sel(s(1) - kFrame, s(0.5) + kFrame), sel(s(0.2) - kFrame, s(0.1) + kFrame)},
       s(0.2) - kFrame},
      {incrementEnd,
       {sel(s(1), s(0.5)), sel(s(0.2), s(0.1))},
       {sel(s(1), s(0.5) + kFrame), sel(s(0.2), s(0.1) + kFrame)},
       s(1.5) + kFrame},
      // The end stops at the movie's end; a marked instant there cannot grow and is dropped.
      {incrementEnd, {sel(end - s(1), s(1))}, {sel(end - s(1), s(1))}, end},
      {incrementEnd, {sel(end, MediaTime::zero())}, {}, std::nullopt},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    placeCursor(c);
    select(cases[i].before);
    (commands.*cases[i].step)();
    expectSelectionsRedrawn(cases[i].after);
    if (cases[i].cursor) {
      expectCursorMovedTo(*cases[i].cursor);
    } else {
      EXPECT_TRUE(seeks.empty());
      EXPECT_EQ(timeline.currentTime(), c);
    }
  }
  EXPECT_FALSE(undoManager->canUndo());

  // A new movie is ten seconds of empty video: there is no frame to step by.
  movie = Movie::create();
  commands.setMovie(movie);
  placeCursor(c);
  select({});
  for (const Step step : {incrementStart, decrementStart, incrementEnd, decrementEnd}) {
    (commands.*step)();
    expectSelectionsRedrawn({});
    EXPECT_TRUE(seeks.empty());
  }
}

TEST_F(SelectionCommandsTest, CursorCommandsGoToTheBoundingRange) {
  commands.moveCursorToSelectionStart();
  commands.moveCursorToSelectionEnd();
  EXPECT_TRUE(seeks.empty());

  const Selections selections = {sel(s(1), s(1)), sel(s(0.5), s(0.25))};
  select(selections);
  commands.moveCursorToSelectionStart();
  expectCursorMovedTo(s(0.5));
  seeks.clear();
  commands.moveCursorToSelectionEnd();
  expectCursorMovedTo(s(2));
  EXPECT_EQ(timeline.selections(), selections);
  EXPECT_EQ(timeline.redraws, 0);
}

TEST_F(SelectionCommandsTest, SelectAllCoversTheMovie) {
  placeCursor(s(1));
  commands.selectAll();
  expectSelectionsRedrawn({sel(MediaTime::zero(), duration())});
  EXPECT_TRUE(seeks.empty());
}

TEST_F(SelectionCommandsTest, TypedSelectionEdgesMoveTheBoundingRangeAndTheCursor) {
  // Without selections the edge moves away from the cursor.
  placeCursor(s(1));
  commands.setSelectionEnd(s(2));
  expectSelectionsRedrawn({sel(s(1), s(1))});
  expectCursorMovedTo(s(2));

  seeks.clear();
  select({sel(s(1), s(0.5)), sel(s(2), s(0.5))});
  commands.setSelectionStart(s(0.5));
  expectSelectionsRedrawn({sel(s(0.5), s(2))});
  expectCursorMovedTo(s(0.5));

  // Past the movie's end the edge stops at the end, while the cursor goes where it was sent.
  seeks.clear();
  commands.setSelectionEnd(s(100));
  expectSelectionsRedrawn({sel(s(0.5), duration() - s(0.5))});
  expectCursorMovedTo(s(100));

  seeks.clear();
  commands.setSelectionStart(MediaTime::invalid());
  EXPECT_EQ(timeline.selections(), Selections{sel(s(0.5), duration() - s(0.5))});
  EXPECT_TRUE(seeks.empty());
}

TEST_F(SelectionCommandsTest, TrimKeepsTheFirstSelection) {
  placeCursor(s(0.5));
  const Selections selections = {sel(s(1), s(1)), sel(s(0), s(2.5))};
  select(selections);
  commands.trimToSelection();

  EXPECT_EQ(duration(), s(1));
  const auto shown = decodedFrames(movie->composition->copy());
  ASSERT_EQ(shown.size(), 30u);
  EXPECT_EQ(shown.front().index, 30);
  EXPECT_EQ(shown.back().index, 59);
  // The command leaves selections and cursor alone.
  EXPECT_EQ(timeline.selections(), selections);
  EXPECT_TRUE(seeks.empty());

  EXPECT_EQ(undoManager->undoActionName(), "Trim");
}

TEST_F(SelectionCommandsTest, DeleteRemovesTheLastSelectionAndKeepsTheCursorOnItsFrame) {
  placeCursor(s(2));
  select({sel(s(0), s(0.2)), sel(s(0.5), s(0.5))});
  const MediaTime before = duration();
  commands.deleteSelection();

  EXPECT_EQ(duration(), before - s(0.5));
  expectSelectionsRedrawn({});
  expectCursorMovedTo(s(1.5));
  const auto shown = decodedFrames(movie->composition->copy());
  EXPECT_EQ(frameShownAt(shown, s(1.5)), 60);  // the frame that was at 2 s
  EXPECT_EQ(frameShownAt(shown, s(0.5)), 30);  // the cut joins 0.5 s to 1 s

  EXPECT_EQ(undoManager->undoActionName(), "Delete");
}

TEST_F(SelectionCommandsTest, DeleteLeavesACursorInOrBeforeTheRangeWhereItIs) {
  commands.deleteSelection();  // without a selection: nothing
  EXPECT_EQ(timeline.redraws, 0);
  EXPECT_FALSE(undoManager->canUndo());
  for (const MediaTime cursor : {s(0.7), s(1), s(0.2)}) {
    SCOPED_TRACE(cursor.debugString());
    placeCursor(cursor);
    select({sel(s(0.5), s(0.5))});
    commands.deleteSelection();
    expectSelectionsRedrawn({});
    EXPECT_TRUE(seeks.empty());
    EXPECT_EQ(timeline.currentTime(), cursor);
  }
}

TEST_F(SelectionCommandsTest, StretchAppliesToTheSelectionItWasOpenedFor) {
  EXPECT_EQ(commands.selectionToStretch(), std::nullopt);
  select({sel(s(1), s(1)), sel(s(2), s(0.5))});
  const auto stretched = commands.selectionToStretch();
  ASSERT_TRUE(stretched.has_value());
  EXPECT_EQ(*stretched, sel(s(1), s(1)));

  // The user selects something else while the popover is open.
  select({sel(s(0), s(0.5))});
  const MediaTime before = duration();
  commands.applyStretch(*stretched, s(2));

  EXPECT_EQ(duration(), before + s(1));
  expectSelectionsRedrawn({});
  const auto shown = decodedFrames(movie->composition->copy());
  EXPECT_EQ(frameShownAt(shown, s(0.5)), 15);
  EXPECT_EQ(frameShownAt(shown, s(2)), 45);  // halfway through the stretched second
  EXPECT_EQ(frameShownAt(shown, s(3.5)), 75);
  EXPECT_EQ(undoManager->undoActionName(), "Stretch Time");
}

TEST_F(SelectionCommandsTest, WithoutAMovieOnlyTheSelectionsChange) {
  movie.reset();
  placeCursor(s(2));
  const Selections selections = {sel(s(0.5), s(0.5))};
  select(selections);
  const std::vector<std::function<void()>> untouching = {
      [&] { commands.incrementSelectionStart(); },
      [&] { commands.decrementSelectionEnd(); },
      [&] { commands.selectAll(); },
      [&] { commands.setSelectionEnd(s(1)); },
      [&] { commands.trimToSelection(); },
  };
  for (const auto& command : untouching) command();
  EXPECT_EQ(timeline.selections(), selections);
  EXPECT_EQ(timeline.redraws, 0);
  EXPECT_TRUE(seeks.empty());

  commands.moveCursorToSelectionEnd();  // needs no movie
  expectCursorMovedTo(s(1));

  commands.deleteSelection();
  expectSelectionsRedrawn({});
  commands.applyStretch(selections.front(), s(3));
  EXPECT_FALSE(undoManager->canUndo());
}

TEST(SelectionCommandsDeathTest, RunningWithoutATimelineIsAProgrammingError) {
  SelectionCommands commands(nullptr, Bindable<MediaTime>::create(MediaTime::zero()));
  EXPECT_DEATH(commands.deleteSelection(), "no timeline");
  EXPECT_DEATH(commands.moveCursorToSelectionStart(), "no timeline");
}

}  // namespace
}  // namespace reelcraft
