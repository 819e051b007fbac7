#include "core/text_field_formatter.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <stdexcept>

namespace reelcraft {
namespace {

// Compiled once; a compiled pattern may be shared by any number of matchers.
const icu::RegexPattern& compiled(const char16_t* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError;
  icu::RegexPattern* result =
      icu::RegexPattern::compile(icu::UnicodeString(pattern), 0, parseError, status);
  if (U_FAILURE(status)) {
    throw std::logic_error(std::string("cannot compile a whitespace pattern: ") +
                           u_errorName(status));
  }
  return *result;
}

const icu::RegexPattern& trailingWhitespace() {
  static const icu::RegexPattern& pattern = compiled(u"\\s+$");
  return pattern;
}
const icu::RegexPattern& leadingWhitespace() {
  static const icu::RegexPattern& pattern = compiled(u"^\\s+");
  return pattern;
}
const icu::RegexPattern& anyWhitespace() {
  static const icu::RegexPattern& pattern = compiled(u"\\s+");
  return pattern;
}

enum class Occurrences { First, All };

icu::UnicodeString removed(const icu::UnicodeString& text, const icu::RegexPattern& pattern,
                           Occurrences occurrences) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(text, status));
  icu::UnicodeString result;
  if (U_SUCCESS(status)) {
    // Removing a whole run never joins two others, so removing every match at once is the same
    // as removing the first one again and again.
    result = occurrences == Occurrences::First ? matcher->replaceFirst(u"", status)
                                               : matcher->replaceAll(u"", status);
  }
  if (U_FAILURE(status)) {
    throw std::runtime_error(std::string("cannot remove whitespace: ") + u_errorName(status));
  }
  return result;
}

}  // namespace

std::string TextFieldFormatter::cleaned(std::string_view text) const {
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  if (removeTrailingWhitespace)
    unicode = removed(unicode, trailingWhitespace(), Occurrences::First);
  if (removeLeadingWhitespace) unicode = removed(unicode, leadingWhitespace(), Occurrences::First);
  if (removeAllWhitespace) unicode = removed(unicode, anyWhitespace(), Occurrences::All);
  std::string result;
  unicode.toUTF8String(result);
  return result;
}

std::optional<std::string> TextFieldFormatter::stringForObjectValue(
    const std::any& objectValue) const {
  if (const auto* text = std::any_cast<std::string>(&objectValue)) return cleaned(*text);
  if (const auto* text = std::any_cast<std::string_view>(&objectValue)) return cleaned(*text);
  if (const auto* text = std::any_cast<const char*>(&objectValue)) {
    if (*text != nullptr) return cleaned(*text);
  }
  return std::nullopt;
}

bool TextFieldFormatter::getObjectValue(std::any* objectValue, std::string_view text) const {
  if (objectValue != nullptr) *objectValue = cleaned(text);
  return true;
}

}  // namespace reelcraft
