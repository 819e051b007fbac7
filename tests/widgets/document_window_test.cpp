#include <gtest/gtest.h>

#include <cmath>

#include <QLabel>
#include <QToolButton>

#include "app_fixture.h"
#include "core/media_time_operators.h"
#include "core/time_display.h"

namespace reelcraft {
namespace {

using DocumentWindowTest = AppTest;

TEST_F(DocumentWindowTest, OpensAMovieShowingItsFrameAtATenthOfASecond) {
  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(document);
  auto& window = windowOf(*document);
  EXPECT_TRUE(window.window()->isVisible());
  EXPECT_TRUE(
      window.window()->windowTitle().startsWith(QString::fromStdString(document->displayName())));
  EXPECT_FALSE(window.window()->isWindowModified());

  ASSERT_TRUE(settled(*document));
  auto& view = viewOf(*document);
  EXPECT_EQ(view.player()->currentTime(), MediaTime::make(10, 100));
  EXPECT_EQ(shownFrame(*document), 3);  // 0.1 s at 30 fps
  EXPECT_EQ(view.timeLabel()->text(), "0:00:00.10");
  EXPECT_EQ(view.timeline()->duration(), durationOf(*document));
}

TEST_F(DocumentWindowTest, TimelineClicksMoveThePlayerAndShiftMakesSelections) {
  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(settled(*document));
  auto& view = viewOf(*document);
  TimelineControl& timeline = *view.timeline();
  const double duration = durationOf(*document).seconds();
  const double secondsPerPoint = duration / timeline.usableWidth();
  const int row = timeline.height() - 9;
  auto xOf = [&](double s) {
    return static_cast<int>(std::lround(TimelineControl::kInset + s / secondsPerPoint));
  };
  auto expectNear = [&](MediaTime actual, double expected) {
    EXPECT_NEAR(actual.seconds(), expected, secondsPerPoint) << expected;
  };

  QTest::mouseClick(&timeline, Qt::LeftButton, {}, QPoint(xOf(1.0), row));
  expectNear(timeline.currentTime(), 1.0);
  EXPECT_TRUE(timeline.selections().empty());
  ASSERT_TRUE(settled(*document));
  EXPECT_EQ(view.player()->currentTime(), timeline.currentTime());
  // The picture is the one at the clicked time, read back from the screen.
  EXPECT_EQ(shownFrame(*document), static_cast<int>(view.player()->currentTime().seconds() * 30));
  EXPECT_EQ(view.timeLabel()->text().toStdString(),
            timeDisplayString(view.player()->currentTime()));

  QTest::mouseClick(&timeline, Qt::LeftButton, Qt::ShiftModifier, QPoint(xOf(2.0), row));
  ASSERT_EQ(timeline.selections().size(), 1u);
  expectNear(timeline.selections()[0].start, 1.0);
  expectNear(timeline.selections()[0].end(), 2.0);

  // Shift-drag moves the nearer edge (the end) on to 2.5 s.
  QTest::mousePress(&timeline, Qt::LeftButton, Qt::ShiftModifier, QPoint(xOf(2.0), row));
  QTest::mouseEvent(QTest::MouseMove, &timeline, Qt::NoButton, Qt::ShiftModifier,
                    QPoint(xOf(2.3), row));
  QTest::mouseEvent(QTest::MouseMove, &timeline, Qt::NoButton, Qt::ShiftModifier,
                    QPoint(xOf(2.5), row));
  QTest::mouseRelease(&timeline, Qt::LeftButton, Qt::ShiftModifier, QPoint(xOf(2.5), row));
  ASSERT_EQ(timeline.selections().size(), 1u);
  expectNear(timeline.selections()[0].start, 1.0);
  expectNear(timeline.selections()[0].end(), 2.5);

  // A plain click clears the selections.
  QTest::mouseClick(&timeline, Qt::LeftButton, {}, QPoint(xOf(0.5), row));
  EXPECT_TRUE(timeline.selections().empty());
  expectNear(timeline.currentTime(), 0.5);
}

TEST_F(DocumentWindowTest, StepButtonsMoveOneFrameAndThePlayButtonFollowsTheRate) {
  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(settled(*document));
  auto& view = viewOf(*document);

  view.stepForwardButton()->click();
  ASSERT_TRUE(QTest::qWaitFor([&] { return shownFrame(*document) == 4; }, kPatienceMs));
  view.stepBackwardButton()->click();
  view.stepBackwardButton()->click();
  ASSERT_TRUE(QTest::qWaitFor([&] { return shownFrame(*document) == 2; }, kPatienceMs));

  EXPECT_FALSE(view.playPauseButton()->isChecked());
  view.playPauseButton()->click();
  EXPECT_TRUE(view.playPauseButton()->isChecked());
  EXPECT_DOUBLE_EQ(view.player()->rate(), 1.0);
  ASSERT_TRUE(QTest::qWaitFor(
      [&] { return view.timeline()->currentTime() > MediaTime::make(3, 10); }, kPatienceMs));
  view.playPauseButton()->click();
  EXPECT_FALSE(view.playPauseButton()->isChecked());
  EXPECT_DOUBLE_EQ(view.player()->rate(), 0.0);

  // A rate set elsewhere shows on the button at the next time report.
  view.playbackRateBindable()->setValueAndNotify(-1.0);
  ASSERT_TRUE(QTest::qWaitFor([&] { return view.playPauseButton()->isChecked(); }, kPatienceMs));
  view.playbackRateBindable()->setValueAndNotify(0.0005);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !view.playPauseButton()->isChecked(); }, kPatienceMs));
}

