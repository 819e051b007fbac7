#include "media/base/media_time.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace reelcraft {
namespace {

__extension__ typedef __int128 Wide;

MediaTime t(int64_t value, int32_t timescale) {
  return MediaTime::make(value, timescale);
}

TEST(MediaTimeArithmetic, SumsAcrossTimescalesAreExact) {
  // One NTSC frame plus one 44.1 kHz sample: no common timescale below 4,410,000.
  EXPECT_TRUE(isIdentical(add(t(1001, 30000), t(1, 44100)), t(1001 * 147 + 100, 4410000)));
  // A thousand frames accumulated one by one equal the product.
  MediaTime position = MediaTime::zero();
  for (int i = 0; i < 1000; ++i) position = add(position, t(1001, 30000));
  EXPECT_TRUE(isIdentical(position, t(1001000, 30000)));

  std::mt19937_64 random(7);
  const int32_t timescales[] = {1, 2, 24, 25, 90000, 600, 30000, 44100, 48000, 1000000};
  for (int i = 0; i < 5000; ++i) {
    const int32_t sa = timescales[random() % 10], sb = timescales[random() % 10];
    const int64_t va = static_cast<int64_t>(random() % 2000000) - 1000000;
    const int64_t vb = static_cast<int64_t>(random() % 2000000) - 1000000;
    // a/sa ± b/sb == r  <=>  (a·sb ± b·sa)·r.timescale == r.value·sa·sb
    for (const int sign : {1, -1}) {
      const MediaTime result =
          sign > 0 ? add(t(va, sa), t(vb, sb)) : subtract(t(va, sa), t(vb, sb));
      ASSERT_FALSE(result.hasBeenRounded());
      ASSERT_TRUE((Wide(va) * sb + sign * Wide(vb) * sa) * result.timescale ==
                  Wide(result.value) * sa * sb);
    }
  }
}

TEST(MediaTimeArithmetic, SumsWithNoCommonTimescaleAreRoundedAndOverflowIsInfinite) {
  // Two large coprime timescales whose product exceeds 32 bits.
  MediaTime sum = add(t(1, 1000003), t(1, 999983));
  EXPECT_TRUE(sum.hasBeenRounded());
  EXPECT_NEAR(sum.seconds(), 1.0 / 1000003 + 1.0 / 999983, 1e-6);

  // Overflow becomes infinity.
  const int64_t big = std::numeric_limits<int64_t>::max() - 5;
  EXPECT_TRUE(add(t(big, 1), t(10, 1)).isPositiveInfinity());
  EXPECT_TRUE(subtract(t(-big, 1), t(10, 1)).isNegativeInfinity());
  EXPECT_TRUE(multiply(t(big, 1), 2).isPositiveInfinity());
  EXPECT_TRUE(multiply(t(big, 1), -2).isNegativeInfinity());
}

TEST(MediaTimeSpecialValues, PropagateThroughArithmetic) {
  const MediaTime inf = MediaTime::positiveInfinity();
  const MediaTime negInf = MediaTime::negativeInfinity();
  EXPECT_FALSE(add(MediaTime::invalid(), t(1, 1)).isValid());
  EXPECT_FALSE(subtract(t(1, 1), MediaTime::invalid()).isValid());
  EXPECT_FALSE(multiply(MediaTime::invalid(), 3).isValid());
  EXPECT_FALSE(multiplyByDouble(MediaTime::invalid(), 2.0).isValid());
  EXPECT_FALSE(multiplyByRatio(t(1, 1), 1, 0).isValid());
  EXPECT_TRUE(add(inf, t(5, 1)).isPositiveInfinity());
  EXPECT_TRUE(subtract(t(5, 1), inf).isNegativeInfinity());
  EXPECT_TRUE(add(inf, negInf).isIndefinite());
  EXPECT_TRUE(subtract(inf, inf).isIndefinite());
  EXPECT_TRUE(add(MediaTime::indefinite(), inf).isIndefinite());
  EXPECT_TRUE(multiply(inf, -1).isNegativeInfinity());
  EXPECT_TRUE(multiplyByDouble(negInf, -2.0).isPositiveInfinity());
  EXPECT_FALSE(MediaTime::make(5, 0).isValid());
  EXPECT_TRUE(std::isnan(MediaTime::invalid().seconds()));
  EXPECT_TRUE(std::isinf(inf.seconds()));
}

TEST(MediaTimeCompare, OrdersByValueAcrossTimescales) {
  EXPECT_EQ(compare(t(1, 2), t(50, 100)), 0);
  EXPECT_EQ(compare(t(1001, 30000), t(1, 30)), 1);
  EXPECT_EQ(compare(t(-1, 3), t(-333333, 1000000)), -1);
  // Large values in different timescales compare without overflow.
  const int64_t big = std::numeric_limits<int64_t>::max();
  EXPECT_EQ(compare(t(big, 0x7fffffff), t(big - 1, 0x7fffffff)), 1);
  EXPECT_EQ(compare(t(big, 0x7fffffff), t(big, 0x7ffffffe)), -1);
  EXPECT_TRUE(t(1, 3) < t(34, 100));
  EXPECT_TRUE(t(2, 1) > t(199, 100));
  // Special values have a fixed place.
  const MediaTime ordered[] = {MediaTime::negativeInfinity(),
                               t(-5, 1),
                               t(7, 2),
                               MediaTime::indefinite(),
                               MediaTime::positiveInfinity(),
                               MediaTime::invalid()};
  for (size_t i = 0; i < std::size(ordered); ++i) {
    for (size_t j = 0; j < std::size(ordered); ++j) {
      int expected = (i > j) - (i < j);
      EXPECT_EQ(compare(ordered[i], ordered[j]), expected) << i << " vs " << j;
    }
  }
}

TEST(MediaTimeScaling, MultiplicationVariants) {
  EXPECT_TRUE(isIdentical(multiply(t(3, 600), -4), t(-12, 600)));
  EXPECT_TRUE(isIdentical(multiplyByDouble(t(10, 600), -1.0), t(-10, 600)));
  MediaTime scaled = multiplyByDouble(t(1, 3), 0.5);
  EXPECT_TRUE(scaled.hasBeenRounded());
  EXPECT_EQ(scaled.timescale, 3);
  // Ratios stay exact by refining the timescale when needed.
  MediaTime ratio = multiplyByRatio(t(1, 30), 2, 3);
  EXPECT_FALSE(ratio.hasBeenRounded());
  EXPECT_EQ(ratio, t(2, 90));
  EXPECT_TRUE(isIdentical(multiplyByRatio(t(600, 600), 3, 2), t(900, 600)));
  EXPECT_EQ(multiplyByRatio(t(5, 1), -1, -1), t(5, 1));
  // Time ratios: map 1 s through a segment that stretches 3 s of source to 4 s.
  EXPECT_EQ(multiplyByTimeRatio(t(1, 1), t(3000, 1000), t(4, 1)), t(3, 4));
  EXPECT_FALSE(multiplyByTimeRatio(t(1, 1), t(3, 1), MediaTime::zero()).isValid());
}

TEST(MediaTimeScaling, ConversionsToAndFromSeconds) {
  EXPECT_TRUE(isIdentical(MediaTime::fromSeconds(1.5, 600), t(900, 600)));
  EXPECT_TRUE(isIdentical(MediaTime::fromSeconds(-0.25, 4), t(-1, 4)));
  MediaTime third = MediaTime::fromSeconds(1.0 / 3.0, 30000);
  EXPECT_EQ(third.value, 10000);
  EXPECT_TRUE(third.hasBeenRounded());
  EXPECT_FALSE(MediaTime::fromSeconds(std::nan(""), 600).isValid());
  EXPECT_TRUE(MediaTime::fromSeconds(INFINITY, 600).isPositiveInfinity());
  EXPECT_TRUE(MediaTime::fromSeconds(1e300, 600).isPositiveInfinity());
  EXPECT_DOUBLE_EQ(t(1001, 30000).seconds(), 1001.0 / 30000.0);
  EXPECT_TRUE(isIdentical(convertScale(t(1, 3), 600), t(200, 600)));
  EXPECT_TRUE(convertScale(t(1, 7), 600).hasBeenRounded());
}

TEST(TimeRangeTest, ContainmentIntersectionAndUnion) {
  TimeRange range{t(1, 1), t(2, 1)};
  EXPECT_EQ(range.end(), t(3, 1));
  EXPECT_TRUE(range.containsTime(t(1, 1)));
  EXPECT_FALSE(range.containsTime(t(3, 1)));
  EXPECT_TRUE(range.containsRange({t(2, 1), t(1, 1)}));
  EXPECT_FALSE(range.containsRange({t(2, 1), t(1001, 1000)}));
  EXPECT_EQ(range.intersection({t(2, 1), t(5, 1)}), (TimeRange{t(2, 1), t(1, 1)}));
  EXPECT_TRUE(range.intersection({t(5, 1), t(1, 1)}).isEmpty());
  EXPECT_EQ(range.unionWith({t(5, 1), t(1, 1)}), (TimeRange{t(1, 1), t(5, 1)}));
  EXPECT_FALSE((TimeRange{t(0, 1), t(-1, 1)}).isValid());
  EXPECT_FALSE(TimeRange::invalid().isValid());
}

}  // namespace
}  // namespace reelcraft
