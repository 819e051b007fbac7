#include "app/window_registry.h"

#include <map>
#include <memory>

#include "app/storyboard.h"
#include "app/window_controller.h"

namespace reelcraft {
namespace {

std::map<std::string, std::unique_ptr<WindowController>>& registry() {
  static auto* controllers = new std::map<std::string, std::unique_ptr<WindowController>>();
  return *controllers;
}

}  // namespace

std::string windowRegistryKey(const std::string& identifier, const std::string& storyboardName) {
  return identifier + "-#-" + storyboardName;
}

void showWindowController(const std::string& identifier, const std::string& storyboardName) {
  const auto key = windowRegistryKey(identifier, storyboardName);
  if (const auto found = registry().find(key); found != registry().end()) {
    found->second->showWindow();
    return;
  }
  auto object = Storyboard::named(storyboardName).instantiateController(identifier);
  auto* controller = dynamic_cast<WindowController*>(object.get());
  if (controller == nullptr) return;
  object.release();
  auto& entry = registry()[key];
  entry.reset(controller);
  entry->showWindow();
}

void closeWindowController(const std::string& identifier, const std::string& storyboardName) {
  if (auto* controller = registeredWindowController(identifier, storyboardName)) {
    controller->close();
  }
}

WindowController* registeredWindowController(const std::string& identifier,
                                             const std::string& storyboardName) {
  const auto found = registry().find(windowRegistryKey(identifier, storyboardName));
  return found == registry().end() ? nullptr : found->second.get();
}

}  // namespace reelcraft
