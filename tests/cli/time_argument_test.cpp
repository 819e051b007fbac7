#include "cli/time_argument.h"

#include <gtest/gtest.h>

#include <string>

namespace reelcraft {
namespace {

MediaTime parsed(const std::string& text) {
  const auto time = parseTimeArgument(text);
  EXPECT_TRUE(time.has_value()) << text;
  return time.value_or(MediaTime::invalid());
}

TEST(TimeArgument, ReadsSecondsClockTextAndFractionsExactly) {
  EXPECT_EQ(parsed("5.2"), MediaTime::make(52, 10));
  EXPECT_EQ(parsed("12"), MediaTime::make(12, 1));
  EXPECT_EQ(parsed(".5"), MediaTime::make(1, 2));
  EXPECT_EQ(parsed("0:00:05.20"), MediaTime::make(52, 10));
  EXPECT_EQ(parsed("1:05.5"), MediaTime::make(655, 10));
  EXPECT_EQ(parsed("1:00:00"), MediaTime::make(3600, 1));
  EXPECT_EQ(parsed("156/30"), MediaTime::make(156, 30));
  EXPECT_EQ(parsed("0.123456789"), MediaTime::make(123456789, 1000000000));
}

TEST(TimeArgument, RoundsDigitsPastTheNanosecond) {
  // As a calculator prints a computed time.
  EXPECT_EQ(parsed("54.66845454545454545454"), MediaTime::make(54668454545, 1000000000));
  EXPECT_EQ(parsed("1.0000000005"), MediaTime::make(1000000001, 1000000000));
  EXPECT_EQ(parsed("0.9999999999"), MediaTime::make(1, 1));
  EXPECT_EQ(parsed("0:00:01.33333333333"), MediaTime::make(1333333333, 1000000000));
}

TEST(TimeArgument, RefusesWhatIsNotATime) {
  for (const std::string text :
       {"", ".", "-1", "+1", "1e3", "abc", "1.2.3", "1.2x", "1.00000000001x", "1:60", "1:2:3:4",
        "0:00:60", "1/0", "1/", "/2", "1/2.5", "99999999999999999999"}) {
    EXPECT_FALSE(parseTimeArgument(text).has_value()) << "'" << text << "'";
  }
}

}  // namespace
}  // namespace reelcraft
