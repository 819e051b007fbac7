#include "media/base/serial_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>

namespace reelcraft {
namespace {

TEST(SerialQueue, RunsTasksFromManyThreadsOneAtATimeInTheOrderEachThreadSubmittedThem) {
  std::vector<std::pair<int, int>> ran;  // (thread, sequence); touched only by the tasks
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  {
    SerialQueue queue("test queue");
    EXPECT_EQ(queue.label(), "test queue");
    std::vector<std::thread> submitters;
    for (int thread = 0; thread < 4; ++thread) {
      submitters.emplace_back([&, thread] {
        for (int sequence = 0; sequence < 200; ++sequence) {
          queue.async([&, thread, sequence] {
            if (running.fetch_add(1) != 0) overlapped = true;
            ran.emplace_back(thread, sequence);
            running.fetch_sub(1);
          });
        }
      });
    }
    for (auto& submitter : submitters) submitter.join();
  }  // the destructor lets every queued task run
  EXPECT_FALSE(overlapped);
  ASSERT_EQ(ran.size(), 800u);
  std::vector<int> next(4, 0);
  for (auto [thread, sequence] : ran) EXPECT_EQ(sequence, next[thread]++);
}

TEST(SerialQueue, TasksRunOnTheQueuesOwnThread) {
  SerialQueue queue("worker");
  EXPECT_FALSE(queue.isCurrent());
  std::promise<std::pair<std::thread::id, bool>> seen;
  queue.async([&] { seen.set_value({std::this_thread::get_id(), queue.isCurrent()}); });
  const auto [id, current] = seen.get_future().get();
  EXPECT_NE(id, std::this_thread::get_id());
  EXPECT_TRUE(current);
}

TEST(SerialQueue, ATaskMayReleaseTheLastOwnerAndTheQueuedTasksStillRun) {
  auto queue = std::make_shared<SerialQueue>("self-releasing");
  std::promise<void> last;
  std::promise<void> release;
  queue->async([&] { release.get_future().wait(); });
  queue->async([owner = std::make_shared<std::shared_ptr<SerialQueue>>(queue)]() mutable {
    owner->reset();  // the queue is destroyed on its own thread here
  });
  queue->async([&] { last.set_value(); });
  queue.reset();
  release.set_value();
  EXPECT_EQ(last.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready);
}

}  // namespace
}  // namespace reelcraft