TEST_F(DocumentWindowTest, KeysReachTheActionsThroughTheKeyBindings) {
  EXPECT_EQ(keyBindingCommand(Qt::Key_Backspace, {}), Command::DeleteBackward);
  EXPECT_EQ(keyBindingCommand(Qt::Key_Delete, Qt::KeypadModifier), Command::DeleteForward);
  EXPECT_EQ(keyBindingCommand(Qt::Key_Space, {}), Command::PlayPause);
  EXPECT_EQ(keyBindingCommand(Qt::Key_Right, Qt::ShiftModifier), Command::StepForward);
  EXPECT_EQ(keyBindingCommand(Qt::Key_Right, Qt::ControlModifier), std::nullopt);
  EXPECT_EQ(keyBindingCommand(Qt::Key_unknown, {}), std::nullopt);

  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(settled(*document));
  auto& view = viewOf(*document);
  const MediaTime before = durationOf(*document);
  view.timeline()->setSelections({{secondsTime(1), secondsTime(1)}});
  QTest::keyClick(&view, Qt::Key_Backspace);
  EXPECT_EQ(durationOf(*document), before - secondsTime(1));
  EXPECT_TRUE(view.timeline()->selections().empty());
}

TEST_F(DocumentWindowTest, RebuildsThePlayerAfterAnEditAtTheSameTime) {
  const auto document = open("h264-aac-mp4");
  ASSERT_TRUE(settled(*document));
  auto& view = viewOf(*document);
  view.currentTimeBindable()->setValueAndNotify(secondsTime(0.5));
  ASSERT_TRUE(settled(*document));
  const Player* before = view.player();

  document->movie()->rotate(true);
  EXPECT_NE(view.player(), before);
  ASSERT_TRUE(settled(*document));
  EXPECT_EQ(view.player()->currentTime(), secondsTime(0.5));
  // Turned a quarter: the 320×240 picture now stands upright.
  EXPECT_LT(view.mediaPlayer()->displayAspectRatio(), 1.0);
  EXPECT_EQ(shownFrame(*document), 15);
}

}  // namespace
}  // namespace reelcraft

namespace reelcraft {
namespace {

// With the application's own sound output: where the machine has no audio device the movie
// still plays, on the system clock, with no alert.
TEST(DocumentWindowSoundTest, PlaysWithTheSystemSoundOutputOrSilently) {
  std::vector<Error> alerts;
  setErrorAlertPresenter([&](const Error& error, QWidget*) { alerts.push_back(error); });
  {
    AppDelegate app;
    const auto opened =
        app.openFiles({QString::fromStdString(testmedia::testMediaPath("h264-aac-mov"))});
    ASSERT_EQ(opened.size(), 1u);
    auto& view = *app.windowControllerOf(*opened[0])->playerViewController();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return view.player()->displayedFrame() != nullptr; }, kPatienceMs));
    view.play();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return view.timeline()->currentTime() > MediaTime::make(1, 2); }, kPatienceMs));
    EXPECT_DOUBLE_EQ(view.player()->rate(), 1.0);
    view.pause();
  }
  QTest::qWait(1);
  setErrorAlertPresenter({});
  EXPECT_TRUE(alerts.empty());
}

}  // namespace
}  // namespace reelcraft
