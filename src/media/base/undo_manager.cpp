#include "media/base/undo_manager.h"

#include <algorithm>
#include <stdexcept>

namespace reelcraft {

void UndoManager::registerUndo(std::weak_ptr<ActionTarget> target, std::string selector,
                               std::any object) {
  Action action;
  action.identity = target.lock().get();
  action.target = std::move(target);
  action.selector = std::move(selector);
  action.object = std::move(object);

  if (inverse_ != nullptr) {
    inverse_->actions.push_back(std::move(action));
  } else if (groupingLevel_ > 0) {
    openGroup_.actions.push_back(std::move(action));
  } else {
    Group group;
    group.actionName = std::exchange(pendingActionName_, {});
    group.actions.push_back(std::move(action));
    record(std::move(group));
  }
}

void UndoManager::setActionName(std::string name) {
  if (inverse_ != nullptr) {
    inverse_->actionName = std::move(name);
  } else if (groupingLevel_ > 0) {
    openGroup_.actionName = std::move(name);
  } else {
    pendingActionName_ = std::move(name);
  }
}

void UndoManager::beginUndoGrouping() {
  if (groupingLevel_++ > 0 || inverse_ != nullptr) return;
  openGroup_ = Group{};
  openGroup_.actionName = std::exchange(pendingActionName_, {});
}

void UndoManager::endUndoGrouping() {
  if (groupingLevel_ == 0) throw std::logic_error("endUndoGrouping without beginUndoGrouping");
  if (--groupingLevel_ > 0 || inverse_ != nullptr) return;
  record(std::exchange(openGroup_, Group{}));
}

void UndoManager::record(Group group) {
  if (group.actions.empty()) return;
  redoStack_.clear();
  group.stateAfterReplay = currentState_;
  currentState_ = ++lastState_;
  ++changeCount_;
  undoStack_.push_back(std::move(group));
  trimToLevels(undoStack_);
  notifyChange();
}

bool UndoManager::undo() {
  return replay(Direction::Undo);
}
bool UndoManager::redo() {
  return replay(Direction::Redo);
}

bool UndoManager::replay(Direction direction) {
  auto& from = direction == Direction::Undo ? undoStack_ : redoStack_;
  if (undoing_ || redoing_ || groupingLevel_ > 0 || from.empty()) return false;

  // Taken off the stack first: the actions may register, remove or replay anything.
  Group group = std::move(from.back());
  from.pop_back();
  pendingActionName_.clear();

  Group inverse;
  inverse.actionName = group.actionName;
  inverse.stateAfterReplay = currentState_;
  currentState_ = group.stateAfterReplay;
  changeCount_ += direction == Direction::Undo ? -1 : 1;

  bool& flag = direction == Direction::Undo ? undoing_ : redoing_;
  flag = true;
  inverse_ = &inverse;
  auto finish = [&] {
    flag = false;
    inverse_ = nullptr;
    groupingLevel_ = 0;  // a group an action left open ends with the replay
    if (!inverse.actions.empty()) {
      auto& to = direction == Direction::Undo ? redoStack_ : undoStack_;
      to.push_back(std::move(inverse));
      trimToLevels(to);
    }
  };
  try {
    for (auto action = group.actions.rbegin(); action != group.actions.rend(); ++action) {
      if (auto target = action->target.lock()) target->perform(action->selector, action->object);
    }
  } catch (...) {
    finish();
    notifyChange();
    throw;
  }
  finish();
  notifyChange();
  return true;
}

bool UndoManager::canUndo() const {
  return !undoing_ && !redoing_ && groupingLevel_ == 0 && !undoStack_.empty();
}

bool UndoManager::canRedo() const {
  return !undoing_ && !redoing_ && groupingLevel_ == 0 && !redoStack_.empty();
}

std::string UndoManager::undoActionName() const {
  return undoStack_.empty() ? std::string() : undoStack_.back().actionName;
}

std::string UndoManager::redoActionName() const {
  return redoStack_.empty() ? std::string() : redoStack_.back().actionName;
}

namespace {
std::string menuItemTitle(const char* verb, const std::string& actionName) {
  return actionName.empty() ? std::string(verb) : std::string(verb) + " " + actionName;
}
}  // namespace

std::string UndoManager::undoMenuItemTitle() const {
  return menuItemTitle("Undo", undoActionName());
}

std::string UndoManager::redoMenuItemTitle() const {
  return menuItemTitle("Redo", redoActionName());
}

void UndoManager::removeAllActions() {
  undoStack_.clear();
  redoStack_.clear();
  openGroup_.actions.clear();
  if (inverse_ != nullptr) inverse_->actions.clear();
  pendingActionName_.clear();
  notifyChange();
}

bool UndoManager::removeActionsWithTarget(std::vector<Group>& stack, const ActionTarget* target) {
  // Replaying a group below a removed action no longer leads back to the state it was
  // recorded for, so those groups get states of their own that nothing else can match.
  bool removedAny = false;
  for (auto group = stack.rbegin(); group != stack.rend(); ++group) {
    removedAny |= std::erase_if(group->actions, [target](const Action& action) {
                    return action.identity == target;
                  }) > 0;
    if (removedAny) group->stateAfterReplay = ++lastState_;
  }
  std::erase_if(stack, [](const Group& group) { return group.actions.empty(); });
  return removedAny;
}

void UndoManager::removeAllActionsWithTarget(const ActionTarget* target) {
  bool removedAny = removeActionsWithTarget(undoStack_, target);
  removedAny |= removeActionsWithTarget(redoStack_, target);
  auto hasTarget = [target](const Action& action) { return action.identity == target; };
  std::erase_if(openGroup_.actions, hasTarget);
  if (inverse_ != nullptr) std::erase_if(inverse_->actions, hasTarget);
  if (removedAny) notifyChange();
}

void UndoManager::setLevelsOfUndo(size_t levels) {
  levelsOfUndo_ = levels;
  trimToLevels(undoStack_);
  trimToLevels(redoStack_);
}

void UndoManager::trimToLevels(std::vector<Group>& stack) const {
  if (levelsOfUndo_ == 0 || stack.size() <= levelsOfUndo_) return;
  stack.erase(stack.begin(), stack.end() - static_cast<std::ptrdiff_t>(levelsOfUndo_));
}

UndoManager::ObserverId UndoManager::addChangeObserver(std::function<void()> observer) {
  const ObserverId id = ++lastObserverId_;
  changeObservers_.emplace_back(id, std::make_shared<std::function<void()>>(std::move(observer)));
  return id;
}

void UndoManager::removeChangeObserver(ObserverId id) {
  std::erase_if(changeObservers_, [id](const auto& entry) { return entry.first == id; });
}

void UndoManager::notifyChange() {
  // Observers may add or remove observers; one removed during this round is not called.
  const auto observers = changeObservers_;
  for (const auto& [id, observer] : observers) {
    const bool stillRegistered =
        std::any_of(changeObservers_.begin(), changeObservers_.end(),
                    [id = id](const auto& entry) { return entry.first == id; });
    if (stillRegistered && *observer) (*observer)();
  }
}

}  // namespace reelcraft
