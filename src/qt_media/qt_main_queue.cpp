#include "qt_media/qt_main_queue.h"

#include <algorithm>
#include <utility>

namespace reelcraft {

QtMainQueue::QtMainQueue(QObject* parent) : QObject(parent) {
  timer_.setSingleShot(true);
  timer_.setTimerType(Qt::PreciseTimer);
  connect(&timer_, &QTimer::timeout, this, &QtMainQueue::runDueTasks);
}

QtMainQueue::~QtMainQueue() {
  timer_.stop();
  // The tasks left are destroyed outside the lock, without running.
  std::priority_queue<Entry, std::vector<Entry>, Later> left;
  {
    std::lock_guard lock(mutex_);
    std::swap(left, entries_);
  }
}

void QtMainQueue::post(std::function<void()> task) {
  enqueue(Clock::now(), std::move(task));
}

void QtMainQueue::postAfter(std::chrono::nanoseconds delay, std::function<void()> task) {
  // A delay too long for the clock's range waits as long as the range allows.
  const auto now = Clock::now();
  const auto longest = Clock::time_point::max() - now;
  const auto wait =
      delay.count() > 0 ? std::min<Clock::duration>(delay, longest) : Clock::duration{};
  enqueue(now + wait, std::move(task));
}

size_t QtMainQueue::pendingCount() const {
  std::lock_guard lock(mutex_);
  return entries_.size();
}

void QtMainQueue::enqueue(Clock::time_point due, std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    entries_.push(Entry{due, nextSequence_++, std::move(task)});
    if (wakeRequested_) return;
    wakeRequested_ = true;
  }
  requestWake();
}

void QtMainQueue::requestWake() {
  // A queued call always goes through the event loop, also from the queue's own thread.
  QMetaObject::invokeMethod(this, &QtMainQueue::runDueTasks, Qt::QueuedConnection);
}

void QtMainQueue::runDueTasks() {
  const auto now = Clock::now();
  uint64_t sequenceLimit = 0;
  {
    std::lock_guard lock(mutex_);
    wakeRequested_ = false;
    sequenceLimit = nextSequence_;
  }
  for (;;) {
    std::function<void()> task;
    {
      std::lock_guard lock(mutex_);
      if (entries_.empty()) break;
      const Entry& next = entries_.top();
      if (next.due > now || next.sequence >= sequenceLimit) break;
      task = std::move(const_cast<Entry&>(next).task);
      entries_.pop();
    }
    task();
  }
  scheduleWake();
}

void QtMainQueue::scheduleWake() {
  Clock::time_point due;
  bool dueNow = false;
  {
    std::lock_guard lock(mutex_);
    if (entries_.empty()) {
      timer_.stop();
      return;
    }
    if (wakeRequested_) return;
    due = entries_.top().due;
    dueNow = due <= Clock::now();
    wakeRequested_ = dueNow;
  }
  if (dueNow) {
    timer_.stop();
    requestWake();
    return;
  }
  // Rounded up, since a timer that fired early would find nothing due; long waits are cut
  // into pieces that Qt's timers can hold.
  constexpr int64_t kLongestWaitMs = 60 * 60 * 1000;
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
  timer_.start(static_cast<int>(std::clamp<int64_t>(wait, 1, kLongestWaitMs)));
}

}  // namespace reelcraft
