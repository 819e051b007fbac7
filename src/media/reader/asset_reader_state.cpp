#include "media/reader/asset_reader_state.h"

#include <utility>

namespace reelcraft {

std::optional<Error> AssetReaderState::error() const {
  std::lock_guard lock(mutex_);
  return error_;
}

bool AssetReaderState::start(size_t outputCount) {
  std::vector<std::function<void()>> handlers;
  {
    std::lock_guard lock(mutex_);
    if (status_.load() != AssetReaderStatus::Unknown) return false;
    outputCount_ = outputCount;
    finishedOutputs_ = 0;
    if (outputCount > 0) {
      status_.store(AssetReaderStatus::Reading, std::memory_order_release);
      return true;
    }
    status_.store(AssetReaderStatus::Completed, std::memory_order_release);
    handlers = std::exchange(endHandlers_, {});
  }
  runHandlers(handlers);
  return true;
}

void AssetReaderState::fail(Error error) {
  std::vector<std::function<void()>> handlers;
  {
    std::lock_guard lock(mutex_);
    const AssetReaderStatus status = status_.load();
    if (status != AssetReaderStatus::Unknown && status != AssetReaderStatus::Reading) return;
    error_ = std::move(error);
    status_.store(AssetReaderStatus::Failed, std::memory_order_release);
    handlers = std::exchange(endHandlers_, {});
  }
  runHandlers(handlers);
}

void AssetReaderState::cancel() {
  std::vector<std::function<void()>> handlers;
  {
    std::lock_guard lock(mutex_);
    const AssetReaderStatus status = status_.load();
    if (status != AssetReaderStatus::Unknown && status != AssetReaderStatus::Reading) return;
    status_.store(AssetReaderStatus::Cancelled, std::memory_order_release);
    handlers = std::exchange(endHandlers_, {});
  }
  runHandlers(handlers);
}

void AssetReaderState::outputFinished() {
  std::vector<std::function<void()>> handlers;
  {
    std::lock_guard lock(mutex_);
    if (status_.load() != AssetReaderStatus::Reading) return;
    if (++finishedOutputs_ != outputCount_) return;
    status_.store(AssetReaderStatus::Completed, std::memory_order_release);
    handlers = std::exchange(endHandlers_, {});
  }
  runHandlers(handlers);
}

void AssetReaderState::whenEnded(std::function<void()> handler) {
  {
    std::lock_guard lock(mutex_);
    const AssetReaderStatus status = status_.load();
    if (status == AssetReaderStatus::Unknown || status == AssetReaderStatus::Reading) {
      endHandlers_.push_back(std::move(handler));
      return;
    }
  }
  handler();
}

void AssetReaderState::runHandlers(const std::vector<std::function<void()>>& handlers) {
  for (const std::function<void()>& handler : handlers) handler();
}

}  // namespace reelcraft
