#include "core/notification_observer.h"

#include "media/base/notification_center.h"

namespace reelcraft {

NotificationObserver::NotificationObserver() : observer(std::make_shared<TargetActionBridge>()) {}

std::shared_ptr<NotificationObserver> NotificationObserver::create() {
  std::shared_ptr<NotificationObserver> created(new NotificationObserver());
  created->observer->closure1 = [weakSelf = std::weak_ptr(created)](const std::any& argument) {
    const auto self = weakSelf.lock();
    if (!self || !self->closure) return;
    // Called through a copy: a one-shot closure clears `closure` (and perhaps the last
    // reference to this observer) while it runs.
    const auto closure = self->closure;
    closure(argument);
  };
  return created;
}

NotificationObserver::~NotificationObserver() {
  NotificationCenter::defaultCenter().removeObserver(observer.get());
}

void NotificationObserver::startObserving(std::string name, const void* object) {
  auto& center = NotificationCenter::defaultCenter();
  if (hasBeenAddedAsObserver_) center.removeObserver(observer.get());
  center.addObserver(observer, std::string(TargetActionBridge::kAction1), std::move(name), object);
  hasBeenAddedAsObserver_ = true;
}

void NotificationObserver::stopObserving() {
  closure = nullptr;
  if (!hasBeenAddedAsObserver_) return;
  NotificationCenter::defaultCenter().removeObserver(observer.get());
  hasBeenAddedAsObserver_ = false;
}

}  // namespace reelcraft
