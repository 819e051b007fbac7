#include "core/text_field_formatter.h"

#include <gtest/gtest.h>

#include <any>
#include <string>

namespace reelcraft {
namespace {

TEST(TextFieldFormatter, RemovesTheWhitespaceRunsItsFlagsName) {
  struct Case {
    bool trailing, leading, all;
    const char* text;
    const char* cleaned;
  };
  const Case cases[] = {
      // By default every run goes.
      {true, true, true, "  a b\t", "ab"},
      {true, true, true, " 1 2\n3\r\f4 ", "1234"},
      {true, true, true, " \t ", ""},
      {true, false, false, " a b ", " a b"},
      {false, true, false, " a b ", "a b "},
      {true, true, false, " \t a  b \n ", "a  b"},
      {false, false, false, " a b ", " a b "},
      {false, false, true, " a b ", "ab"},
      // "$" also matches before a final line break, but the longest run from the first place
      // that can reach the end is the whole tail.
      {true, false, false, "a \n", "a"},
      {true, false, false, "a \nb", "a \nb"},
      // Unicode separators (no-break, em, line, paragraph and ideographic spaces), the vertical
      // tab and next-line count; other controls and the zero-width space (a format character)
      // do not, and letters outside ASCII are kept whole.
      {true, true, true, "1\u00a02\u20033\u20284\u20295\u30006", "123456"},
      {true, true, true, "a\vb\u0085c\x1c", "abc\x1c"},
      {true, true, true, " caf\u00e9 \u00fc ", "caf\u00e9\u00fc"},
      {true, true, true, "a\u200bb", "a\u200bb"},
  };
  for (const Case& c : cases) {
    TextFieldFormatter formatter;
    formatter.removeTrailingWhitespace = c.trailing;
    formatter.removeLeadingWhitespace = c.leading;
    formatter.removeAllWhitespace = c.all;
    EXPECT_EQ(formatter.cleaned(c.text), c.cleaned) << c.text;
  }
}

TEST(TextFieldFormatter, HandsOverTextOnlyAndReadsAnyText) {
  const TextFieldFormatter formatter;
  EXPECT_EQ(formatter.stringForObjectValue(std::string(" a b ")), "ab");
  EXPECT_EQ(formatter.stringForObjectValue(" x "), "x");
  EXPECT_EQ(formatter.stringForObjectValue(42), std::nullopt);
  std::any value;
  EXPECT_TRUE(formatter.getObjectValue(&value, " 1 2 "));
  EXPECT_EQ(std::any_cast<std::string>(value), "12");
}

}  // namespace
}  // namespace reelcraft
