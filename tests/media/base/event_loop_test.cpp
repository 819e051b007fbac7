#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "media/base/main_queue.h"
#include "media/support/main_queue_contract.h"

namespace reelcraft {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(EventLoop, MainQueueContract, EventLoop);

TEST(EventLoop, ProcessPendingRunsWhatIsDueAndLeavesTasksPostedMeanwhileForLater) {
  EventLoop loop;
  std::function<void()> again = [&] { loop.post(again); };
  loop.post(again);
  loop.post([] {});
  loop.postAfter(1h, [] {});
  EXPECT_EQ(loop.processPending(), 2u);
  EXPECT_EQ(loop.pendingCount(), 2u);
}

TEST(EventLoop, QuitFromAnotherThreadEndsRun) {
  EventLoop loop;
  bool ranTask = false;  // on this thread, which runs the loop
  std::jthread quitter([&] {
    loop.post([&] { ranTask = true; });
    loop.postAfter(5ms, [&] { loop.quit(); });
  });
  loop.run();
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
  EXPECT_FALSE(loop.runUntil([] { return false; }, 5ms)) << "gives up at the timeout";
  EXPECT_TRUE(loop.runUntil([] { return true; }, 0ms));
}

}  // namespace
}  // namespace reelcraft
