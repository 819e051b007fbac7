#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>

#include <QObject>
#include <QTimer>

#include "media/base/main_queue.h"
#include "media/base/timed_task_queue.h"

namespace reelcraft {

// The main queue of the desktop application: tasks run on the thread whose Qt event loop the
// queue belongs to (the thread that creates it, the GUI thread in the application), between
// the loop's other events. Tasks run in the order of their due times, and tasks due at the same
// time in the order they were posted; each wake-up runs the tasks that were due when it began,
// so that tasks posting tasks never starve the loop's painting and input. Tasks still queued
// when the queue is destroyed are destroyed without running.
class QtMainQueue : public QObject, public MainQueue {
  Q_OBJECT

 public:
  explicit QtMainQueue(QObject* parent = nullptr);

  // Thread-safe; never runs the task before returning.
  void post(std::function<void()> task) override;
  void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) override;

  // Tasks queued and not yet run, timers included. Thread-safe.
  size_t pendingCount() const;

 private:
  // Thread-safe: queues one call of runDueTasks() in the Qt event loop unless one is queued.
  void requestWake();
  // On the queue's thread: runs the tasks due now, then arranges the next wake-up.
  void runDueTasks();
  // On the queue's thread: a queued call when a task is due, else the timer.
  void scheduleWake();

  std::atomic<bool> wakeRequested_{false};
  QTimer timer_;
  TimedTaskQueue tasks_;
};

}  // namespace reelcraft
