#include "core/text_field_formatter.h"

#include <gtest/gtest.h>

#include <any>
#include <string>

namespace reelcraft {
namespace {

TextFieldFormatter withFlags(bool trailing, bool leading, bool all) {
  TextFieldFormatter formatter;
  formatter.removeTrailingWhitespace = trailing;
  formatter.removeLeadingWhitespace = leading;
  formatter.removeAllWhitespace = all;
  return formatter;
}

TEST(TextFieldFormatter, ByDefaultRemovesEveryWhitespaceRun) {
  const TextFieldFormatter formatter;
  EXPECT_EQ(formatter.cleaned("  a b\t"), "ab");
  EXPECT_EQ(formatter.cleaned(" 1 2\n3\r\f4 "), "1234");
  EXPECT_EQ(formatter.cleaned(""), "");
  EXPECT_EQ(formatter.cleaned(" \t "), "");
}

TEST(TextFieldFormatter, EachFlagRemovesOnlyItsRuns) {
  EXPECT_EQ(withFlags(true, false, false).cleaned(" a b "), " a b");
  EXPECT_EQ(withFlags(false, true, false).cleaned(" a b "), "a b ");
  EXPECT_EQ(withFlags(true, true, false).cleaned(" \t a  b \n "), "a  b");
  EXPECT_EQ(withFlags(false, false, false).cleaned(" a b "), " a b ");
  EXPECT_EQ(withFlags(false, false, true).cleaned(" a b "), "ab");
}

TEST(TextFieldFormatter, UnicodeSeparatorsAreWhitespace) {
  const TextFieldFormatter formatter;
  // No-break space, em space, line separator, paragraph separator, ideographic space.
  EXPECT_EQ(formatter.cleaned("1\u00a02\u20033\u20284\u20295\u30006"), "123456");
  // The vertical tab and the next-line control count as well; other controls do not.
  EXPECT_EQ(formatter.cleaned("a\vb\u0085c\x1c"), "abc\x1c");
  // Letters outside ASCII are kept whole.
  EXPECT_EQ(formatter.cleaned(" caf\u00e9 \u00fc "), "caf\u00e9\u00fc");
  // Only separators count: the zero-width space is a format character and stays.
  EXPECT_EQ(formatter.cleaned("a\u200bb"), "a\u200bb");
}

TEST(TextFieldFormatter, TrailingRunIsFoundBeforeAFinalLineBreak) {
  // "$" also matches before a line terminator that ends the text, but the longest run from the
  // first place that can reach the end is the whole tail.
  EXPECT_EQ(withFlags(true, false, false).cleaned("a \n"), "a");
  EXPECT_EQ(withFlags(true, false, false).cleaned("a \nb"), "a \nb");
}

TEST(TextFieldFormatter, HandsOverTextOnly) {
  const TextFieldFormatter formatter;
  EXPECT_EQ(formatter.stringForObjectValue(std::string(" a b ")), "ab");
  EXPECT_EQ(formatter.stringForObjectValue(" x "), "x");
  EXPECT_EQ(formatter.stringForObjectValue(std::any()), std::nullopt);
  EXPECT_EQ(formatter.stringForObjectValue(42), std::nullopt);
  // Reading always succeeds with the cleaned text.
  std::any value;
  EXPECT_TRUE(formatter.getObjectValue(&value, " 1 2 "));
  EXPECT_EQ(std::any_cast<std::string>(value), "12");
  EXPECT_TRUE(formatter.getObjectValue(nullptr, " "));
}

}  // namespace
}  // namespace reelcraft
