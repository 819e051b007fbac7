#include "media/base/notification_center.h"

#include <algorithm>

namespace reelcraft {

NotificationCenter& NotificationCenter::defaultCenter() {
  static NotificationCenter center;
  return center;
}

void NotificationCenter::addObserver(std::weak_ptr<ActionTarget> observer, std::string selector,
                                     std::string name, const void* object) {
  auto registration = std::make_shared<Registration>();
  registration->identity = observer.lock().get();
  if (registration->identity == nullptr) return;  // already gone: it could never be called
  registration->observer = std::move(observer);
  registration->selector = std::move(selector);
  registration->name = std::move(name);
  registration->object = object;
  std::lock_guard lock(mutex_);
  registrations_.push_back(std::move(registration));
}

template <class Predicate>
void NotificationCenter::removeWhere(Predicate shouldRemove) {
  std::lock_guard lock(mutex_);
  std::erase_if(registrations_, [&](const std::shared_ptr<Registration>& registration) {
    if (registration->observer.expired() || shouldRemove(*registration)) {
      registration->active = false;
      return true;
    }
    return false;
  });
}

void NotificationCenter::removeObserver(const ActionTarget* observer) {
  removeWhere([observer](const Registration& r) { return r.identity == observer; });
}

void NotificationCenter::removeObserver(const ActionTarget* observer, const std::string& name,
                                        const void* object) {
  removeWhere([&](const Registration& r) {
    return r.identity == observer && (name.empty() || r.name == name) &&
           (object == nullptr || r.object == object);
  });
}

void NotificationCenter::post(const Notification& notification) {
  std::vector<std::shared_ptr<Registration>> recipients;
  {
    std::lock_guard lock(mutex_);
    std::erase_if(registrations_, [](const std::shared_ptr<Registration>& registration) {
      if (!registration->observer.expired()) return false;
      registration->active = false;
      return true;
    });
    for (const auto& registration : registrations_) {
      if (!registration->name.empty() && registration->name != notification.name) continue;
      if (registration->object != nullptr && registration->object != notification.object) {
        continue;
      }
      recipients.push_back(registration);
    }
  }
  if (recipients.empty()) return;

  const std::any argument(notification);
  for (const auto& registration : recipients) {
    if (!registration->active) continue;
    // Held strongly for the call, so an observer that lets go of itself survives its own
    // delivery.
    if (auto observer = registration->observer.lock()) {
      observer->perform(registration->selector, argument);
    }
  }
}

void NotificationCenter::post(std::string name, const void* object, std::any userInfo) {
  post(Notification{std::move(name), object, std::move(userInfo)});
}

size_t NotificationCenter::observerCount() const {
  std::lock_guard lock(mutex_);
  return std::count_if(registrations_.begin(), registrations_.end(),
                       [](const auto& registration) { return !registration->observer.expired(); });
}

}  // namespace reelcraft
