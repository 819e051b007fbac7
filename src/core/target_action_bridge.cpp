#include "core/target_action_bridge.h"

#include <cstdio>
#include <cstdlib>

namespace reelcraft {

void TargetActionBridge::action1(const std::any& argument) {
  if (!closure1) return;
  // Called through a copy: the closure may replace or clear `closure1` while it runs.
  const auto closure = closure1;
  closure(argument);
}

void TargetActionBridge::perform(std::string_view selector, const std::any& argument) {
  if (selector == kAction1) {
    action1(argument);
    return;
  }
  std::fprintf(stderr, "TargetActionBridge: unrecognized selector \"%.*s\"\n",
               static_cast<int>(selector.size()), selector.data());
  std::abort();
}

}  // namespace reelcraft
