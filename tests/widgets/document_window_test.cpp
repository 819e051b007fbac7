#include <gtest/gtest.h>

#include <cmath>

#include <QLabel>
#include <QToolButton>

#include "app_fixture.h"
#include "core/media_time_operators.h"

namespace reelcraft {
namespace {

// The document window of the 3 s, 30 fps test movie, settled on its first picture.
class DocumentWindowTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    document = open("h264-aac-mp4");
    ASSERT_TRUE(document);
    ASSERT_TRUE(settled(*document));
  }
  PlayerViewController& view() { return viewOf(*document); }

  std::shared_ptr<Document> document;
};

TEST_F(DocumentWindowTest, ShowsTheFrameAtATenthOfASecondAndThenWhereTheTimelineIsClicked) {
  auto& window = windowOf(*document);
  EXPECT_TRUE(window.window()->isVisible());
  EXPECT_TRUE(
      window.window()->windowTitle().startsWith(QString::fromStdString(document->displayName())));
  EXPECT_FALSE(window.window()->isWindowModified());
  EXPECT_EQ(view().player()->currentTime(), MediaTime::make(10, 100));
  EXPECT_EQ(shownFrame(*document), 3);  // 0.1 s at 30 fps
  EXPECT_EQ(view().timeLabel()->text(), "0:00:00.10");
  EXPECT_EQ(view().timeline()->duration(), durationOf(*document));

  TimelineControl& timeline = *view().timeline();
  const double secondsPerPoint = durationOf(*document).seconds() / timeline.usableWidth();
  const int x = static_cast<int>(std::lround(TimelineControl::kInset + 1.0 / secondsPerPoint));
  QTest::mouseClick(&timeline, Qt::LeftButton, {}, QPoint(x, timeline.height() - 9));
  EXPECT_NEAR(timeline.currentTime().seconds(), 1.0, secondsPerPoint);
  ASSERT_TRUE(settled(*document));
  EXPECT_EQ(view().player()->currentTime(), timeline.currentTime());
  // The picture is the one at the clicked time, read back from the screen.
  EXPECT_EQ(shownFrame(*document), static_cast<int>(view().player()->currentTime().seconds() * 30));
}

TEST_F(DocumentWindowTest, StepButtonsMoveOneFrameAndThePlayButtonFollowsTheRate) {
  view().stepForwardButton()->click();
  ASSERT_TRUE(QTest::qWaitFor([&] { return shownFrame(*document) == 4; }, kPatienceMs));
  view().stepBackwardButton()->click();
  view().stepBackwardButton()->click();
  ASSERT_TRUE(QTest::qWaitFor([&] { return shownFrame(*document) == 2; }, kPatienceMs));

  QToolButton* play = view().playPauseButton();
  EXPECT_FALSE(play->isChecked());
  play->click();
  EXPECT_TRUE(play->isChecked());
  EXPECT_DOUBLE_EQ(view().player()->rate(), 1.0);
  ASSERT_TRUE(QTest::qWaitFor(
      [&] { return view().timeline()->currentTime() > MediaTime::make(3, 10); }, kPatienceMs));
  play->click();
  EXPECT_FALSE(play->isChecked());
  EXPECT_DOUBLE_EQ(view().player()->rate(), 0.0);

  // A rate set elsewhere shows on the button at the next time report.
  view().playbackRateBindable()->setValueAndNotify(-1.0);
  ASSERT_TRUE(QTest::qWaitFor([&] { return play->isChecked(); }, kPatienceMs));
  view().playbackRateBindable()->setValueAndNotify(0.0005);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !play->isChecked(); }, kPatienceMs));
}

TEST_F(DocumentWindowTest, KeysReachTheActionsThroughTheKeyBindings) {
  EXPECT_EQ(keyBindingCommand(Qt::Key_Backspace, {}), Command::DeleteBackward);
  EXPECT_EQ(keyBindingCommand(Qt::Key_Delete, Qt::KeypadModifier), Command::DeleteForward);
  EXPECT_EQ(keyBindingCommand(Qt::Key_Space, {}), Command::PlayPause);
  EXPECT_EQ(keyBindingCommand(Qt::Key_Right, Qt::ShiftModifier), Command::StepForward);
  EXPECT_EQ(keyBindingCommand(Qt::Key_Right, Qt::ControlModifier), std::nullopt);
  EXPECT_EQ(keyBindingCommand(Qt::Key_unknown, {}), std::nullopt);

  const MediaTime before = durationOf(*document);
  view().timeline()->setSelections({{secondsTime(1), secondsTime(1)}});
  QTest::keyClick(&view(), Qt::Key_Backspace);
  EXPECT_EQ(durationOf(*document), before - secondsTime(1));
  EXPECT_TRUE(view().timeline()->selections().empty());
}

TEST_F(DocumentWindowTest, RebuildsThePlayerAfterAnEditAtTheSameTime) {
  view().currentTimeBindable()->setValueAndNotify(secondsTime(0.5));
  ASSERT_TRUE(settled(*document));
  const Player* before = view().player();

  document->movie()->rotate(true);
  EXPECT_NE(view().player(), before);
  ASSERT_TRUE(settled(*document));
  EXPECT_EQ(view().player()->currentTime(), secondsTime(0.5));
  // Turned a quarter: the 320×240 picture now stands upright.
  EXPECT_LT(view().mediaPlayer()->displayAspectRatio(), 1.0);
  EXPECT_EQ(shownFrame(*document), 15);
}

}  // namespace
}  // namespace reelcraft
