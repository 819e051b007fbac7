#pragma once

#include <any>
#include <optional>
#include <string>
#include <string_view>

#include "core/formatter.h"

namespace reelcraft {

// Cleans typed text of whitespace. Whitespace is what the regular-expression class \s matches:
// tab, line feed, vertical tab, form feed, carriage return, the next-line control and every
// Unicode space, line or paragraph separator (the no-break space too). Never fails.
class TextFieldFormatter : public Formatter {
 public:
  bool removeTrailingWhitespace = true;
  bool removeLeadingWhitespace = true;
  bool removeAllWhitespace = true;

  // Removes the run at the end, then the run at the start, then every run, as the flags ask.
  std::string cleaned(std::string_view text) const;

  // The cleaned text for a text value (std::string, std::string_view or const char*); none for
  // no value or any other kind of value.
  std::optional<std::string> stringForObjectValue(const std::any& objectValue) const override;
  // Stores the cleaned text as a std::string; always succeeds.
  bool getObjectValue(std::any* objectValue, std::string_view text) const override;
};

}  // namespace reelcraft
