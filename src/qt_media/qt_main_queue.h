#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <queue>
#include <vector>

#include <QObject>
#include <QTimer>

#include "media/base/main_queue.h"

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
  ~QtMainQueue() override;

  // Thread-safe; never runs the task before returning.
  void post(std::function<void()> task) override;
  void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) override;

  // Tasks queued and not yet run, timers included. Thread-safe.
  size_t pendingCount() const;

 private:
  struct Entry {
    Clock::time_point due;
    uint64_t sequence = 0;
    std::function<void()> task;
  };
  struct Later {
    bool operator()(const Entry& a, const Entry& b) const {
      return a.due != b.due ? a.due > b.due : a.sequence > b.sequence;
    }
  };

  void enqueue(Clock::time_point due, std::function<void()> task);
  // On the queue's thread: runs the tasks due now, then arranges the next wake-up.
  void runDueTasks();
  // On the queue's thread: a posted wake-up when a task is due, else the timer.
  void scheduleWake();
  void requestWake();

  mutable std::mutex mutex_;
  std::priority_queue<Entry, std::vector<Entry>, Later> entries_;
  uint64_t nextSequence_ = 0;
  bool wakeRequested_ = false;  // a wake-up is queued in the Qt event loop
  QTimer timer_;
};

}  // namespace reelcraft
