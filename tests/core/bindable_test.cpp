#include "core/bindable.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace reelcraft {
namespace {

using Log = std::vector<std::string>;

// Adds an observer that logs "<label>=<value>".
template <class T>
void watch(const std::shared_ptr<Bindable<T>>& bindable, Log& log, const std::string& label) {
  bindable->observers.push_back(
      [&log, label](const T& value) { log.push_back(label + "=" + std::to_string(value)); });
}

TEST(BindableTest, PlainSetStoresWithoutCallingOwnObservers) {
  auto a = Bindable<int>::create(1);
  EXPECT_EQ(a->value(), 1);
  EXPECT_FALSE(a->alreadyUpdating());
  a->setValue(2);
  EXPECT_EQ(a->value(), 2);

  Log log;
  watch(a, log, "a");
  a->setValue(3);
  EXPECT_TRUE(log.empty());
  a->notifyObservers();
  EXPECT_EQ(log, Log{"a=3"});
}

TEST(BindableTest, SetAndNotifyWithTheSameValueNotifiesEveryTime) {
  auto a = Bindable<int>::create(0);
  auto b = Bindable<int>::create(0);
  bind(a, b);
  Log log;
  watch(a, log, "a1");
  watch(a, log, "a2");
  watch(b, log, "b");
  a->setValueAndNotify(4);
  a->setValueAndNotify(4);
  EXPECT_EQ(log, (Log{"b=4", "a1=4", "a2=4", "b=4", "a1=4", "a2=4"}));
}

TEST(BindableTest, ChainNotifiesDeepestFirstAndTheSetMemberLast) {
  auto a = Bindable<int>::create(0);
  auto b = Bindable<int>::create(0);
  auto m = Bindable<int>::create(0);
  bind(a, b);
  bind(b, m);
  Log log;
  watch(a, log, "a");
  watch(b, log, "b");
  watch(m, log, "m");

  a->setValueAndNotify(5);
  EXPECT_EQ(log, (Log{"m=5", "b=5", "a=5"}));
  EXPECT_EQ(m->value(), 5);

  log.clear();
  a->setValue(6);
  EXPECT_EQ(log, (Log{"m=6", "b=6"}));

  log.clear();
  m->setValue(7);  // the other way along the chain
  EXPECT_EQ(log, (Log{"a=7", "b=7"}));
  EXPECT_FALSE(a->alreadyUpdating());
  EXPECT_FALSE(b->alreadyUpdating());
}

TEST(BindableTest, BindCopiesTheValueSilently) {
  auto a = Bindable<int>::create(3);
  auto b = Bindable<int>::create(5);
  Log log;
  watch(a, log, "a");
  watch(b, log, "b");
  bind(a, b);
  EXPECT_EQ(a->value(), 3);
  EXPECT_EQ(b->value(), 3);
  EXPECT_TRUE(log.empty());
  ASSERT_EQ(a->bindables.size(), 1u);
  EXPECT_EQ(a->bindables[0].get(), b);
  EXPECT_EQ(b->bindables[0].get(), a);

  b->setValue(7);
  EXPECT_EQ(a->value(), 7);
  EXPECT_EQ(log, Log{"a=7"});
}

TEST(BindableTest, BindLinksWhateverKindOfPointerItIsGiven) {
  // std::bind is a candidate for every unqualified call with std::shared_ptr arguments.
  const auto constant = Bindable<int>::create(1);
  auto target = Bindable<int>::create(0);
  bind(constant, target);
  bind<int>(target, Bindable<int>::create(2));
  bind(Bindable<int>::create(3), std::move(target));
  EXPECT_EQ(constant->bindables.size(), 1u);
  EXPECT_EQ(constant->value(), 1);
}

TEST(BindableTest, CyclesEnd) {
  auto a = Bindable<int>::create(0);
  auto b = Bindable<int>::create(0);
  auto c = Bindable<int>::create(0);
  bind(a, b);
  bind(b, c);
  bind(c, a);
  bind(a, b);  // a second link between the same pair
  Log log;
  watch(a, log, "a");
  watch(b, log, "b");
  watch(c, log, "c");

  a->setValue(9);
  EXPECT_EQ(b->value(), 9);
  EXPECT_EQ(c->value(), 9);
  EXPECT_EQ(std::count(log.begin(), log.end(), "a=9"), 0);
  EXPECT_GE(std::count(log.begin(), log.end(), "b=9"), 1);
  EXPECT_GE(std::count(log.begin(), log.end(), "c=9"), 1);
  EXPECT_EQ(a->bindables.size(), 3u);
}

TEST(BindableTest, DestroyedPeerIsUnlinked) {
  auto a = Bindable<int>::create(0);
  auto c = Bindable<int>::create(0);
  auto b = Bindable<int>::create(0);
  bind(a, b);
  bind(a, c);
  bind(b, c);
  b.reset();
  ASSERT_EQ(a->bindables.size(), 1u);
  EXPECT_EQ(a->bindables[0].get(), c);
  ASSERT_EQ(c->bindables.size(), 1u);
  EXPECT_EQ(c->bindables[0].get(), a);

  Log log;
  watch(c, log, "c");
  a->setValue(2);
  EXPECT_EQ(log, Log{"c=2"});
}

TEST(BindableTest, DeadEntriesAreSkippedAndStayUntilAPeerIsDestroyed) {
  auto a = Bindable<int>::create(0);
  auto live = Bindable<int>::create(0);
  {
    // A one-sided entry: the departing Bindable does not know `a`, so it cannot unlink itself.
    auto gone = Bindable<int>::create(0);
    a->bindables.push_back(WeakContainer<Bindable<int>>{gone});
  }
  bind(a, live);
  Log log;
  watch(live, log, "live");
  a->setValue(1);
  EXPECT_EQ(log, Log{"live=1"});
  ASSERT_EQ(a->bindables.size(), 2u);
  EXPECT_FALSE(a->bindables[0].isAlive());

  auto other = Bindable<int>::create(0);
  bind(a, other);
  other.reset();
  ASSERT_EQ(a->bindables.size(), 1u);
  EXPECT_EQ(a->bindables[0].get(), live);
}

TEST(BindableTest, ObserverThatSetsTheValueIsSeenByLaterObservers) {
  auto a = Bindable<int>::create(0);
  auto b = Bindable<int>::create(0);
  bind(a, b);
  Log log;
  b->observers.push_back([&](const int& value) {
    log.push_back("b1=" + std::to_string(value));
    if (value == 1) b->setValue(2);
  });
  watch(b, log, "b2");
  watch(a, log, "a");

  a->setValueAndNotify(1);
  // b's set reaches a while a is handing on: a stores 2 without telling anyone, and its own
  // notification later reads the new value.
  EXPECT_EQ(log, (Log{"b1=1", "b2=2", "a=2"}));
  EXPECT_EQ(a->value(), 2);
  EXPECT_EQ(b->value(), 2);
}

TEST(BindableTest, ObserverArgumentStaysTheValueItWasCalledWith) {
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

TEST(BindableTest, ObserversAddedDuringNotificationWaitForTheNextChange) {
  auto a = Bindable<int>::create(0);
  Log log;
  a->observers.push_back([&](const int&) {
    log.push_back("adder");
    watch(a, log, "added");
  });
  a->setValueAndNotify(1);
  EXPECT_EQ(log, Log{"adder"});
  log.clear();
  a->setValueAndNotify(2);
  EXPECT_EQ(log, (Log{"adder", "added=2"}));
}

TEST(BindableTest, SurvivesBeingReleasedByAnObserverDuringItsOwnChange) {
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
