#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include <QObject>

namespace reelcraft {

// A named set of factories for the application's windows and views, each made from its
// Designer form on request by identifier. Storyboards are registered once at start-up and
// live for the whole process. Main thread only.
class Storyboard {
 public:
  using Factory = std::function<std::unique_ptr<QObject>()>;

  // The storyboard registered under `name`; asking for one that was never registered is a
  // programming error and stops the program.
  static Storyboard& named(const std::string& name);
  // Registers (or extends) the storyboard `name` with `identifier` made by `factory`.
  static void registerFactory(const std::string& name, const std::string& identifier,
                              Factory factory);
  static bool exists(const std::string& name);

  const std::string& name() const { return name_; }
  bool contains(const std::string& identifier) const;
  // A new object for `identifier`, or null when the storyboard holds no such identifier.
  std::unique_ptr<QObject> instantiateController(const std::string& identifier) const;

  explicit Storyboard(std::string name) : name_(std::move(name)) {}

 private:
  std::string name_;
  std::map<std::string, Factory> factories_;
};

}  // namespace reelcraft
