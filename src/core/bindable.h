#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/weak_container.h"

namespace reelcraft {

template <class T>
class Bindable;

template <class T>
void bind(const std::shared_ptr<Bindable<T>>& a, const std::shared_ptr<Bindable<T>>& b);

// An observable value that can be linked to other Bindables of the same type (its peers).
//
// A plain `setValue` stores the value and hands it on through the links: every peer reachable
// through live links takes the value and calls its observers, the deepest first (once each as
// long as the links form no cycle longer than a bound pair); the Bindable that was set does
// not call its own observers. `setValueAndNotify` calls them as well, last. Peers are held
// weakly, so linked Bindables never keep each other alive; destroying one unlinks it.
//
// Not thread-safe: use from one thread (the main thread).
template <class T>
class Bindable : public std::enable_shared_from_this<Bindable<T>> {
 public:
  using Observer = std::function<void(const T&)>;

  static std::shared_ptr<Bindable> create(T initial) {
    return std::shared_ptr<Bindable>(new Bindable(std::move(initial)));
  }

  Bindable(const Bindable&) = delete;
  Bindable& operator=(const Bindable&) = delete;

  ~Bindable() {
    for (const auto& entry : bindables) {
      if (auto peer = entry.get()) peer->removeBindable(this);
    }
  }

  const T& value() const { return value_; }

  // Stores `v`, even when it equals the current value, and hands it on to the peers.
  void setValue(T v) {
    value_ = std::move(v);
    updateBindables();
  }

  // Calls the observers in the order they were added, each with the value as it is at that
  // moment. Does nothing while this Bindable is handing a value on to its peers.
  void notifyObservers() {
    if (alreadyUpdating_) return;
    const auto keepAlive = this->shared_from_this();
    // The list as it is now: observers added meanwhile wait for the next change.
    const std::vector<Observer> current = observers;
    for (const auto& observer : current) {
      // A copy, so that an observer that sets a new value does not change its own argument.
      const T argument = value_;
      observer(argument);
    }
  }

  void setValueAndNotify(T v) {
    const auto keepAlive = this->shared_from_this();
    setValue(std::move(v));
    notifyObservers();
  }

  // True while this Bindable is handing its value on to its peers.
  bool alreadyUpdating() const { return alreadyUpdating_; }

  // Drops `other` and every destroyed peer from `bindables`.
  void removeBindable(const Bindable* other) {
    std::erase_if(bindables, [other](const WeakContainer<Bindable>& entry) {
      const auto peer = entry.get();
      return peer == nullptr || peer.get() == other;
    });
  }

  // Called after every change, in the order added. Users append to it directly; an observer
  // stays as long as the Bindable does.
  std::vector<Observer> observers;
  // The linked peers, kept by `bind` and `removeBindable` in pairs. May hold destroyed peers
  // until some peer is destroyed, and the same peer more than once if bound more than once.
  std::vector<WeakContainer<Bindable>> bindables;

 private:
  friend void bind<T>(const std::shared_ptr<Bindable<T>>& a, const std::shared_ptr<Bindable<T>>& b);

  explicit Bindable(T initial) : value_(std::move(initial)) {}

  void updateBindables() {
    if (alreadyUpdating_) return;
    const auto keepAlive = this->shared_from_this();
    alreadyUpdating_ = true;
    struct ResetFlag {
      bool& flag;
      ~ResetFlag() { flag = false; }
    } reset{alreadyUpdating_};
    // The list as it is at this moment; dead entries are skipped but stay in place.
    const std::vector<WeakContainer<Bindable>> peers = bindables;
    for (const auto& entry : peers) {
      if (auto peer = entry.get()) {
        peer->setValue(value_);
        peer->notifyObservers();
      }
    }
  }

  T value_;
  bool alreadyUpdating_ = false;
};

// Links `a` and `b`: `b` silently takes `a`'s value (no observer is called) and from then on a
// change on either reaches the other. Binding a pair twice links it twice.
template <class T>
void bind(const std::shared_ptr<Bindable<T>>& a, const std::shared_ptr<Bindable<T>>& b) {
  b->value_ = a->value_;
  a->bindables.push_back(WeakContainer<Bindable<T>>{b});
  b->bindables.push_back(WeakContainer<Bindable<T>>{a});
}

namespace bindable_detail {
template <class P>
struct ValueTypeOf {};
template <class T>
struct ValueTypeOf<std::shared_ptr<Bindable<T>>> {
  using type = T;
};
template <class P>
using ValueType = typename ValueTypeOf<std::remove_cvref_t<P>>::type;

// `A` and `B` are shared pointers to Bindables of one value type, which is `T` unless `T` is
// void.
template <class T, class A, class B>
concept BindableArguments = std::same_as<ValueType<A>, ValueType<B>> &&
    (std::is_void_v<T> || std::same_as<T, ValueType<A>>);
}  // namespace bindable_detail

// An unqualified `bind(a, b)` also finds std::bind through the std::shared_ptr arguments, and
// std::bind matches non-const and temporary arguments (and `bind<T>(a, b)`) better than the
// overload above. This overload is more specialized than std::bind for all of them.
template <class T = void, class A, class B>
void bind(A&& a, B&& b) requires bindable_detail::BindableArguments<T, A, B> {
  using Pointer = std::shared_ptr<Bindable<bindable_detail::ValueType<A>>>;
  reelcraft::bind(static_cast<const Pointer&>(a), static_cast<const Pointer&>(b));
}

}  // namespace reelcraft
