#include "media/base/notification_center.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace reelcraft {
namespace {

// Records every notification it receives as "<label> <selector> <name>" and runs an optional
// hook.
class RecordingTarget : public ActionTarget {
 public:
  RecordingTarget(std::vector<std::string>& log, std::string label)
      : log_(log), label_(std::move(label)) {}

  void perform(std::string_view selector, const std::any& argument) override {
    last = std::any_cast<const Notification&>(argument);
    log_.push_back(label_ + " " + std::string(selector) + " " + last.name);
    if (hook) hook();
  }

  std::function<void()> hook;
  Notification last;

 private:
  std::vector<std::string>& log_;
  std::string label_;
};

class NotificationCenterTest : public ::testing::Test {
 protected:
  std::shared_ptr<RecordingTarget> makeTarget(std::string label) {
    return std::make_shared<RecordingTarget>(log, std::move(label));
  }

  NotificationCenter center;
  std::vector<std::string> log;
  int senderA = 0;
  int senderB = 0;
};

TEST_F(NotificationCenterTest, DeliversInRegistrationOrderFilteredByNameAndSender) {
  auto first = makeTarget("first");
  auto second = makeTarget("second");
  auto anyName = makeTarget("any");
  center.addObserver(first, "changed:", "Changed");
  center.addObserver(anyName, "anything:", "", &senderA);
  center.addObserver(second, "changedA:", "Changed", &senderA);

  center.post("Changed", &senderA, 42);
  center.post("Changed", &senderB);
  center.post("Other", &senderA);
  center.post("Other", &senderB);

  EXPECT_EQ(log, (std::vector<std::string>{"first changed: Changed", "any anything: Changed",
                                           "second changedA: Changed", "first changed: Changed",
                                           "any anything: Other"}));
  EXPECT_EQ(first->last.object, &senderB);
  EXPECT_EQ(std::any_cast<int>(second->last.userInfo), 42);
}

TEST_F(NotificationCenterTest, RemovesAllOrMatchingRegistrations) {
  auto target = makeTarget("t");
  center.addObserver(target, "a:", "A");
  center.addObserver(target, "b:", "B", &senderA);
  center.addObserver(target, "b2:", "B", &senderB);
  center.addObserver(target, "c:", "C");

  center.removeObserver(target.get(), "B", &senderA);
  center.post("B", &senderA);
  center.post("B", &senderB);
  center.removeObserver(target.get(), "", &senderB);
  center.post("B", &senderB);
  center.removeObserver(target.get(), "A");
  center.post("A");
  center.post("C");
  EXPECT_EQ(log, (std::vector<std::string>{"t b2: B", "t c: C"}));

  center.removeObserver(target.get());
  EXPECT_EQ(center.observerCount(), 0u);
  center.post("C");
  EXPECT_EQ(log.size(), 2u);
}

TEST_F(NotificationCenterTest, DestroyedObserversAreSkippedAndPruned) {
  auto kept = makeTarget("kept");
  auto dropped = makeTarget("dropped");
  center.addObserver(dropped, "x:", "N");
  center.addObserver(kept, "x:", "N");
  dropped.reset();
  EXPECT_EQ(center.observerCount(), 1u);
  center.post("N");
  EXPECT_EQ(log, std::vector<std::string>{"kept x: N"});

  // Registering an observer that is already gone records nothing.
  center.addObserver(std::weak_ptr<ActionTarget>(), "x:", "N");
  EXPECT_EQ(center.observerCount(), 1u);
}

TEST_F(NotificationCenterTest, ChangesMadeDuringAPostApplyToLaterPosts) {
  auto remover = makeTarget("remover");
  auto removed = makeTarget("removed");
  auto added = makeTarget("added");
  remover->hook = [&] {
    center.removeObserver(removed.get());
    center.addObserver(added, "x:", "N");
  };
  center.addObserver(remover, "x:", "N");
  center.addObserver(removed, "x:", "N");
  center.post("N");
  EXPECT_EQ(log, std::vector<std::string>{"remover x: N"});
  log.clear();
  remover->hook = nullptr;
  center.post("N");
  EXPECT_EQ(log, (std::vector<std::string>{"remover x: N", "added x: N"}));
}

TEST_F(NotificationCenterTest, ObserverThatReleasesItselfDuringDeliveryFinishesItsCall) {
  auto target = makeTarget("self");
  std::weak_ptr<RecordingTarget> watch = target;
  target->hook = [&] {
    center.removeObserver(target.get());
    target.reset();
  };
  center.addObserver(target, "x:", "N");
  center.post("N");
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(log.size(), 1u);
}

TEST_F(NotificationCenterTest, PostsFromAnotherThreadKeepTheRegistryIntact) {
  std::vector<std::string> threadLog;
  auto background = std::make_shared<RecordingTarget>(threadLog, "bg");
  center.addObserver(background, "x:", "Background");
  std::thread poster([&] {
    for (int i = 0; i < 2000; ++i) center.post("Background");
  });
  for (int i = 0; i < 2000; ++i) {
    auto transient = makeTarget("transient");
    center.addObserver(transient, "x:", "Main");
    center.removeObserver(transient.get());
  }
  poster.join();
  EXPECT_EQ(threadLog.size(), 2000u);
  EXPECT_EQ(center.observerCount(), 1u);
}

}  // namespace
}  // namespace reelcraft
