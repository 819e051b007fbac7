#include "media/base/geometry.h"

#include <gtest/gtest.h>

#include <numbers>

namespace reelcraft {
namespace {

constexpr double kQuarterTurn = std::numbers::pi / 2;

TEST(AffineTransformTest, RotationTurnsPointsCounterClockwiseInYUpSpace) {
  Point p = AffineTransform::rotation(kQuarterTurn).apply({1, 0});
  EXPECT_NEAR(p.x, 0, 1e-12);
  EXPECT_NEAR(p.y, 1, 1e-12);
}

TEST(AffineTransformTest, RotatedAppliesTheRotationBeforeTheExistingTransform) {
  AffineTransform moved = AffineTransform::translation(10, 0).rotated(kQuarterTurn);
  Point p = moved.apply({1, 0});
  EXPECT_NEAR(p.x, 10, 1e-12);
  EXPECT_NEAR(p.y, 1, 1e-12);
}

TEST(AffineTransformTest, FourQuarterTurnsComeBackAndOppositeTurnsCancel) {
  AffineTransform start = AffineTransform::translation(0, 1080).rotated(-kQuarterTurn);
  AffineTransform turned = start;
  for (int i = 0; i < 4; ++i) turned = turned.rotated(kQuarterTurn);
  EXPECT_TRUE(turned.approximatelyEquals(start));
  EXPECT_TRUE(start.rotated(kQuarterTurn).rotated(-kQuarterTurn).approximatelyEquals(start));
  EXPECT_FALSE(start.rotated(kQuarterTurn).approximatelyEquals(start));
}

TEST(AffineTransformTest, SizesSwapUnderAQuarterTurnAndKeepUnderAHalfTurn) {
  Size quarter = AffineTransform::rotation(kQuarterTurn).applyToSize({1920, 1080});
  EXPECT_NEAR(quarter.width, 1080, 1e-9);
  EXPECT_NEAR(quarter.height, 1920, 1e-9);
  Size half = AffineTransform::rotation(2 * kQuarterTurn).applyToSize({1920, 1080});
  EXPECT_NEAR(half.width, 1920, 1e-9);
  EXPECT_NEAR(half.height, 1080, 1e-9);
}

TEST(AffineTransformTest, ConcatenationAppliesLeftThenRight) {
  AffineTransform scaleThenMove =
      AffineTransform{2, 0, 0, 2, 0, 0}.concatenated(AffineTransform::translation(5, 7));
  Point p = scaleThenMove.apply({1, 1});
  EXPECT_DOUBLE_EQ(p.x, 7);
  EXPECT_DOUBLE_EQ(p.y, 9);
  EXPECT_TRUE(AffineTransform::identity().isIdentity());
}

}  // namespace
}  // namespace reelcraft
