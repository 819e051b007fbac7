#pragma once

#include <any>
#include <functional>
#include <memory>
#include <string>

#include "core/target_action_bridge.h"

namespace reelcraft {

// Receives one kind of notification from the default notification centre and hands each to
// `closure`. At most one registration is active at a time. Destroying the observer always
// unregisters it.
//
// For a one-shot wait, create it, call `startObserving`, then set `closure` to run the
// continuation followed by `stopObserving()`; the closure may hold the observer strongly, since
// `stopObserving` releases the closure and with it that reference.
class NotificationObserver : public std::enable_shared_from_this<NotificationObserver> {
 public:
  static std::shared_ptr<NotificationObserver> create();
  ~NotificationObserver();

  NotificationObserver(const NotificationObserver&) = delete;
  NotificationObserver& operator=(const NotificationObserver&) = delete;

  // The object registered with the notification centre; its action forwards to `closure`
  // while this observer exists.
  const std::shared_ptr<TargetActionBridge> observer;
  // What a received notification (a `Notification` in the std::any) is handed to.
  std::function<void(const std::any&)> closure;

  bool hasBeenAddedAsObserver() const { return hasBeenAddedAsObserver_; }

  // Registers for notifications called `name` from `object` (null: any sender), replacing an
  // earlier registration.
  void startObserving(std::string name, const void* object = nullptr);
  // Releases `closure` and unregisters.
  void stopObserving();

 private:
  NotificationObserver();

  bool hasBeenAddedAsObserver_ = false;
};

}  // namespace reelcraft
