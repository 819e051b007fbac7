#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace reelcraft {

// The tasks of a main queue, waiting for their due times. Thread-safe: any thread may post,
// take and ask. Tasks come out in the order of their due times, and tasks due at the same time
// in the order they were posted. The queue never runs a task itself, so a task never runs
// inside the call that posts it. Empty tasks are dropped when posted; tasks left when the queue
// is destroyed are destroyed without running.
class TimedTaskQueue {
 public:
  using Clock = std::chrono::steady_clock;
  using Task = std::function<void()>;
  // How many tasks have been posted so far; see takeDue().
  using PostCount = uint64_t;

  TimedTaskQueue() = default;
  TimedTaskQueue(const TimedTaskQueue&) = delete;
  TimedTaskQueue& operator=(const TimedTaskQueue&) = delete;
  ~TimedTaskQueue();

  // Queues `task`, due now. Returns false when `task` is empty and was dropped.
  bool post(Task task);
  // Queues `task`, due once `delay` has passed: a delay of zero or less is post(), and a delay
  // beyond the clock's range is due at the end of that range, never earlier.
  bool postAfter(std::chrono::nanoseconds delay, Task task);

  // Removes and returns the first task when it is due at `now` and was one of the first
  // `postedBefore` tasks posted; otherwise returns an empty task.
  Task takeDue(Clock::time_point now,
               PostCount postedBefore = std::numeric_limits<PostCount>::max());
  // The due time of the first task, or nothing when no task is queued.
  std::optional<Clock::time_point> nextDue() const;
  size_t pendingCount() const;
  PostCount postCount() const;

 private:
  using Key = std::pair<Clock::time_point, PostCount>;

  mutable std::mutex mutex_;
  std::map<Key, Task> tasks_;
  PostCount postCount_ = 0;
};

}  // namespace reelcraft
