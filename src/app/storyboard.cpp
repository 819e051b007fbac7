#include "app/storyboard.h"

#include <QtGlobal>

namespace reelcraft {
namespace {

std::map<std::string, std::unique_ptr<Storyboard>>& storyboards() {
  static std::map<std::string, std::unique_ptr<Storyboard>> all;
  return all;
}

}  // namespace

Storyboard& Storyboard::named(const std::string& name) {
  const auto found = storyboards().find(name);
  if (found == storyboards().end()) qFatal("No storyboard named %s", name.c_str());
  return *found->second;
}

void Storyboard::registerFactory(const std::string& name, const std::string& identifier,
                                 Factory factory) {
  auto& storyboard = storyboards()[name];
  if (!storyboard) storyboard = std::make_unique<Storyboard>(name);
  storyboard->factories_[identifier] = std::move(factory);
}

bool Storyboard::exists(const std::string& name) {
  return storyboards().contains(name);
}

bool Storyboard::contains(const std::string& identifier) const {
  return factories_.contains(identifier);
}

std::unique_ptr<QObject> Storyboard::instantiateController(const std::string& identifier) const {
  const auto found = factories_.find(identifier);
  if (found == factories_.end()) return nullptr;
  return found->second();
}

}  // namespace reelcraft
