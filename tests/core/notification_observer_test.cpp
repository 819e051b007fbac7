#include "core/notification_observer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/target_action_bridge.h"
#include "media/base/notification_center.h"

namespace reelcraft {
namespace {

NotificationCenter& center() {
  return NotificationCenter::defaultCenter();
}

TEST(TargetActionBridgeTest, Action1CallsTheClosureWhenThereIsOne) {
  auto bridge = std::make_shared<TargetActionBridge>();
  bridge->perform(TargetActionBridge::kAction1, 1);  // no closure yet: nothing happens
  std::vector<int> received;
  bridge->closure1 = [&](const std::any& argument) {
    received.push_back(std::any_cast<int>(argument));
    bridge->closure1 = nullptr;  // replacing itself while running is allowed
  };
  bridge->perform("action1:", 5);
  bridge->action1(6);
  EXPECT_EQ(received, std::vector<int>{5});
}

TEST(TargetActionBridgeDeathTest, UnknownSelectorStopsTheProgram) {
  auto bridge = std::make_shared<TargetActionBridge>();
  EXPECT_DEATH(bridge->perform("action2:", {}), "action2:");
}

// An observer whose closure records the names of the notifications it receives.
class NotificationObserverTest : public ::testing::Test {
 protected:
  NotificationObserverTest() {
    observer->closure = [this](const std::any& argument) {
      received.push_back(std::any_cast<const Notification&>(argument).name);
    };
  }

  const size_t observersBefore = center().observerCount();
  std::shared_ptr<NotificationObserver> observer = NotificationObserver::create();
  std::vector<std::string> received;
};

TEST_F(NotificationObserverTest, HandsOnNotificationsOfTheChosenNameAndSender) {
  int sender = 0;
  int otherSender = 0;
  EXPECT_FALSE(observer->hasBeenAddedAsObserver());
  center().post("Test.Ping", &sender);  // not observing yet
  observer->startObserving("Test.Ping", &sender);
  EXPECT_TRUE(observer->hasBeenAddedAsObserver());
  center().post("Test.Ping", &sender);
  center().post("Test.Ping", &otherSender);
  center().post("Test.Pong", &sender);
  EXPECT_EQ(received, std::vector<std::string>{"Test.Ping"});
}

TEST_F(NotificationObserverTest, StartingAgainReplacesTheRegistration) {
  observer->startObserving("Test.First");
  observer->startObserving("Test.Second");
  EXPECT_EQ(center().observerCount(), observersBefore + 1);
  center().post("Test.First");
  center().post("Test.Second");
  EXPECT_EQ(received, std::vector<std::string>{"Test.Second"});
}

TEST_F(NotificationObserverTest, StopReleasesTheClosureAndUnregisters) {
  auto captured = std::make_shared<int>(0);
  observer->closure = [captured](const std::any&) { ++*captured; };
  observer->startObserving("Test.Stop");
  center().post("Test.Stop");
  EXPECT_EQ(*captured, 1);

  observer->stopObserving();
  EXPECT_FALSE(observer->hasBeenAddedAsObserver());
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_EQ(center().observerCount(), observersBefore);
  center().post("Test.Stop");
  EXPECT_EQ(*captured, 1);
  observer->stopObserving();  // stopping twice is harmless
}

TEST_F(NotificationObserverTest, DestructionUnregistersAndSilencesTheBridge) {
  const std::shared_ptr<TargetActionBridge> bridge = observer->observer;
  observer->startObserving("Test.Destroy");
  EXPECT_EQ(center().observerCount(), observersBefore + 1);
  observer.reset();
  EXPECT_EQ(center().observerCount(), observersBefore);
  bridge->action1(Notification{"Test.Late", nullptr, {}});  // outlives its observer
  EXPECT_TRUE(received.empty());
}

TEST(NotificationObserverOneShot, RunsOnceAndReleasesItself) {
  int window = 0;
  int continuations = 0;
  std::weak_ptr<NotificationObserver> watch;
  {
    auto observer = NotificationObserver::create();
    watch = observer;
    observer->startObserving("Test.DidEndSheet", &window);
    observer->closure = [&continuations, observer](const std::any&) {
      ++continuations;
      observer->stopObserving();
    };
  }
  ASSERT_FALSE(watch.expired());  // kept alive by its own closure until it fires
  center().post("Test.DidEndSheet", &window);
  EXPECT_EQ(continuations, 1);
  EXPECT_TRUE(watch.expired());
  center().post("Test.DidEndSheet", &window);
  EXPECT_EQ(continuations, 1);
}

}  // namespace
}  // namespace reelcraft
