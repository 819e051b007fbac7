#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "core/media_time_operators.h"
#include "core/time_display.h"
#include "core/timeline_selection.h"

namespace reelcraft {
namespace {

MediaTime t(int64_t value, int32_t timescale) {
  return MediaTime::make(value, timescale);
}

TEST(TimeDisplayString, ShowsHoursMinutesSecondsAndHundredthsCutNotRounded) {
  const std::pair<MediaTime, const char*> cases[] = {
      {t(2000, 200), "0:00:10.00"},
      {t(1, 3), "0:00:00.33"},
      {t(359999, 100), "0:59:59.99"},
      {t(360000, 100), "1:00:00.00"},
      {t(36000000, 100), "100:00:00.00"},
      {t(1001 * 1799, 30000), "0:01:00.02"},
      {t(599, 600), "0:00:00.99"},
      {MediaTime::invalid(), "0:00:00.00"},
      // Negative times carry the sign on each component.
      {t(-3, 2), "0:00:-1.-50"},
      {t(-1, 2), "0:00:00.-50"},
      {t(-61, 1), "0:-1:-1.00"}};
  for (const auto& [time, text] : cases) EXPECT_EQ(timeDisplayString(time), text) << text;
  EXPECT_EQ(timeDisplayString(5, 0), "0:00:00.00");
}

TEST(MediaTimeOperators, ReadLikeArithmetic) {
  MediaTime position = t(1, 2);
  position += t(1, 3);
  EXPECT_EQ(position, t(5, 6));
  position -= t(5, 6);
  EXPECT_EQ(position, MediaTime::zero());
  EXPECT_EQ(-t(3, 4), t(-3, 4));
  EXPECT_EQ(t(1001, 30000) * 30, t(1001, 1000));
  EXPECT_EQ(t(10, 600) * -1.0, t(-10, 600));
  EXPECT_DOUBLE_EQ(seconds(t(3, 4)), 0.75);
}

TEST(TimeValuesDeathTest, DisplayOverflowAndIntegerFactorsBeyond32BitsAreFatal) {
  EXPECT_DEATH(timeDisplayString(std::numeric_limits<int64_t>::max() / 10, 1), "too large");
  EXPECT_DEATH(t(1, 1) * (int64_t{1} << 40), "does not fit");
}

// Bounding several selections: see the selection commands.
TEST(TimelineSelectionTest, BoundingRangeOfNoneIsZeroAndOfEqualStartsKeepsTheFirst) {
  const TimelineSelection empty = TimelineSelection::boundingRange({});
  EXPECT_EQ(empty.start, MediaTime::zero());
  EXPECT_EQ(empty.duration, MediaTime::zero());

  // Equal starts keep the first element's representation.
  const TimelineSelection tie =
      TimelineSelection::boundingRange({{t(2, 2), t(1, 1)}, {t(1, 1), t(1, 1)}});
  EXPECT_TRUE(isIdentical(tie.start, t(2, 2)));
}

}  // namespace
}  // namespace reelcraft
