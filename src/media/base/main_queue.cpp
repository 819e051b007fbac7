#include "media/base/main_queue.h"

#include <utility>

namespace reelcraft {

void EventLoop::post(std::function<void()> task) {
  enqueue(Clock::now(), std::move(task));
}

void EventLoop::postAfter(std::chrono::nanoseconds delay, std::function<void()> task) {
  const auto now = Clock::now();
  enqueue(delay > std::chrono::nanoseconds::zero() ? now + delay : now, std::move(task));
}

void EventLoop::enqueue(Clock::time_point due, std::function<void()> task) {
  if (!task) return;
  {
    std::lock_guard lock(mutex_);
    entries_.push(Entry{due, nextSequence_++, std::move(task)});
  }
  wake_.notify_all();
}

void EventLoop::quit() {
  {
    std::lock_guard lock(mutex_);
    quitRequested_ = true;
  }
  wake_.notify_all();
}

size_t EventLoop::pendingCount() const {
  std::lock_guard lock(mutex_);
  return entries_.size();
}

std::function<void()> EventLoop::takeNext(Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  while (!quitRequested_) {
    const auto now = Clock::now();
    if (!entries_.empty() && entries_.top().due <= now) {
      // priority_queue only hands out const references; the entry is removed right after.
      std::function<void()> task = std::move(const_cast<Entry&>(entries_.top()).task);
      entries_.pop();
      return task;
    }
    if (now >= deadline) return {};
    auto wakeAt = deadline;
    if (!entries_.empty() && entries_.top().due < wakeAt) wakeAt = entries_.top().due;
    wake_.wait_until(lock, wakeAt);
  }
  return {};
}

void EventLoop::run() {
  while (auto task = takeNext(Clock::time_point::max())) task();
  std::lock_guard lock(mutex_);
  quitRequested_ = false;
}

size_t EventLoop::processPending() {
  // Only tasks that were queued before this call: a task that posts itself again would
  // otherwise keep this call running for ever.
  uint64_t end;
  {
    std::lock_guard lock(mutex_);
    end = nextSequence_;
  }
  size_t count = 0;
  for (;;) {
    std::function<void()> task;
    {
      std::lock_guard lock(mutex_);
      if (quitRequested_) {
        quitRequested_ = false;
        break;
      }
      if (entries_.empty()) break;
      const Entry& top = entries_.top();
      if (top.due > Clock::now() || top.sequence >= end) break;
      task = std::move(const_cast<Entry&>(top).task);
      entries_.pop();
    }
    task();
    ++count;
  }
  return count;
}

void EventLoop::runFor(std::chrono::nanoseconds duration) {
  const auto deadline = Clock::now() + duration;
  while (auto task = takeNext(deadline)) task();
  std::lock_guard lock(mutex_);
  quitRequested_ = false;
}

bool EventLoop::runUntil(const std::function<bool()>& done, std::chrono::nanoseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  bool finished = done();
  while (!finished) {
    auto task = takeNext(deadline);
    if (!task) break;
    task();
    finished = done();
  }
  std::lock_guard lock(mutex_);
  quitRequested_ = false;
  return finished;
}

}  // namespace reelcraft
