#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "media/base/main_queue.h"

namespace reelcraft {
namespace {

using namespace std::chrono_literals;

TEST(EventLoop, RunsPostedTasksInOrderOnTheThreadThatRunsIt) {
  EventLoop loop;
  std::vector<int> order;
  std::vector<std::thread::id> threads;
  for (int i = 0; i < 5; ++i) {
    loop.post([&, i] {
      order.push_back(i);
      threads.push_back(std::this_thread::get_id());
    });
  }
  EXPECT_TRUE(order.empty()) << "post() never runs the task itself";
  EXPECT_EQ(loop.processPending(), 5u);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
  for (auto id : threads) EXPECT_EQ(id, std::this_thread::get_id());
}

TEST(EventLoop, TimersRunInDueOrderAfterTheirDelay) {
  EventLoop loop;
  std::vector<int> order;
  loop.postAfter(30ms, [&] { order.push_back(3); });
  loop.postAfter(10ms, [&] { order.push_back(2); });
  loop.post([&] { order.push_back(1); });
  loop.processPending();
  EXPECT_EQ(order, std::vector<int>{1}) << "timers that are not due yet wait";
  EXPECT_TRUE(loop.runUntil([&] { return order.size() == 3; }, 5s));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(EventLoop, ProcessPendingLeavesTasksPostedMeanwhileForLater) {
  EventLoop loop;
  int runs = 0;
  std::function<void()> again = [&] {
    ++runs;
    loop.post(again);
  };
  loop.post(again);
  EXPECT_EQ(loop.processPending(), 1u);
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(loop.pendingCount(), 1u);
}

TEST(EventLoop, TakesTasksFromManyThreads) {
  EventLoop loop;
  constexpr int kThreads = 4;
  constexpr int kTasksEach = 250;
  int total = 0;  // touched only by tasks, on the loop's thread
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&] {
      for (int i = 0; i < kTasksEach; ++i) loop.post([&] { ++total; });
    });
  }
  EXPECT_TRUE(loop.runUntil([&] { return total == kThreads * kTasksEach; }, 10s));
  for (auto& poster : posters) poster.join();
  EXPECT_EQ(total, kThreads * kTasksEach);
}

TEST(EventLoop, QuitFromAnotherThreadEndsRun) {
  EventLoop loop;
  std::atomic<bool> ranTask{false};
  std::thread quitter([&] {
    loop.post([&] { ranTask = true; });
    loop.postAfter(5ms, [&] { loop.quit(); });
  });
  loop.run();
  quitter.join();
  EXPECT_TRUE(ranTask);
}

TEST(EventLoop, QuitInsideATaskEndsRunForAndRunUntilEarly) {
  EventLoop loop;
  int after = 0;
  loop.post([&] { loop.quit(); });
  loop.post([&] { ++after; });
  loop.runFor(10s);
  EXPECT_EQ(after, 0) << "runFor returned right after the task that quit";

  loop.post([&] { loop.quit(); });
  EXPECT_FALSE(loop.runUntil([] { return false; }, 10s));
  EXPECT_EQ(after, 1);
}

TEST(EventLoop, RunUntilGivesUpAtTheTimeout) {
  EventLoop loop;
  EXPECT_FALSE(loop.runUntil([] { return false; }, 5ms));
  EXPECT_TRUE(loop.runUntil([] { return true; }, 0ms));
}

TEST(EventLoop, DestroysUnrunTasksWithoutRunningThem) {
  auto token = std::make_shared<int>(0);
  bool ran = false;
  {
    EventLoop loop;
    loop.post([token, &ran] { ran = true; });
    loop.postAfter(1h, [token, &ran] { ran = true; });
    EXPECT_EQ(token.use_count(), 3);
  }
  EXPECT_FALSE(ran);
  EXPECT_EQ(token.use_count(), 1);
}

}  // namespace
}  // namespace reelcraft
