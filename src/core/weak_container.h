#pragma once

#include <memory>

namespace reelcraft {

// A weak reference kept as a value, for lists that must not keep their elements alive.
template <class T>
struct WeakContainer {
  std::weak_ptr<T> item;

  // The referenced object, or null once it has been destroyed.
  std::shared_ptr<T> get() const { return item.lock(); }
  bool isAlive() const { return !item.expired(); }
};

}  // namespace reelcraft
