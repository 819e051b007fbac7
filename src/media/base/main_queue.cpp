#include "media/base/main_queue.h"

#include <algorithm>
#include <utility>

namespace reelcraft {

void EventLoop::post(std::function<void()> task) {
  if (tasks_.post(std::move(task))) wake();
}

void EventLoop::postAfter(std::chrono::nanoseconds delay, std::function<void()> task) {
  if (tasks_.postAfter(delay, std::move(task))) wake();
}

void EventLoop::quit() {
  {
    std::lock_guard lock(mutex_);
    quitRequested_ = true;
  }
  wake_.notify_all();
}

void EventLoop::wake() {
  // takeNext() holds the lock from looking at the tasks until it waits, so once this thread
  // has had the lock, a takeNext() that missed the new task is waiting and gets the notice.
  { std::lock_guard lock(mutex_); }
  wake_.notify_all();
}

void EventLoop::endRun() {
  std::lock_guard lock(mutex_);
  quitRequested_ = false;
}

size_t EventLoop::pendingCount() const {
  return tasks_.pendingCount();
}

std::function<void()> EventLoop::takeNext(Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  while (!quitRequested_) {
    const auto now = Clock::now();
    if (auto task = tasks_.takeDue(now)) return task;
    if (now >= deadline) return {};
    wake_.wait_until(lock, std::min(deadline, tasks_.nextDue().value_or(deadline)));
  }
  return {};
}

void EventLoop::run() {
  while (auto task = takeNext(Clock::time_point::max())) task();
  endRun();
}

size_t EventLoop::processPending() {
  // Only tasks that were queued before this call: a task that posts itself again would
  // otherwise keep this call running for ever.
  const auto postedBefore = tasks_.postCount();
  size_t count = 0;
  for (;;) {
    {
      std::lock_guard lock(mutex_);
      if (quitRequested_) {
        quitRequested_ = false;
        break;
      }
    }
    auto task = tasks_.takeDue(Clock::now(), postedBefore);
    if (!task) break;
    task();
    ++count;
  }
  return count;
}

void EventLoop::runFor(std::chrono::nanoseconds duration) {
  const auto deadline = Clock::now() + duration;
  while (auto task = takeNext(deadline)) task();
  endRun();
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
  endRun();
  return finished;
}

}  // namespace reelcraft
