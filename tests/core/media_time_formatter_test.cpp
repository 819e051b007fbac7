#include "core/media_time_formatter.h"

#include <gtest/gtest.h>

#include <any>
#include <string>

namespace reelcraft {
namespace {

MediaTime t(int64_t value, int32_t timescale) {
  return MediaTime::make(value, timescale);
}

TEST(MediaTimeFormatterText, ShowsTheTimeOfDayInHundredths) {
  const MediaTimeFormatter formatter;
  EXPECT_EQ(formatter.string(t(37255, 10)), "01:02:05.50");
  EXPECT_EQ(formatter.string(MediaTime::zero()), "00:00:00.00");
  EXPECT_EQ(formatter.string(t(86399999, 1000)), "23:59:59.99");
  // Whole days are lost.
  EXPECT_EQ(formatter.string(t(90000, 1)), "01:00:00.00");
}

TEST(MediaTimeFormatterText, CutsTheFractionInsteadOfRounding) {
  const MediaTimeFormatter formatter;
  EXPECT_EQ(formatter.string(t(599, 600)), "00:00:00.99");
  EXPECT_EQ(formatter.string(t(1001, 30000)), "00:00:00.03");
  EXPECT_EQ(formatter.string(t(29, 100)), "00:00:00.29");
  // Negative times count back from midnight.
  EXPECT_EQ(formatter.string(t(-1, 1)), "23:59:59.00");
}

TEST(MediaTimeFormatterText, TimesThatAreNoNumberAndOtherValuesShowZero) {
  const MediaTimeFormatter formatter;
  EXPECT_EQ(formatter.string(MediaTime::invalid()), "00:00:00.00");
  EXPECT_EQ(formatter.string(MediaTime::positiveInfinity()), "00:00:00.00");
  EXPECT_EQ(formatter.string(MediaTime::indefinite()), "00:00:00.00");
  EXPECT_EQ(formatter.string(t(INT64_MAX, 1)), "00:00:00.00");
  EXPECT_EQ(formatter.stringForObjectValue(t(90, 1)), "00:01:30.00");
  EXPECT_EQ(formatter.stringForObjectValue(std::any()), "00:00:00.00");
  EXPECT_EQ(formatter.stringForObjectValue(std::string("00:01:30.00")), "00:00:00.00");
}

void expectParsed(const MediaTimeFormatter& formatter, const std::string& text, int64_t value) {
  SCOPED_TRACE(text);
  const auto time = formatter.parse(text);
  ASSERT_TRUE(time.has_value());
  EXPECT_EQ(time->timescale, 100);
  EXPECT_EQ(time->value, value);
}

TEST(MediaTimeFormatterParse, CompletesShortTextsAndAlwaysUsesTimescale100) {
  const MediaTimeFormatter formatter;
  expectParsed(formatter, "12", 1200);
  expectParsed(formatter, "01:02:03.50", 372350);
  expectParsed(formatter, "02:03", 12300);
  expectParsed(formatter, "01:30", 9000);
  expectParsed(formatter, "05", 500);
  expectParsed(formatter, "00", 0);
  expectParsed(formatter, "23:59:59.99", 8639999);
  // The date parser takes a one-digit hour, and digits of other scripts.
  expectParsed(formatter, "1:02:03", 372300);
  expectParsed(formatter, "\u0661\u0662", 1200);
}

TEST(MediaTimeFormatterParse, ReadsAnyNumberOfFractionDigits) {
  const MediaTimeFormatter formatter;
  expectParsed(formatter, "12.5", 1250);
  expectParsed(formatter, "00:00:12.125", 1213);  // milliseconds, then to hundredths
  expectParsed(formatter, "00:00:12.0049", 1200);
}

TEST(MediaTimeFormatterParse, ReadsBackWhatItShows) {
  const MediaTimeFormatter formatter;
  for (const MediaTime time : {t(0, 1), t(37255, 10), t(1, 100), t(8639999, 100), t(4321, 100)}) {
    const std::string text = formatter.string(time);
    SCOPED_TRACE(text);
    const auto parsed = formatter.parse(text);
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(*parsed, time);
  }
}

TEST(MediaTimeFormatterParse, NeedsTwoDigitFieldsInRange) {
  const MediaTimeFormatter formatter;
  // The strict date parser wants as many digits as the pattern has letters.
  for (const char* text : {"5", "0", "1:30", "00:1:30", "5.5", "01:2:03"}) {
    EXPECT_EQ(formatter.parse(text), std::nullopt) << text;
  }
  // Fields out of range are refused rather than carried into the next field.
  for (const char* text : {"00:61:00", "00:00:75", "25:00:00", "24:00:00", "-5"}) {
    EXPECT_EQ(formatter.parse(text), std::nullopt) << text;
  }
}

TEST(MediaTimeFormatterParse, RefusesTextThatIsNotATime) {
  const MediaTimeFormatter formatter;
  for (const char* text :
       {"", "abc", "12abc", "12.5x", "00:00:12.00 ", "01:02:03:04", "1..5", "12,5", "12."}) {
    EXPECT_EQ(formatter.parse(text), std::nullopt) << text;
  }
}

TEST(MediaTimeFormatterParse, StoresAValueOnlyOnSuccess) {
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
