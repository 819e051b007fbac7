#pragma once

#include <any>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "media/base/action_target.h"

namespace reelcraft {

// A named event. `object` identifies the sender (compared by address only, never
// dereferenced); `userInfo` carries whatever the sender wants to attach.
struct Notification {
  std::string name;
  const void* object = nullptr;
  std::any userInfo;
};

// Delivers notifications to registered observers by calling
// `observer->perform(selector, std::any(notification))`.
//
// Delivery is synchronous, on the thread that posts, in registration order. Observers are
// held weakly: a destroyed observer is skipped and its registrations are pruned. Observers may
// add or remove registrations (their own or others') while a notification is being delivered:
// registrations added during a post do not receive that notification, registrations removed
// during a post receive nothing more, not even the rest of that post.
//
// Meant for the main thread; the registry is guarded by a mutex so that a post from another
// thread cannot corrupt it, but such a post still delivers on that other thread.
class NotificationCenter {
 public:
  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // The process-wide centre.
  static NotificationCenter& defaultCenter();

  // Registers `observer` for notifications called `name` (empty: any name) sent by `object`
  // (null: any sender). Registering the same observer twice gives two deliveries per post.
  void addObserver(std::weak_ptr<ActionTarget> observer, std::string selector, std::string name,
                   const void* object = nullptr);

  // Removes every registration of `observer`.
  void removeObserver(const ActionTarget* observer);
  // Removes the registrations of `observer` that match `name` and `object`; an empty name
  // matches every name and a null object every sender.
  void removeObserver(const ActionTarget* observer, const std::string& name,
                      const void* object = nullptr);

  void post(const Notification& notification);
  void post(std::string name, const void* object = nullptr, std::any userInfo = {});

  // The number of live registrations; for diagnostics and tests.
  size_t observerCount() const;

 private:
  struct Registration {
    std::weak_ptr<ActionTarget> observer;
    const ActionTarget* identity = nullptr;
    std::string selector;
    std::string name;
    const void* object = nullptr;
    // Cleared on removal, so that a post already under way skips it.
    std::atomic<bool> active{true};
  };

  template <class Predicate>
  void removeWhere(Predicate shouldRemove);

  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<Registration>> registrations_;
};

}  // namespace reelcraft
