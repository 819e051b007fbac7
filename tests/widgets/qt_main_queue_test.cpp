#include "qt_media/qt_main_queue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <QTest>
#include <QThread>

namespace reelcraft {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

TEST(QtMainQueueTest, RunsTasksLaterByDueTimeThenInPostingOrder) {
  QtMainQueue queue;
  std::vector<std::string> ran;
  const auto posted = SteadyClock::now();
  SteadyClock::duration lateWaited{};
  queue.postAfter(60ms, [&] {
    lateWaited = SteadyClock::now() - posted;
    ran.push_back("late");
  });
  queue.postAfter(20ms, [&] { ran.push_back("early"); });
  queue.post([&] {
    ran.push_back("a");
    queue.post([&] { ran.push_back("c"); });  // behind what was already waiting
  });
  queue.postAfter(0ns, [&] { ran.push_back("b"); });
  EXPECT_TRUE(ran.empty()) << "a task ran inside post()";
  EXPECT_EQ(queue.pendingCount(), 4u);

  ASSERT_TRUE(QTest::qWaitFor([&] { return ran.size() == 5; }, 10'000));
  EXPECT_EQ(ran, (std::vector<std::string>{"a", "b", "c", "early", "late"}));
  EXPECT_GE(lateWaited, 60ms);
  EXPECT_EQ(queue.pendingCount(), 0u);
}

TEST(QtMainQueueTest, RunsTasksFromOtherThreadsOnItsOwnInOrder) {
  QtMainQueue queue;
  QThread* const mainThread = QThread::currentThread();
  std::vector<int> order;
  int elsewhere = 0;
  std::thread poster([&] {
    for (int i = 0; i < 500; ++i) {
      queue.post([&, i] {
        if (QThread::currentThread() != mainThread) ++elsewhere;
        order.push_back(i);
      });
    }
    queue.postAfter(5ms, [&] { order.push_back(-1); });
  });
  poster.join();
  ASSERT_TRUE(QTest::qWaitFor([&] { return order.size() == 501; }, 10'000));
  EXPECT_EQ(elsewhere, 0);
  for (int i = 0; i < 500; ++i) ASSERT_EQ(order[i], i);
  EXPECT_EQ(order.back(), -1);
}

TEST(QtMainQueueTest, DropsTasksLeftWhenDestroyedWithoutRunningThem) {
  auto queue = std::make_unique<QtMainQueue>();
  auto capture = std::make_shared<int>(0);
  const std::weak_ptr<int> watch = capture;
  bool ran = false;
  queue->post([&ran, capture] { ran = true; });
  queue->postAfter(1h, [&ran, capture] { ran = true; });
  capture.reset();
  queue.reset();
  QTest::qWait(20);
  EXPECT_FALSE(ran);
  EXPECT_TRUE(watch.expired());
}

}  // namespace
}  // namespace reelcraft
