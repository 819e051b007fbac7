#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace reelcraft {

// The system-wide pasteboard as far as Reelcraft uses it: strings stored under type names.
// Clearing drops every string, whatever its type.
class GeneralPasteboard {
 public:
  virtual ~GeneralPasteboard() = default;
  virtual void clearContents() = 0;
  virtual void setString(std::string_view value, std::string_view type) = 0;
  // The string stored under `type`, or nothing.
  virtual std::optional<std::string> stringForType(std::string_view type) const = 0;
};

// A pasteboard that lives in this process only: for the command line and tests, and
// wherever no system clipboard is available. Thread-safe.
class LocalPasteboard final : public GeneralPasteboard {
 public:
  void clearContents() override;
  void setString(std::string_view value, std::string_view type) override;
  std::optional<std::string> stringForType(std::string_view type) const override;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::string, std::less<>> strings_;
};

// The process's general pasteboard: a LocalPasteboard until the application sets its own
// (the desktop application plugs in the system clipboard at start-up).
std::shared_ptr<GeneralPasteboard> generalPasteboard();
void setGeneralPasteboard(std::shared_ptr<GeneralPasteboard> pasteboard);

}  // namespace reelcraft
