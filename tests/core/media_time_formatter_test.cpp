#include "core/media_time_formatter.h"

#include <gtest/gtest.h>

#include <any>
#include <string>

namespace reelcraft {
namespace {

MediaTime t(int64_t value, int32_t timescale) {
  return MediaTime::make(value, timescale);
}

TEST(MediaTimeFormatter, ShowsTheTimeOfDayCutToHundredths) {
  const MediaTimeFormatter formatter;
  const std::pair<MediaTime, const char*> cases[] = {
      {t(37255, 10), "01:02:05.50"},
      {t(86399999, 1000), "23:59:59.99"},
      {t(90000, 1), "01:00:00.00"},  // whole days are lost
      {t(599, 600), "00:00:00.99"},  // cut, not rounded
      {t(1001, 30000), "00:00:00.03"},
      {t(29, 100), "00:00:00.29"},
      {t(-1, 1), "23:59:59.00"},  // negative times count back from midnight
      // Times that are no number show zero.
      {MediaTime::invalid(), "00:00:00.00"},
      {MediaTime::positiveInfinity(), "00:00:00.00"},
      {MediaTime::indefinite(), "00:00:00.00"},
      {t(INT64_MAX, 1), "00:00:00.00"},
  };
  for (const auto& [time, text] : cases) EXPECT_EQ(formatter.string(time), text) << text;
  EXPECT_EQ(formatter.stringForObjectValue(t(90, 1)), "00:01:30.00");
  EXPECT_EQ(formatter.stringForObjectValue(std::any()), "00:00:00.00");
  EXPECT_EQ(formatter.stringForObjectValue(std::string("00:01:30.00")), "00:00:00.00");
}

TEST(MediaTimeFormatter, ParsesShortTextsAndFractionsInHundredths) {
  const MediaTimeFormatter formatter;
  const std::pair<const char*, int64_t> cases[] = {
      {"12", 1200},
      {"01:02:03.50", 372350},
      {"02:03", 12300},
      {"05", 500},
      {"00", 0},
      {"23:59:59.99", 8639999},
      {"12.5", 1250},
      {"00:00:12.125", 1213},  // milliseconds, then to hundredths
      {"00:00:12.0049", 1200},
      // The date parser takes a one-digit hour, and digits of other scripts.
      {"1:02:03", 372300},
      {"\u0661\u0662", 1200}};
  for (const auto& [text, hundredths] : cases) {
    const auto time = formatter.parse(text);
    ASSERT_TRUE(time.has_value()) << text;
    EXPECT_EQ(time->timescale, 100) << text;
    EXPECT_EQ(time->value, hundredths) << text;
  }
  for (const MediaTime time : {t(0, 1), t(37255, 10), t(1, 100), t(8639999, 100)}) {
    EXPECT_EQ(formatter.parse(formatter.string(time)), time) << formatter.string(time);
  }
}

TEST(MediaTimeFormatter, RefusesShortFieldsFieldsOutOfRangeAndOtherText) {
  const MediaTimeFormatter formatter;
  // The strict date parser wants as many digits as the pattern has letters, and refuses
  // fields out of range rather than carry them into the next field.
  for (const char* text :
       {"5",           "0",        "1:30", "00:1:30", "5.5", "01:2:03", "00:61:00", "00:00:75",
        "25:00:00",    "24:00:00", "-5",   "",        "abc", "12abc",   "12.5x",    "00:00:12.00 ",
        "01:02:03:04", "1..5",     "12,5", "12."}) {
    EXPECT_EQ(formatter.parse(text), std::nullopt) << text;
  }
}

TEST(MediaTimeFormatter, StoresAValueOnlyOnSuccess) {
  const MediaTimeFormatter formatter;
  std::any value = std::string("untouched");
  EXPECT_FALSE(formatter.getObjectValue(&value, "x"));
  EXPECT_EQ(std::any_cast<std::string>(value), "untouched");
  EXPECT_TRUE(formatter.getObjectValue(&value, "01:00"));
  EXPECT_TRUE(isIdentical(std::any_cast<MediaTime>(value), t(6000, 100)));
  EXPECT_TRUE(formatter.getObjectValue(nullptr, "01:00"));
}

}  // namespace
}  // namespace reelcraft
