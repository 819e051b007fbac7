#include <gtest/gtest.h>

#include "export/size_controller_2d.h"

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

  void typeWidth(const std::string& text) {
    width.setText(text);
    controller.controlTextDidChange(&width);
  }
  void typeHeight(const std::string& text) {
    height.setText(text);
    controller.controlTextDidChange(&height);
  }

  IntegerTextField width, height;
  CheckBox lock;
  SizeController2D controller;
};

TEST_F(SizeControllerTest, StartsLockedAtRatioOne) {
  EXPECT_TRUE(controller.lockAspectRatio());
  EXPECT_EQ(lock.integerValue(), 1);
  typeWidth("320");
  EXPECT_EQ(height.text(), "320");
  EXPECT_EQ(controller.integerHeight(), 320);
}

TEST_F(SizeControllerTest, LockedEditsTruncateTowardZero) {
  controller.setSize(1920, 1080);
  typeWidth("1280");
  EXPECT_EQ(height.text(), "720");
  typeHeight("100");
  EXPECT_EQ(width.text(), "177");
  typeWidth("1000");
  EXPECT_EQ(height.text(), "562");
  typeHeight("563");
  EXPECT_EQ(width.text(), "1000");
  EXPECT_EQ(controller.integerWidth(), 1000);
  EXPECT_EQ(controller.integerHeight(), 563);
}

TEST_F(SizeControllerTest, RelockingPullsBackToTheOriginalProportions) {
  controller.setSize(1920, 1080);
  lock.setIntegerValue(0);
  controller.toggleLock();
  EXPECT_FALSE(controller.lockAspectRatio());
  typeWidth("500");
  EXPECT_EQ(height.text(), "1080");
  lock.setIntegerValue(1);
  controller.toggleLock();
  typeHeight("1080");  // unchanged: nothing to do
  EXPECT_EQ(width.text(), "500");
  typeHeight("1081");
  typeHeight("1080");
  EXPECT_EQ(width.text(), "1920");
}

TEST_F(SizeControllerTest, StrayCharactersAndEmptyFieldsAreCleanedUp) {
  controller.setSize(1920, 1080);
  typeWidth("12ab");
  EXPECT_EQ(width.text(), "12");
  EXPECT_EQ(height.text(), "6");
  typeWidth("");
  EXPECT_EQ(width.text(), "0");
  EXPECT_EQ(height.text(), "0");
}

TEST_F(SizeControllerTest, SameValueAgainChangesNothingElse) {
  controller.setSize(1920, 1080);
  lock.setIntegerValue(0);
  controller.toggleLock();
  typeHeight("300");
  lock.setIntegerValue(1);
  controller.toggleLock();
  typeWidth("1920");  // the width it already has
  controller.changedWidth();
  EXPECT_EQ(height.text(), "300");
}

TEST_F(SizeControllerTest, MixedCheckBoxBecomesCheckedAndLocks) {
  lock.setIntegerValue(0);
  controller.toggleLock();
  lock.setIntegerValue(CheckBox::kMixed);
  controller.toggleLock();
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
