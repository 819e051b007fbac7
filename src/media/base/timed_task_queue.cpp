#include "media/base/timed_task_queue.h"

#include <algorithm>

namespace reelcraft {

TimedTaskQueue::~TimedTaskQueue() {
  // The tasks left are destroyed outside the lock, in case their captures post on destruction.
  std::map<Key, Task> left;
  std::lock_guard lock(mutex_);
  std::swap(left, tasks_);
}

bool TimedTaskQueue::post(Task task) {
  return postAfter(std::chrono::nanoseconds::zero(), std::move(task));
}

bool TimedTaskQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
  if (!task) return false;
  const auto now = Clock::now();
  const auto wait =
      std::clamp<Clock::duration>(delay, Clock::duration::zero(), Clock::time_point::max() - now);
  std::lock_guard lock(mutex_);
  tasks_.emplace(Key{now + wait, postCount_++}, std::move(task));
  return true;
}

TimedTaskQueue::Task TimedTaskQueue::takeDue(Clock::time_point now, PostCount postedBefore) {
  std::lock_guard lock(mutex_);
  const auto first = tasks_.begin();
  if (first == tasks_.end()) return {};
  const auto& [due, postNumber] = first->first;
  if (due > now || postNumber >= postedBefore) return {};
  return std::move(tasks_.extract(first).mapped());
}

std::optional<TimedTaskQueue::Clock::time_point> TimedTaskQueue::nextDue() const {
  std::lock_guard lock(mutex_);
  if (tasks_.empty()) return std::nullopt;
  return tasks_.begin()->first.first;
}

size_t TimedTaskQueue::pendingCount() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

TimedTaskQueue::PostCount TimedTaskQueue::postCount() const {
  std::lock_guard lock(mutex_);
  return postCount_;
}

}  // namespace reelcraft
