#pragma once

#include <any>
#include <optional>
#include <string>
#include <string_view>

namespace reelcraft {

// Turns the value behind a text field into text and typed text back into a value. Values are
// passed as std::any so that a field can hand over whatever it holds; each formatter says which
// kinds it understands. Texts are UTF-8.
class Formatter {
 public:
  virtual ~Formatter() = default;

  // The text that shows `objectValue`, or none when the formatter has no text for it.
  virtual std::optional<std::string> stringForObjectValue(const std::any& objectValue) const = 0;
  // Reads `text`. On success stores the value in `*objectValue` (when given) and answers true;
  // on failure stores nothing and answers false.
  virtual bool getObjectValue(std::any* objectValue, std::string_view text) const = 0;
};

}  // namespace reelcraft
