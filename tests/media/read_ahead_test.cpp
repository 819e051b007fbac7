#include "media/read_ahead.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

namespace reelcraft {
namespace {

using Item = std::unique_ptr<int>;

// Makes 0, 1, 2, ... up to `count` items, each once `allowed` lets it.
struct GatedProducer {
  int count;
  std::atomic<int> allowed{1 << 30};
  std::atomic<int> made{0};

  Item operator()() {
    while (made.load() >= allowed.load()) std::this_thread::yield();
    const int n = made++;
    return n < count ? std::make_unique<int>(n) : nullptr;
  }
};

TEST(ReadAhead, BatchesKeepTheOrderAndAShortLastBatchStillArrives) {
  for (size_t wakeAfter : {size_t{1}, size_t{4}, size_t{100}}) {
    GatedProducer producer{10};
    ReadAhead<Item> ahead([&] { return producer(); }, 8, wakeAfter);
    for (int n = 0; n < 10; ++n) {
      const Item item = ahead.next();
      ASSERT_TRUE(item) << "batch " << wakeAfter << ", item " << n;
      EXPECT_EQ(*item, n);
    }
    EXPECT_FALSE(ahead.next()) << "batch " << wakeAfter;
  }
}

TEST(ReadAhead, AFailureEndsAnUnfinishedBatch) {
  std::atomic<int> calls{0};
  ReadAhead<Item> ahead(
      [&]() -> Item {
        const int n = calls++;
        if (n == 2) throw std::runtime_error("damaged at 2");
        return std::make_unique<int>(n);
      },
      8, 4);
  EXPECT_EQ(*ahead.next(), 0);
  EXPECT_EQ(*ahead.next(), 1);
  EXPECT_THROW(ahead.next(), std::runtime_error);
  EXPECT_FALSE(ahead.next());
}

TEST(ReadAhead, StoppingWakesATakerWaitingForABatch) {
  GatedProducer producer{100};
  producer.allowed = 0;  // nothing comes: the taker waits until stopped
  ReadAhead<Item> ahead([&] { return producer(); }, 8, 4);
  Item afterStop = std::make_unique<int>(-1);
  std::thread taker([&] { afterStop = ahead.next(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // most often waiting by now
  ahead.stop();
  taker.join();
  EXPECT_FALSE(afterStop);
  producer.allowed = 1 << 30;  // lets the worker finish the item it waits to make
}

}  // namespace
}  // namespace reelcraft
