#pragma once

#include <functional>
#include <memory>
#include <string>

namespace reelcraft {

// A serial dispatch queue: tasks submitted with async run one at a time, in submission order,
// on the queue's own worker thread. Thread-safe.
//
// Destruction drains: every task already submitted still runs, then the worker thread ends.
// The destructor waits for that, except when it runs on the worker thread itself (a task
// released the last owner), where the worker finishes the remaining tasks on its own.
class SerialQueue {
 public:
  explicit SerialQueue(std::string label);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& label() const { return label_; }

  // Queues `task` behind every task submitted before it. An empty task is ignored.
  void async(std::function<void()> task);

  // Whether the calling thread is this queue's worker thread.
  bool isCurrent() const;

 private:
  struct Worker;

  std::string label_;
  std::shared_ptr<Worker> worker_;
};

}  // namespace reelcraft
