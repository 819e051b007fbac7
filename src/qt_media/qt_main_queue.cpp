#include "qt_media/qt_main_queue.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace reelcraft {

QtMainQueue::QtMainQueue(QObject* parent) : QObject(parent) {
  timer_.setSingleShot(true);
  timer_.setTimerType(Qt::PreciseTimer);
  connect(&timer_, &QTimer::timeout, this, &QtMainQueue::runDueTasks);
}

void QtMainQueue::post(std::function<void()> task) {
  if (tasks_.post(std::move(task))) requestWake();
}

void QtMainQueue::postAfter(std::chrono::nanoseconds delay, std::function<void()> task) {
  if (tasks_.postAfter(delay, std::move(task))) requestWake();
}

size_t QtMainQueue::pendingCount() const {
  return tasks_.pendingCount();
}

void QtMainQueue::requestWake() {
  // A queued call always goes through the event loop, also from the queue's own thread.
  if (!wakeRequested_.exchange(true)) {
    QMetaObject::invokeMethod(this, &QtMainQueue::runDueTasks, Qt::QueuedConnection);
  }
}

void QtMainQueue::runDueTasks() {
  wakeRequested_ = false;
  const auto now = Clock::now();
  const auto postedBefore = tasks_.postCount();
  while (auto task = tasks_.takeDue(now, postedBefore)) task();
  scheduleWake();
}

void QtMainQueue::scheduleWake() {
  if (wakeRequested_) return;  // the queued call schedules again
  const auto due = tasks_.nextDue();
  const auto now = Clock::now();
  if (!due || *due <= now) {
    timer_.stop();
    if (due) requestWake();
    return;
  }
  // Rounded up, since a timer that fired early would find nothing due; long waits are cut
  // into pieces that Qt's timers can hold.
  constexpr int64_t kLongestWaitMs = 60 * 60 * 1000;
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*due - now).count();
  timer_.start(static_cast<int>(std::clamp<int64_t>(wait, 1, kLongestWaitMs)));
}

}  // namespace reelcraft
