#include "media/reader/sample_read_ahead.h"

#include <stdexcept>
#include <utility>

namespace reelcraft {

SampleReadAhead::SampleReadAhead(Producer produce, size_t depth)
    : produce_(std::move(produce)), depth_(depth) {
  if (!produce_) throw std::invalid_argument("reading ahead needs a producer");
  if (depth_ == 0) throw std::invalid_argument("reading ahead needs room for a sample");
  worker_ = std::thread([this] { run(); });
}

SampleReadAhead::~SampleReadAhead() {
  stop();
  worker_.join();
}

void SampleReadAhead::stop() {
  {
    std::lock_guard lock(mutex_);
    stopped_ = true;
    ready_.clear();
  }
  changed_.notify_all();
}

std::shared_ptr<SampleBuffer> SampleReadAhead::next() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return stopped_ || !ready_.empty() || ended_; });
  if (stopped_) return nullptr;
  if (ready_.empty()) {
    // The end, or the failure that ended the reading: handed on once.
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    return nullptr;
  }
  std::shared_ptr<SampleBuffer> sample = std::move(ready_.front());
  ready_.pop_front();
  lock.unlock();
  changed_.notify_all();
  return sample;
}

void SampleReadAhead::run() {
  while (true) {
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return stopped_ || ready_.size() < depth_; });
      if (stopped_) return;
    }
    std::shared_ptr<SampleBuffer> sample;
    std::exception_ptr failure;
    try {
      sample = produce_();
    } catch (...) {
      failure = std::current_exception();
    }
    const bool ended = !sample;
    {
      std::lock_guard lock(mutex_);
      if (stopped_) return;
      if (ended) {
        // Moved, not copied: the exception is then released by the taker alone.
        failure_ = std::move(failure);
        ended_ = true;
      } else {
        ready_.push_back(std::move(sample));
      }
    }
    changed_.notify_all();
    if (ended) return;
  }
}

}  // namespace reelcraft
