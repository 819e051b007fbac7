#include "document/general_pasteboard.h"

#include <utility>

namespace reelcraft {
namespace {

struct ProcessPasteboard {
  std::mutex mutex;
  std::shared_ptr<GeneralPasteboard> pasteboard = std::make_shared<LocalPasteboard>();
};

ProcessPasteboard& processPasteboard() {
  static ProcessPasteboard instance;
  return instance;
}

}  // namespace

void LocalPasteboard::clearContents() {
  const std::lock_guard lock(mutex_);
  strings_.clear();
}

void LocalPasteboard::setString(std::string_view value, std::string_view type) {
  const std::lock_guard lock(mutex_);
  strings_.insert_or_assign(std::string(type), std::string(value));
}

std::optional<std::string> LocalPasteboard::stringForType(std::string_view type) const {
  const std::lock_guard lock(mutex_);
  const auto found = strings_.find(type);
  if (found == strings_.end()) return std::nullopt;
  return found->second;
}

std::shared_ptr<GeneralPasteboard> generalPasteboard() {
  ProcessPasteboard& process = processPasteboard();
  const std::lock_guard lock(process.mutex);
  return process.pasteboard;
}

void setGeneralPasteboard(std::shared_ptr<GeneralPasteboard> pasteboard) {
  ProcessPasteboard& process = processPasteboard();
  const std::lock_guard lock(process.mutex);
  process.pasteboard = std::move(pasteboard);
}

}  // namespace reelcraft
