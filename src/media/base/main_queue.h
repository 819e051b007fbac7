#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>

#include "media/base/timed_task_queue.h"

namespace reelcraft {

// The hand-off to the main thread: tasks posted from any thread run later, one at a time, on
// the thread that owns the queue (the user interface thread in the application). Tasks run in
// the order of their due times, and tasks due at the same time in the order they were posted.
// A task never runs inside the post() call that queues it.
class MainQueue {
 public:
  using Clock = std::chrono::steady_clock;

  virtual ~MainQueue() = default;

  // Queues `task` to run as soon as possible. Thread-safe.
  virtual void post(std::function<void()> task) = 0;
  // Queues `task` to run once `delay` has passed (a timer); a delay of zero or less is the same
  // as post(). Thread-safe.
  virtual void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) = 0;
};

// A plain main loop for the command-line tool and tests: tasks run on whichever thread calls
// run(), runFor(), runUntil() or processPending() (one thread at a time). Tasks still queued
// when the loop is destroyed are destroyed without running.
class EventLoop : public MainQueue {
 public:
  EventLoop() = default;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  void post(std::function<void()> task) override;
  void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) override;

  // Runs tasks, waiting for them as needed, until quit() is called.
  void run();
  // Makes the running run(), runFor() or runUntil() return after its current task; when none
  // is running, the next one returns at once. Thread-safe.
  void quit();
  // Runs the tasks that are due now, without waiting, and returns how many ran. Tasks that
  // those tasks post are left for later.
  size_t processPending();
  // Runs tasks for `duration` (or until quit()).
  void runFor(std::chrono::nanoseconds duration);
  // Runs tasks until `done()` holds (checked before waiting and after every task), `timeout`
  // has passed, or quit() is called; returns the last value of `done()`.
  bool runUntil(const std::function<bool()>& done, std::chrono::nanoseconds timeout);

  // Tasks queued and not yet run, timers included. Thread-safe.
  size_t pendingCount() const;

 private:
  // Wakes a takeNext() that waits, for a task just posted.
  void wake();
  // Waits until a task is due, `deadline` passes or quit() is called; returns the task to run,
  // or an empty function when there is none.
  std::function<void()> takeNext(Clock::time_point deadline);
  // Ends a run(), runFor() or runUntil(): a quit() is used up.
  void endRun();

  std::mutex mutex_;  // guards quitRequested_ and the waits of takeNext()
  std::condition_variable wake_;
  bool quitRequested_ = false;
  TimedTaskQueue tasks_;
};

}  // namespace reelcraft
