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

std::string nameOf(const std::any& argument) {
  return std::any_cast<const Notification&>(argument).name;
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

TEST(NotificationObserverTest, HandsNotificationsFromTheChosenSenderToTheClosure) {
  int sender = 0;
  int otherSender = 0;
  auto observer = NotificationObserver::create();
  EXPECT_FALSE(observer->hasBeenAddedAsObserver());
  std::vector<std::string> received;
  observer->closure = [&](const std::any& argument) { received.push_back(nameOf(argument)); };

  center().post("Test.Ping", &sender);  // not observing yet
  observer->startObserving("Test.Ping", &sender);
  EXPECT_TRUE(observer->hasBeenAddedAsObserver());
  center().post("Test.Ping", &sender);
  center().post("Test.Ping", &otherSender);
  center().post("Test.Pong", &sender);
  EXPECT_EQ(received, std::vector<std::string>{"Test.Ping"});
}

TEST(NotificationObserverTest, StartingAgainReplacesTheRegistration) {
  const size_t before = center().observerCount();
  auto observer = NotificationObserver::create();
  std::vector<std::string> received;
  observer->closure = [&](const std::any& argument) { received.push_back(nameOf(argument)); };
  observer->startObserving("Test.First");
  observer->startObserving("Test.Second");
  EXPECT_EQ(center().observerCount(), before + 1);

  center().post("Test.First");
  center().post("Test.Second");
  EXPECT_EQ(received, std::vector<std::string>{"Test.Second"});
}

TEST(NotificationObserverTest, StopReleasesTheClosureAndUnregisters) {
  const size_t before = center().observerCount();
  auto observer = NotificationObserver::create();
  auto captured = std::make_shared<int>(0);
  observer->closure = [captured](const std::any&) { ++*captured; };
  observer->startObserving("Test.Stop");
  center().post("Test.Stop");
  EXPECT_EQ(*captured, 1);

  observer->stopObserving();
  EXPECT_FALSE(observer->hasBeenAddedAsObserver());
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_EQ(center().observerCount(), before);
  center().post("Test.Stop");
  EXPECT_EQ(*captured, 1);

  observer->stopObserving();  // stopping twice is harmless
}

TEST(NotificationObserverTest, DestructionUnregisters) {
  const size_t before = center().observerCount();
  auto observer = NotificationObserver::create();
  std::weak_ptr<TargetActionBridge> bridge = observer->observer;
  observer->startObserving("Test.Destroy");
  EXPECT_EQ(center().observerCount(), before + 1);
  observer.reset();
  EXPECT_TRUE(bridge.expired());
  EXPECT_EQ(center().observerCount(), before);
}

TEST(NotificationObserverTest, BridgeOutlivingItsObserverDoesNothing) {
  auto observer = NotificationObserver::create();
  std::shared_ptr<TargetActionBridge> bridge = observer->observer;
  int calls = 0;
  observer->closure = [&](const std::any&) { ++calls; };
  observer.reset();
  bridge->action1(Notification{"Test.Late", nullptr, {}});
  EXPECT_EQ(calls, 0);
}

TEST(NotificationObserverTest, OneShotWaitRunsOnceAndReleasesItself) {
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
