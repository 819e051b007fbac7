#include "media/asset_reader_status.h"

#include <utility>

namespace reelcraft {

std::optional<Error> AssetReaderState::error() const {
  std::lock_guard lock(mutex_);
  return error_;
}

bool AssetReaderState::start(size_t outputCount) {
  std::lock_guard lock(mutex_);
  if (status_.load() != AssetReaderStatus::Unknown) return false;
  outputCount_ = outputCount;
  finishedOutputs_ = 0;
  status_.store(outputCount == 0 ? AssetReaderStatus::Completed : AssetReaderStatus::Reading,
                std::memory_order_release);
  return true;
}

void AssetReaderState::fail(Error error) {
  std::lock_guard lock(mutex_);
  const AssetReaderStatus status = status_.load();
  if (status != AssetReaderStatus::Unknown && status != AssetReaderStatus::Reading) return;
  error_ = std::move(error);
  status_.store(AssetReaderStatus::Failed, std::memory_order_release);
}

void AssetReaderState::cancel() {
  std::lock_guard lock(mutex_);
  const AssetReaderStatus status = status_.load();
  if (status != AssetReaderStatus::Unknown && status != AssetReaderStatus::Reading) return;
  status_.store(AssetReaderStatus::Cancelled, std::memory_order_release);
}

void AssetReaderState::outputFinished() {
  std::lock_guard lock(mutex_);
  if (status_.load() != AssetReaderStatus::Reading) return;
  if (++finishedOutputs_ == outputCount_) {
    status_.store(AssetReaderStatus::Completed, std::memory_order_release);
  }
}

}  // namespace reelcraft
