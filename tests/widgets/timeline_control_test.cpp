#include "timeline_view/timeline_control.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

#include <QImage>
#include <QTest>

#include "core/bindable.h"

namespace reelcraft {
namespace {

// 416 points wide: the bar spreads 10 s over 400 points from x = 8, 40 points a second.
constexpr int kWidth = 416;
constexpr int kRow = 9;

MediaTime seconds(double s) {
  return MediaTime::fromSeconds(s, 600);
}
int xOf(double s) {
  return static_cast<int>(std::lround(8 + s * 40));
}
using StartEnds = std::vector<std::pair<double, double>>;
std::vector<TimelineSelection> between(const StartEnds& startEnds) {
  std::vector<TimelineSelection> result;
  for (auto [start, end] : startEnds) result.push_back({seconds(start), seconds(end - start)});
  return result;
}

class TimelineControlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    timeline.resize(kWidth, 18);
    timeline.setDuration(MediaTime::make(2000, 200));
    bind(player, timeline.currentTimeBindable());  // the player's side of the cursor
    player->observers.push_back([this](const MediaTime& t) { playerTimes.push_back(t); });
    timeline.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&timeline));
  }
  void mouse(QTest::MouseAction action, double s, Qt::KeyboardModifiers modifiers = {}) {
    QTest::mouseEvent(action, &timeline, action == QTest::MouseMove ? Qt::NoButton : Qt::LeftButton,
                      modifiers, QPoint(xOf(s), kRow));
  }
  StartEnds selectedSeconds() const {
    StartEnds startEnds;
    for (const auto& s : timeline.selections()) {
      startEnds.emplace_back(s.start.seconds(), s.end().seconds());
    }
    return startEnds;
  }

  TimelineControl timeline;
  std::shared_ptr<Bindable<MediaTime>> player = Bindable<MediaTime>::create(MediaTime::zero());
  std::vector<MediaTime> playerTimes;
};

TEST_F(TimelineControlTest, MapsPositionsToTimesInTheDurationsTimescale) {
  mouse(QTest::MouseClick, 5);  // x = 208
  ASSERT_EQ(playerTimes.size(), 1u);
  EXPECT_TRUE(isIdentical(playerTimes[0], MediaTime::make(1000, 200)));
  EXPECT_TRUE(isIdentical(timeline.currentTime(), MediaTime::make(1000, 200)));
  // Left of the inset is the start, right of the bar the whole duration.
  QTest::mouseClick(&timeline, Qt::LeftButton, {}, QPoint(3, kRow));
  EXPECT_TRUE(isIdentical(timeline.currentTime(), MediaTime::make(0, 200)));
  QTest::mouseClick(&timeline, Qt::LeftButton, {}, QPoint(kWidth - 2, kRow));
  EXPECT_TRUE(isIdentical(timeline.currentTime(), MediaTime::make(2000, 200)));
  // Between whole units of the timescale the time is cut toward zero: half of 999 is 499.
  timeline.setDuration(MediaTime::make(999, 100));
  QTest::mouseClick(&timeline, Qt::LeftButton, {}, QPoint(208, kRow));
  EXPECT_TRUE(isIdentical(timeline.currentTime(), MediaTime::make(499, 100)));

  timeline.setDuration(MediaTime::make(2000, 200));
  EXPECT_DOUBLE_EQ(timeline.positionOf(seconds(30)), 400);  // clamped to the end
  EXPECT_DOUBLE_EQ(timeline.positionOf(seconds(-1)), -40);  // not clamped at the start
  timeline.setDuration(MediaTime::make(0, 600));
  EXPECT_DOUBLE_EQ(timeline.positionOf(seconds(3)), 0);
  EXPECT_TRUE(isIdentical(timeline.timeAt(300), MediaTime::make(0, 600)));
}

TEST_F(TimelineControlTest, ClicksMoveTheCursorAndShiftClicksSelect) {
  player->setValueAndNotify(seconds(2));
  EXPECT_EQ(timeline.currentTime(), seconds(2));
  mouse(QTest::MouseClick, 5, Qt::ShiftModifier);  // from the cursor to the click
  EXPECT_EQ(selectedSeconds(), (StartEnds{{2, 5}}));
  EXPECT_EQ(player->value(), seconds(5));
  mouse(QTest::MouseClick, 8, Qt::ShiftModifier);  // the nearer edge follows
  mouse(QTest::MouseClick, 1, Qt::ShiftModifier | Qt::ControlModifier);
  EXPECT_EQ(selectedSeconds(), (StartEnds{{1, 8}}));

  timeline.setSelections(between({{1, 2}, {6, 7}}));
  mouse(QTest::MouseClick, 9, Qt::ShiftModifier);  // only the last selection follows
  EXPECT_EQ(selectedSeconds(), (StartEnds{{1, 2}, {6, 9}}));
  QTest::mouseClick(&timeline, Qt::RightButton, {}, QPoint(xOf(3), kRow));  // ignored
  EXPECT_EQ(selectedSeconds(), (StartEnds{{1, 2}, {6, 9}}));
  mouse(QTest::MouseClick, 7, Qt::ControlModifier);  // a plain click clears them
  EXPECT_TRUE(timeline.selections().empty());
  EXPECT_EQ(player->value(), seconds(7));
}

