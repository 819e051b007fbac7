#include "qt_media/qt_main_queue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include <QTest>
#include <QTimer>

#include "media/support/main_queue_contract.h"

namespace reelcraft {

template <>
bool runTasksUntil(QtMainQueue&, std::chrono::milliseconds timeout,
                   const std::function<bool()>& done) {
  return QTest::qWaitFor(done, static_cast<int>(timeout.count()));
}

namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(QtMainQueue, MainQueueContract, QtMainQueue);

TEST(QtMainQueueTest, TasksThatPostTasksLeaveRoomForOtherEvents) {
  QtMainQueue queue;
  std::function<void()> again = [&] { queue.post(again); };
  queue.post(again);
  bool timerFired = false;
  QTimer::singleShot(0, [&] { timerFired = true; });
  EXPECT_TRUE(QTest::qWaitFor([&] { return timerFired; }, 10'000));
}

}  // namespace
}  // namespace reelcraft
