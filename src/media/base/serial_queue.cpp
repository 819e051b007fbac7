#include "media/base/serial_queue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace reelcraft {

// The worker's state lives apart from the queue object, so that a worker left to finish on its
// own (the queue was destroyed by one of its tasks) still has it.
struct SerialQueue::Worker {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<std::function<void()>> tasks;
  bool stopping = false;
  std::thread::id threadId;  // the worker thread's, set by the thread itself
  std::thread thread;

  void run() {
    {
      std::lock_guard lock(mutex);
      threadId = std::this_thread::get_id();
    }
    for (;;) {
      std::function<void()> task;
      {
        std::unique_lock lock(mutex);
        wake.wait(lock, [this] { return stopping || !tasks.empty(); });
        if (tasks.empty()) return;  // stopping, and drained
        task = std::move(tasks.front());
        tasks.pop_front();
      }
      task();
    }
  }
};

SerialQueue::SerialQueue(std::string label)
    : label_(std::move(label)), worker_(std::make_shared<Worker>()) {
  worker_->thread = std::thread([worker = worker_] { worker->run(); });
}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(worker_->mutex);
    worker_->stopping = true;
  }
  worker_->wake.notify_one();
  if (isCurrent()) {
    worker_->thread.detach();
  } else {
    worker_->thread.join();
  }
}

void SerialQueue::async(std::function<void()> task) {
  if (!task) return;
  {
    std::lock_guard lock(worker_->mutex);
    worker_->tasks.push_back(std::move(task));
  }
  worker_->wake.notify_one();
}

bool SerialQueue::isCurrent() const {
  std::lock_guard lock(worker_->mutex);
  return std::this_thread::get_id() == worker_->threadId;
}

}  // namespace reelcraft
