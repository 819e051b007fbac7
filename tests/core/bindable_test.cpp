#include "core/bindable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace reelcraft {
namespace {

using Log = std::vector<std::string>;
using IntBindable = std::shared_ptr<Bindable<int>>;

// Bindables whose observers log "<label>=<value>" into one log.
class BindableTest : public ::testing::Test {
 protected:
  void watch(const IntBindable& bindable, const std::string& label) {
    bindable->observers.push_back(
        [this, label](const int& value) { log.push_back(label + "=" + std::to_string(value)); });
  }
  IntBindable watched(const std::string& label, int value = 0) {
    auto bindable = Bindable<int>::create(value);
    watch(bindable, label);
    return bindable;
  }
  Log taken() { return std::exchange(log, {}); }

  Log log;
};

TEST_F(BindableTest, PlainSetTellsOnlyThePeersAndBindCopiesTheValueSilently) {
  auto a = watched("a", 3);
  auto b = watched("b", 5);
  a->setValue(4);
  EXPECT_EQ(a->value(), 4);
  EXPECT_TRUE(log.empty());
  a->notifyObservers();
  EXPECT_EQ(taken(), Log{"a=4"});

  bind(a, b);
  EXPECT_EQ(b->value(), 4);
  EXPECT_TRUE(log.empty());
  b->setValue(7);
  EXPECT_EQ(a->value(), 7);
  EXPECT_EQ(taken(), Log{"a=7"});
}

TEST_F(BindableTest, ChainNotifiesDeepestFirstAndTheSetMemberLastEveryTime) {
  auto a = watched("a");
  auto b = watched("b");
  auto m = watched("m");
  watch(a, "a2");
  bind(a, b);
  bind(b, m);
  for (int round = 0; round < 2; ++round) {  // the same value again notifies again
    a->setValueAndNotify(5);
    EXPECT_EQ(taken(), (Log{"m=5", "b=5", "a=5", "a2=5"}));
  }
  a->setValue(6);
  EXPECT_EQ(taken(), (Log{"m=6", "b=6"}));
  m->setValue(7);  // the other way along the chain
  EXPECT_EQ(taken(), (Log{"a=7", "a2=7", "b=7"}));
  EXPECT_FALSE(a->alreadyUpdating());
  EXPECT_FALSE(b->alreadyUpdating());
}

TEST_F(BindableTest, BindLinksWhateverKindOfPointerItIsGiven) {
  // std::bind is a candidate for every unqualified call with std::shared_ptr arguments.
  const auto constant = Bindable<int>::create(1);
  auto target = Bindable<int>::create(0);
  bind(constant, target);
  bind<int>(target, Bindable<int>::create(2));
  bind(Bindable<int>::create(3), std::move(target));
  EXPECT_EQ(constant->bindables.size(), 1u);
  EXPECT_EQ(constant->value(), 1);
}

TEST_F(BindableTest, CyclesEnd) {
  auto a = watched("a");
  auto b = watched("b");
  auto c = watched("c");
  bind(a, b);
  bind(b, c);
  bind(c, a);
  bind(a, b);  // a second link between the same pair
  a->setValue(9);
  EXPECT_EQ(b->value(), 9);
  EXPECT_EQ(c->value(), 9);
  EXPECT_EQ(std::count(log.begin(), log.end(), "a=9"), 0);
  EXPECT_GE(std::count(log.begin(), log.end(), "b=9"), 1);
  EXPECT_GE(std::count(log.begin(), log.end(), "c=9"), 1);
}

TEST_F(BindableTest, DestroyedPeersAreUnlinkedAndDeadEntriesSkipped) {
  auto a = Bindable<int>::create(0);
  auto c = watched("c");
  {
    // A one-sided entry: the departing Bindable does not know `a`, so it cannot unlink itself.
    auto gone = Bindable<int>::create(0);
    a->bindables.push_back(WeakContainer<Bindable<int>>{gone});
  }
  auto b = Bindable<int>::create(0);
  bind(a, b);
  bind(a, c);
  a->setValue(1);
  EXPECT_EQ(b->value(), 1);
  EXPECT_EQ(taken(), Log{"c=1"});
  ASSERT_EQ(a->bindables.size(), 3u);
  EXPECT_FALSE(a->bindables[0].isAlive());

  bind(b, c);
  b.reset();  // also sweeps the dead entry
  ASSERT_EQ(a->bindables.size(), 1u);
  EXPECT_EQ(a->bindables[0].get(), c);
  ASSERT_EQ(c->bindables.size(), 1u);
  EXPECT_EQ(c->bindables[0].get(), a);
  a->setValue(2);
  EXPECT_EQ(taken(), Log{"c=2"});
}

TEST_F(BindableTest, ObserverThatSetsTheValueIsSeenByLaterObservers) {
  auto a = Bindable<int>::create(0);
  auto b = Bindable<int>::create(0);
  bind(a, b);
  b->observers.push_back([&](const int& value) {
    log.push_back("b1=" + std::to_string(value));
    if (value == 1) b->setValue(2);
  });
  watch(b, "b2");
  watch(a, "a");
  a->setValueAndNotify(1);
  // b's set reaches a while a is handing on: a stores 2 without telling anyone, and its own
  // notification later reads the new value.
  EXPECT_EQ(log, (Log{"b1=1", "b2=2", "a=2"}));
  EXPECT_EQ(a->value(), 2);
}

TEST_F(BindableTest, ObserverArgumentStaysTheValueItWasCalledWith) {
  auto s = Bindable<std::string>::create("");
  std::vector<std::string> seen;
  s->observers.push_back([&](const std::string& value) {
    seen.push_back(value);
    s->setValue("a much longer replacement value that needs its own allocation");
    seen.push_back(value);
  });
  s->observers.push_back([&](const std::string& value) { seen.push_back(value); });
  s->setValueAndNotify("first value, long enough to live on the heap");
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0], seen[1]);
  EXPECT_EQ(seen[2], s->value());
}

TEST_F(BindableTest, ObserversAddedDuringNotificationWaitForTheNextChange) {
  auto a = Bindable<int>::create(0);
  a->observers.push_back([&](const int&) {
    log.push_back("adder");
    watch(a, "added");
  });
  a->setValueAndNotify(1);
  EXPECT_EQ(taken(), Log{"adder"});
  a->setValueAndNotify(2);
  EXPECT_EQ(taken(), (Log{"adder", "added=2"}));
}

TEST_F(BindableTest, SurvivesBeingReleasedByAnObserverDuringItsOwnChange) {
  auto a = Bindable<int>::create(0);
  auto b = Bindable<int>::create(0);
  bind(a, b);
  std::weak_ptr<Bindable<int>> watchA = a;
  b->observers.push_back([&](const int&) { a.reset(); });
  Bindable<int>* raw = a.get();
  raw->setValueAndNotify(1);
  EXPECT_TRUE(watchA.expired());
  EXPECT_TRUE(b->bindables.empty());
}

}  // namespace
}  // namespace reelcraft
