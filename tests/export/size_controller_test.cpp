#include "export/size_controller_2d.h"

#include <gtest/gtest.h>

namespace reelcraft {
namespace {

class SizeControllerTest : public testing::Test {
 protected:
  SizeControllerTest() {
    controller.setWidthField(&width);
    controller.setHeightField(&height);
    controller.setLockAspectRatioButton(&lock);
    controller.awakeFromNib();
  }

  void type(IntegerTextField& field, const std::string& text) {
    field.setText(text);
    controller.controlTextDidChange(&field);
  }
  void setLock(int state) {
    lock.setIntegerValue(state);
    controller.toggleLock();
  }

  IntegerTextField width, height;
  CheckBox lock;
  SizeController2D controller;
};

TEST_F(SizeControllerTest, LockedEditsKeepTheRatioTruncatingTowardZero) {
  EXPECT_TRUE(controller.lockAspectRatio());
  EXPECT_EQ(lock.integerValue(), 1);
  type(width, "320");  // ratio one to start with
  EXPECT_EQ(height.text(), "320");

  controller.setSize(1920, 1080);
  type(width, "1280");
  EXPECT_EQ(height.text(), "720");
  type(height, "100");
  EXPECT_EQ(width.text(), "177");
  type(width, "1000");
  EXPECT_EQ(height.text(), "562");
  type(height, "563");
  EXPECT_EQ(width.text(), "1000");
  EXPECT_EQ(controller.integerWidth(), 1000);
  EXPECT_EQ(controller.integerHeight(), 563);
  // Stray characters are dropped, an empty field reads zero.
  type(width, "12ab");
  EXPECT_EQ(width.text(), "12");
  EXPECT_EQ(height.text(), "6");
  type(width, "");
  EXPECT_EQ(width.text(), "0");
  EXPECT_EQ(height.text(), "0");
}

TEST_F(SizeControllerTest, RelockingPullsBackToTheOriginalProportions) {
  controller.setSize(1920, 1080);
  setLock(0);
  EXPECT_FALSE(controller.lockAspectRatio());
  type(width, "500");
  EXPECT_EQ(height.text(), "1080");
  setLock(1);
  type(height, "1080");  // unchanged: nothing to do
  EXPECT_EQ(width.text(), "500");
  type(height, "1081");
  type(height, "1080");
  EXPECT_EQ(width.text(), "1920");
}

TEST_F(SizeControllerTest, SameValueAgainChangesNothingElse) {
  controller.setSize(1920, 1080);
  setLock(0);
  type(height, "300");
  setLock(1);
  type(width, "1920");  // the width it already has
  controller.changedWidth();
  EXPECT_EQ(height.text(), "300");
}

TEST_F(SizeControllerTest, MixedCheckBoxBecomesCheckedAndLocks) {
  setLock(0);
  setLock(CheckBox::kMixed);
  EXPECT_TRUE(controller.lockAspectRatio());
  EXPECT_EQ(lock.integerValue(), 1);
}

TEST(IntegerTextField, ReadsTheLeadingInteger) {
  IntegerTextField field;
  const std::pair<const char*, int64_t> cases[] = {{"42", 42},
                                                   {"  -7px", -7},
                                                   {"+5", 5},
                                                   {"", 0},
                                                   {"abc", 0},
                                                   {"99999999999999999999", INT64_MAX},
                                                   {"-99999999999999999999", INT64_MIN}};
  for (const auto& [text, value] : cases) {
    field.setText(text);
    EXPECT_EQ(field.integerValue(), value) << text;
  }
}

TEST(SizeControllerDeath, LockedEditAfterZeroHeightStops) {
  IntegerTextField width, height;
  SizeController2D controller;
  controller.setWidthField(&width);
  controller.setHeightField(&height);
  controller.setSize(0, 0);
  height.setText("10");
  EXPECT_DEATH(controller.changedHeight(), "");
}

}  // namespace
}  // namespace reelcraft
