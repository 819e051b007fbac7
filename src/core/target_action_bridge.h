#pragma once

#include <any>
#include <functional>
#include <string_view>

#include "media/base/action_target.h"

namespace reelcraft {

// Stands as the target of a target/action pair, a notification registration or an undo
// registration and turns the callback into a call of `closure1`. Create it with
// std::make_shared so that registrations can hold it weakly.
class TargetActionBridge : public ActionTarget {
 public:
  static constexpr std::string_view kAction1 = "action1:";

  // What `action1` calls; absent after creation.
  std::function<void(const std::any&)> closure1;

  // Calls `closure1` with `argument` (the sender, a notification or an undo object), if set.
  void action1(const std::any& argument);

  void perform(std::string_view selector, const std::any& argument) override;
};

}  // namespace reelcraft
