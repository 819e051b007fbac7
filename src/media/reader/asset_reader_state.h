#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "media/base/error.h"

namespace reelcraft {

enum class AssetReaderStatus { Unknown = 0, Reading = 1, Completed = 2, Failed = 3, Cancelled = 4 };

// The state that a reader shares with its outputs: the status, the error, and how many outputs
// have run dry. Every change is made under one lock, so outputs pulled on different threads and
// a cancel from yet another thread see one consistent sequence of states; once the state has
// left Reading it never changes again.
class AssetReaderState {
 public:
  AssetReaderStatus status() const { return status_.load(std::memory_order_acquire); }
  std::optional<Error> error() const;

  // Unknown → Reading, reading `outputCount` outputs; false from any other state.
  bool start(size_t outputCount);
  // Unknown or Reading → Failed with `error`; ignored once the reading has ended otherwise.
  void fail(Error error);
  // Unknown or Reading → Cancelled.
  void cancel();
  // One more output has run dry; the last one makes the state Completed.
  void outputFinished();

  // Calls `handler` once when the state leaves Unknown or Reading for good: on the thread
  // that ends the reading, outside the lock; at once when it has already ended.
  void whenEnded(std::function<void()> handler);

 private:
  static void runHandlers(const std::vector<std::function<void()>>& handlers);

  mutable std::mutex mutex_;
  std::atomic<AssetReaderStatus> status_{AssetReaderStatus::Unknown};
  std::optional<Error> error_;
  size_t outputCount_ = 0;
  size_t finishedOutputs_ = 0;
  std::vector<std::function<void()>> endHandlers_;
};

}  // namespace reelcraft
