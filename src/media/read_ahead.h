#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace reelcraft {

// Makes items ahead of the one who takes them, on a worker thread of its own: the worker
// keeps up to `depth` items ready, so that reading goes on while the taker handles the items
// already made (an exporter encodes samples, a save writes packets, for instance).
//
// `Item` is a pointer-like type whose empty value marks the end. The items come out exactly as
// the producer made them, in the same order; the end, and a failure (an exception thrown by
// the producer), are handed on in their place in the sequence, after the items made before
// them. Once the taker has been given the end, everything the producer did happened before.
//
// With `wakeAfter` above one, a taker who found nothing ready waits for that many items, and
// a worker who found no room waits until that many were taken: the two threads then hand over
// items in batches instead of waking each other for every item.
//
// next() is used by one thread at a time; stop() may be called from any thread.
template <typename Item>
class ReadAhead {
 public:
  // Makes the next item, or an empty one at the end; may throw.
  using Producer = std::function<Item()>;

  // Starts the worker, which calls `produce` until it returns an empty item or throws, or
  // until stopped. Throws std::invalid_argument for no producer or a depth of zero.
  ReadAhead(Producer produce, size_t depth, size_t wakeAfter = 1)
      : produce_(std::move(produce)),
        depth_(depth),
        wakeAfter_(std::clamp<size_t>(wakeAfter, 1, std::max<size_t>(depth, 1))) {
    if (!produce_) throw std::invalid_argument("reading ahead needs a producer");
    if (depth_ == 0) throw std::invalid_argument("reading ahead needs room for an item");
    worker_ = std::thread([this] { run(); });
  }
  // Stops the worker and waits for it to finish the item it is making.
  ~ReadAhead() {
    stop();
    worker_.join();
  }
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // The next item, waiting for the worker to make it: empty at the end or once stopped.
  // Rethrows the producer's exception where it was thrown in the sequence.
  Item next() {
    std::unique_lock lock(mutex_);
    if (ready_.empty()) {
      itemsReady_.wait(lock, [this] { return stopped_ || ended_ || ready_.size() >= wakeAfter_; });
    }
    if (stopped_) return Item();
    if (ready_.empty()) {
      // The end, or the failure that ended the reading: handed on once.
      if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
      return Item();
    }
    Item item = std::move(ready_.front());
    ready_.pop_front();
    const bool madeRoom = ready_.size() == depth_ - wakeAfter_;
    lock.unlock();
    if (madeRoom) roomFree_.notify_one();
    return item;
  }

  // The worker makes nothing more after the item it is making, and next() gives an empty
  // item from now on. Idempotent.
  void stop() {
    {
      std::lock_guard lock(mutex_);
      stopped_ = true;
      ready_.clear();
    }
    itemsReady_.notify_all();
    roomFree_.notify_all();
  }

 private:
  void run() {
    while (true) {
      {
        std::unique_lock lock(mutex_);
        if (ready_.size() == depth_) {
          roomFree_.wait(lock, [this] { return stopped_ || ready_.size() <= depth_ - wakeAfter_; });
        }
        if (stopped_) return;
      }
      Item item;
      std::exception_ptr failure;
      try {
        item = produce_();
      } catch (...) {
        failure = std::current_exception();
      }
      const bool ended = !item;
      bool batchReady = ended;
      {
        std::lock_guard lock(mutex_);
        if (stopped_) return;
        if (ended) {
          // Moved, not copied: the exception is then released by the taker alone.
          failure_ = std::move(failure);
          ended_ = true;
        } else {
          ready_.push_back(std::move(item));
          batchReady = ready_.size() == wakeAfter_;
        }
      }
      if (batchReady) itemsReady_.notify_one();
      if (ended) return;
    }
  }

  Producer produce_;
  size_t depth_;
  size_t wakeAfter_;
  std::mutex mutex_;
  std::condition_variable itemsReady_;  // the taker waits on it
  std::condition_variable roomFree_;    // the worker waits on it
  std::deque<Item> ready_;
  std::exception_ptr failure_;  // thrown by the producer after the items in ready_
  bool ended_ = false;          // the producer has returned the end or thrown
  bool stopped_ = false;
  std::thread worker_;  // last: started once everything else is set up
};

}  // namespace reelcraft
