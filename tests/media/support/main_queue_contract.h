#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

// What every main queue promises, instantiated once per queue type.

namespace reelcraft {

using namespace std::chrono_literals;

// Runs the tasks of `queue` on this thread until `done()` holds or `timeout` has passed; a
// queue without a runUntil() of its own specializes this.
template <typename Queue>
bool runTasksUntil(Queue& queue, std::chrono::milliseconds timeout,
                   const std::function<bool()>& done) {
  return queue.runUntil(done, timeout);
}

template <typename Queue>
class MainQueueContract : public ::testing::Test {
 protected:
  Queue queue;
};
TYPED_TEST_SUITE_P(MainQueueContract);

TYPED_TEST_P(MainQueueContract, RunsTasksLaterByDueTimeThenInPostingOrder) {
  auto& queue = this->queue;
  std::vector<const char*> ran;
  const auto posted = std::chrono::steady_clock::now();
  std::chrono::steady_clock::duration lateWaited{};
  queue.postAfter(60ms, [&] {
    lateWaited = std::chrono::steady_clock::now() - posted;
    ran.push_back("late");
  });
  queue.postAfter(20ms, [&] { ran.push_back("early"); });
  queue.post([&] {
    ran.push_back("a");
    queue.post([&] { ran.push_back("d"); });  // behind what was already waiting
  });
  queue.postAfter(0ns, [&] { ran.push_back("b"); });
  queue.postAfter(-1h, [&] { ran.push_back("c"); });
  EXPECT_TRUE(ran.empty()) << "a task ran inside post()";
  EXPECT_EQ(queue.pendingCount(), 5u);

  ASSERT_TRUE(runTasksUntil(queue, 10s, [&] { return ran.size() == 6; }));
  EXPECT_EQ(ran, (std::vector<const char*>{"a", "b", "c", "d", "early", "late"}));
  EXPECT_GE(lateWaited, 60ms);
  EXPECT_EQ(queue.pendingCount(), 0u);
}

TYPED_TEST_P(MainQueueContract, RunsTasksFromOtherThreadsOnItsOwnInPostingOrder) {
  constexpr int kThreads = 4;
  constexpr int kTasksEach = 250;  // and one timer
  const auto queueThread = std::this_thread::get_id();
  std::vector<int> nextOfPoster(kThreads, 0);  // touched only by tasks, on the queue's thread
  int ran = 0;
  int misplaced = 0;
  std::vector<std::jthread> posters;  // joined first, before the task state goes
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i <= kTasksEach; ++i) {
        this->queue.postAfter(i < kTasksEach ? 0ms : 5ms, [&, t, i] {
          ++ran;
          if (nextOfPoster[t]++ != i || std::this_thread::get_id() != queueThread) ++misplaced;
        });
      }
    });
  }
  EXPECT_TRUE(runTasksUntil(this->queue, 20s, [&] { return ran == kThreads * (kTasksEach + 1); }));
  EXPECT_EQ(misplaced, 0);
}

TYPED_TEST_P(MainQueueContract, IgnoresEmptyTasksAndWaitsOutHugeDelays) {
  auto& queue = this->queue;
  bool hugeRan = false;
  queue.post({});
  queue.postAfter(1ms, {});
  EXPECT_EQ(queue.pendingCount(), 0u);
  queue.postAfter(std::chrono::nanoseconds::max(), [&] { hugeRan = true; });
  queue.postAfter(1ms, [] {});
  EXPECT_TRUE(runTasksUntil(queue, 10s, [&] { return queue.pendingCount() == 1; }));
  EXPECT_FALSE(hugeRan);
}

TYPED_TEST_P(MainQueueContract, DestroysUnrunTasksWithoutRunningThem) {
  auto token = std::make_shared<int>(0);
  bool ran = false;
  {
    TypeParam queue;
    queue.post([token, &ran] { ran = true; });
    queue.postAfter(1h, [token, &ran] { ran = true; });
  }
  EXPECT_FALSE(ran);
  EXPECT_EQ(token.use_count(), 1);
}

REGISTER_TYPED_TEST_SUITE_P(MainQueueContract, RunsTasksLaterByDueTimeThenInPostingOrder,
                            RunsTasksFromOtherThreadsOnItsOwnInPostingOrder,
                            IgnoresEmptyTasksAndWaitsOutHugeDelays,
                            DestroysUnrunTasksWithoutRunningThem);

}  // namespace reelcraft