TEST_F(TimelineControlTest, ShiftDragsSelectAndPlainDragsScrub) {
  player->setValueAndNotify(seconds(1));
  mouse(QTest::MousePress, 3, Qt::ShiftModifier);
  mouse(QTest::MouseMove, 6, Qt::ShiftModifier);
  EXPECT_EQ(selectedSeconds(), (StartEnds{{1, 6}}));
  mouse(QTest::MouseMove, 0.5, Qt::ShiftModifier);
  EXPECT_EQ(selectedSeconds(), (StartEnds{{0.5, 6}}));
  playerTimes.clear();
  mouse(QTest::MouseMove, 8);  // without Shift the cursor moves alone
  mouse(QTest::MouseRelease, 8);
  EXPECT_EQ(selectedSeconds(), (StartEnds{{0.5, 6}}));
  ASSERT_EQ(playerTimes.size(), 1u);
  EXPECT_EQ(playerTimes[0], seconds(8));
  mouse(QTest::MouseMove, 2);  // no button: nothing
  EXPECT_EQ(timeline.currentTime(), seconds(8));

  player->setValue(seconds(3.5));  // a time report from the player
  EXPECT_EQ(timeline.currentTime(), seconds(3.5));
}

// The grey of the pixel `up` points above the bottom edge of a grab of `timeline`.
int greyAt(const QImage& image, int x, int up) {
  return qGray(image.pixel(x, image.height() - 1 - up));
}
int level(double grey) {
  return static_cast<int>(std::lround(grey * 255));
}

TEST_F(TimelineControlTest, DrawsTheBarSelectionsAndCursorInTheirGreys) {
  // Taller than the drawing, so that mirrored rows would differ.
  timeline.resize(kWidth, 30);
  timeline.setSelections(
      {{seconds(-1), seconds(2)}, {seconds(2.5), seconds(2.5)}, {seconds(9), seconds(3)}});
  timeline.setCurrentTime(seconds(7.5));
  QImage image = timeline.grab().toImage();
  ASSERT_EQ(image.height(), 30);
  const int background = greyAt(image, 60, 20);
  for (int up : {7, 10}) {  // the bar lies 6 to 12 points up
    EXPECT_NEAR(greyAt(image, 60, up), level(0.7), 3);
    EXPECT_NEAR(greyAt(image, 150, up), level(0.4), 3);  // 2.5 s to 5 s
    EXPECT_NEAR(greyAt(image, 20, up), level(0.4), 3);   // clipped at the bar's start
    EXPECT_EQ(greyAt(image, 4, up), background);
    EXPECT_NEAR(greyAt(image, 400, up), level(0.4), 3);  // clipped at the end
    EXPECT_EQ(greyAt(image, kWidth - 3, up), background);
  }
  EXPECT_LT(greyAt(image, 60, 6), level(0.7) - 30);  // the outline, half a pixel each side
  EXPECT_EQ(greyAt(image, 60, 16), background);
  EXPECT_EQ(greyAt(image, 60, 1), background);
  // The hourglass from 2 to 16 points up: wide at both ends, a waist between.
  const int cursor = xOf(7.5);
  EXPECT_NEAR(greyAt(image, cursor - 3, 14), level(0.2), 3);
  EXPECT_NEAR(greyAt(image, cursor + 2, 3), level(0.2), 3);
  EXPECT_NEAR(greyAt(image, cursor - 3, 8), level(0.7), 3);
  EXPECT_EQ(greyAt(image, cursor, 17), background);
  EXPECT_EQ(greyAt(image, cursor, 0), background);

  timeline.setCurrentTime(seconds(20));  // drawn at the bar's end
  image = timeline.grab().toImage();
  EXPECT_NEAR(greyAt(image, kWidth - 8, 14), level(0.2), 3);
}

}  // namespace
}  // namespace reelcraft
