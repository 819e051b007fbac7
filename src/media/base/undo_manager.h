#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "media/base/action_target.h"

namespace reelcraft {

// Identifies one state of the content an undo manager tracks. A document remembers the token
// of the state it saved and later asks `UndoManager::isAtState` whether it is back there.
// A default-constructed token names the state the manager started in.
class ChangeToken {
 public:
  ChangeToken() = default;
  bool operator==(const ChangeToken&) const = default;

 private:
  friend class UndoManager;
  explicit ChangeToken(uint64_t id) : id_(id) {}
  uint64_t id_ = 0;
};

// Records how to undo changes as groups of target/action calls, and replays them.
//
// Each registration names a target (held weakly: if it is gone by the time the entry is
// replayed, that entry does nothing), a selector and an argument. Registrations made while
// undoing are recorded as the redo of that undo, registrations made while redoing as the new
// undo; any other registration goes on the undo stack and clears the redo stack. The inverse
// recorded during an undo or redo inherits the replayed group's action name.
//
// Outside an explicit group (`beginUndoGrouping`/`endUndoGrouping`, which nest) every
// registration is a group of its own. A group undoes its registrations in reverse order;
// groups with no registration are dropped.
//
// Not thread-safe: use from the main thread only.
class UndoManager {
 public:
  using ObserverId = uint64_t;

  UndoManager() = default;
  UndoManager(const UndoManager&) = delete;
  UndoManager& operator=(const UndoManager&) = delete;

  // Records that undoing calls `target->perform(selector, object)`.
  void registerUndo(std::weak_ptr<ActionTarget> target, std::string selector, std::any object);

  // Names the group being recorded: the open explicit group; during an undo or redo, the
  // inverse being recorded; otherwise the group of the next registration or explicit group.
  void setActionName(std::string name);

  void beginUndoGrouping();
  // Closes the innermost group; closing the outermost one records it. Calling it with no
  // group open is a programming error and throws std::logic_error.
  void endUndoGrouping();
  int groupingLevel() const { return groupingLevel_; }

  // Replays the top group of the undo (redo) stack. Does nothing and returns false while
  // already undoing or redoing, while an explicit group is open, or when the stack is empty.
  // An exception from an action ends the replay (the group is not put back) and propagates.
  bool undo();
  bool redo();
  bool canUndo() const;
  bool canRedo() const;
  bool isUndoing() const { return undoing_; }
  bool isRedoing() const { return redoing_; }

  // The name of the group that undo (redo) would replay; empty when there is none.
  std::string undoActionName() const;
  std::string redoActionName() const;
  // "Undo Trim", or "Undo" when the action has no name; likewise "Redo Trim"/"Redo".
  std::string undoMenuItemTitle() const;
  std::string redoMenuItemTitle() const;

  void removeAllActions();
  // Drops every registration whose target is `target`, and the groups left empty.
  void removeAllActionsWithTarget(const ActionTarget* target);

  // The most groups each stack keeps; the oldest go first. 0, the default, means no limit.
  void setLevelsOfUndo(size_t levels);
  size_t levelsOfUndo() const { return levelsOfUndo_; }

  // Goes up by one for every recorded group and every redo, down by one for every undo.
  int64_t changeCount() const { return changeCount_; }
  // The state the content is in now. Undo and redo return to earlier states; a new group
  // always leads to a state never seen before, so undoing to a saved state and then making a
  // different change does not read as the saved state.
  ChangeToken currentState() const { return ChangeToken(currentState_); }
  bool isAtState(ChangeToken token) const { return token.id_ == currentState_; }

  // `observer` is called after a group has been recorded, after every undo and redo and after
  // actions have been removed, so that menus and the edited state can be refreshed.
  ObserverId addChangeObserver(std::function<void()> observer);
  void removeChangeObserver(ObserverId id);

 private:
  struct Action {
    std::weak_ptr<ActionTarget> target;
    const ActionTarget* identity = nullptr;
    std::string selector;
    std::any object;
  };
  struct Group {
    std::vector<Action> actions;
    std::string actionName;
    // The content's state once this group has been replayed.
    uint64_t stateAfterReplay = 0;
  };
  enum class Direction { Undo, Redo };

  bool replay(Direction direction);
  void record(Group group);
  void trimToLevels(std::vector<Group>& stack) const;
  bool removeActionsWithTarget(std::vector<Group>& stack, const ActionTarget* target);
  void notifyChange();

  std::vector<Group> undoStack_;  // most recent last
  std::vector<Group> redoStack_;  // most recent last
  Group openGroup_;               // the explicit group being recorded
  Group* inverse_ = nullptr;      // the inverse being recorded while undoing or redoing
  std::string pendingActionName_;
  int groupingLevel_ = 0;
  bool undoing_ = false;
  bool redoing_ = false;
  size_t levelsOfUndo_ = 0;

  int64_t changeCount_ = 0;
  uint64_t currentState_ = 0;
  uint64_t lastState_ = 0;

  std::vector<std::pair<ObserverId, std::shared_ptr<std::function<void()>>>> changeObservers_;
  ObserverId lastObserverId_ = 0;
};

}  // namespace reelcraft
