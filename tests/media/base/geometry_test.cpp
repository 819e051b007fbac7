#include "media/base/geometry.h"

#include <gtest/gtest.h>

#include <numbers>

namespace reelcraft {
namespace {

constexpr double kQuarterTurn = std::numbers::pi / 2;

void expectNear(Point p, Point expected) {
  EXPECT_NEAR(p.x, expected.x, 1e-9);
  EXPECT_NEAR(p.y, expected.y, 1e-9);
}

void expectMaps(const AffineTransform& transform, Point from, Point to) {
  expectNear(transform.apply(from), to);
}

TEST(AffineTransformTest, AppliesRotationsAndConcatenationsInTheirOrder) {
  // Counter-clockwise in y-up space.
  expectMaps(AffineTransform::rotation(kQuarterTurn), {1, 0}, {0, 1});
  // rotated() turns before the transform it has; concatenated() applies left, then right.
  expectMaps(AffineTransform::translation(10, 0).rotated(kQuarterTurn), {1, 0}, {10, 1});
  expectMaps(AffineTransform{2, 0, 0, 2, 0, 0}.concatenated(AffineTransform::translation(5, 7)),
             {1, 1}, {7, 9});
  EXPECT_TRUE(AffineTransform::identity().isIdentity());
}

TEST(AffineTransformTest, QuarterTurnsSwapSizesComeBackAfterFourAndCancelOut) {
  for (int turns : {1, 2}) {
    const Size size = AffineTransform::rotation(turns * kQuarterTurn).applyToSize({1920, 1080});
    expectNear({size.width, size.height}, turns == 1 ? Point{1080, 1920} : Point{1920, 1080});
  }
  const AffineTransform start = AffineTransform::translation(0, 1080).rotated(-kQuarterTurn);
  AffineTransform turned = start;
  for (int i = 0; i < 4; ++i) turned = turned.rotated(kQuarterTurn);
  EXPECT_TRUE(turned.approximatelyEquals(start));
  EXPECT_TRUE(start.rotated(kQuarterTurn).rotated(-kQuarterTurn).approximatelyEquals(start));
  EXPECT_FALSE(start.rotated(kQuarterTurn).approximatelyEquals(start));
}

}  // namespace
}  // namespace reelcraft
