#pragma once

#include <any>
#include <string_view>

namespace reelcraft {

// An object that can be named as the receiver of a target/action pair, a notification
// registration or an undo registration. The caller names the method by its selector text
// ("action1:") and hands over one argument.
class ActionTarget {
 public:
  virtual ~ActionTarget() = default;

  // Calls the method named `selector` with `argument`. A selector the target does not
  // implement is a programming error: implementations report it on stderr and abort.
  virtual void perform(std::string_view selector, const std::any& argument) = 0;
};

}  // namespace reelcraft
