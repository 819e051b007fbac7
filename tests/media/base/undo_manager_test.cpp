#include "media/base/undo_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace reelcraft {
namespace {

// A value edited with snapshot undo: an edit registers the value it replaces, and restoring a
// value registers the one it replaces in turn, so undo and redo are the same step.
class SnapshotModel : public ActionTarget, public std::enable_shared_from_this<SnapshotModel> {
 public:
  explicit SnapshotModel(std::shared_ptr<UndoManager> undoManager)
      : undoManager_(std::move(undoManager)) {}

  void edit(int newValue, const std::string& actionName) {
    undoManager_->setActionName(actionName);
    undoManager_->registerUndo(weak_from_this(), "restore:", value);
    value = newValue;
  }

  void perform(std::string_view selector, const std::any& argument) override {
    if (selector != "restore:") std::abort();
    undoManager_->registerUndo(weak_from_this(), "restore:", value);
    value = std::any_cast<int>(argument);
  }

  int value = 0;

 private:
  std::shared_ptr<UndoManager> undoManager_;
};

// Appends each undo argument to a shared log.
class LoggingTarget : public ActionTarget {
 public:
  explicit LoggingTarget(std::vector<std::string>& log) : log_(log) {}
  void perform(std::string_view selector, const std::any& argument) override {
    log_.push_back(std::string(selector) + std::any_cast<std::string>(argument));
  }

 private:
  std::vector<std::string>& log_;
};

class UndoManagerTest : public ::testing::Test {
 protected:
  std::shared_ptr<UndoManager> undo = std::make_shared<UndoManager>();
  std::shared_ptr<SnapshotModel> model = std::make_shared<SnapshotModel>(undo);
};

TEST_F(UndoManagerTest, SnapshotRestoreSwapsBetweenUndoAndRedo) {
  EXPECT_FALSE(undo->canUndo());
  EXPECT_EQ(undo->undoMenuItemTitle(), "Undo");
  EXPECT_EQ(undo->redoMenuItemTitle(), "Redo");

  model->edit(1, "Insert");
  model->edit(2, "Trim");
  EXPECT_EQ(undo->undoMenuItemTitle(), "Undo Trim");
  EXPECT_FALSE(undo->canRedo());

  EXPECT_TRUE(undo->undo());
  EXPECT_EQ(model->value, 1);
  EXPECT_EQ(undo->undoMenuItemTitle(), "Undo Insert");
  EXPECT_EQ(undo->redoMenuItemTitle(), "Redo Trim");

  EXPECT_TRUE(undo->undo());
  EXPECT_EQ(model->value, 0);
  EXPECT_FALSE(undo->canUndo());
  EXPECT_FALSE(undo->undo());
  EXPECT_EQ(undo->redoActionName(), "Insert");

  EXPECT_TRUE(undo->redo());
  EXPECT_TRUE(undo->redo());
  EXPECT_EQ(model->value, 2);
  EXPECT_FALSE(undo->redo());
  EXPECT_EQ(undo->undoActionName(), "Trim");

  // The names survive any number of round trips.
  EXPECT_TRUE(undo->undo());
  EXPECT_TRUE(undo->redo());
  EXPECT_TRUE(undo->undo());
  EXPECT_EQ(model->value, 1);
  EXPECT_EQ(undo->undoMenuItemTitle(), "Undo Insert");
  EXPECT_EQ(undo->redoMenuItemTitle(), "Redo Trim");
}

TEST_F(UndoManagerTest, NewEditClearsRedo) {
  model->edit(1, "Rotate");
  model->edit(2, "Rotate");
  undo->undo();
  ASSERT_TRUE(undo->canRedo());
  model->edit(5, "Delete");
  EXPECT_FALSE(undo->canRedo());
  EXPECT_EQ(undo->redoMenuItemTitle(), "Redo");
  undo->undo();
  undo->undo();
  EXPECT_EQ(model->value, 0);
}

TEST_F(UndoManagerTest, ReportsStateDuringReplayAndRefusesNestedReplay) {
  std::vector<std::string> seen;
  struct Probe : ActionTarget {
    UndoManager* manager = nullptr;
    std::vector<std::string>* seen = nullptr;
    void perform(std::string_view, const std::any&) override {
      seen->push_back(std::string(manager->isUndoing() ? "undoing" : "") +
                      (manager->isRedoing() ? "redoing" : "") +
                      (manager->undo() || manager->redo() ? " replayed" : "") +
                      (manager->canUndo() || manager->canRedo() ? " can" : ""));
      manager->registerUndo(weak_this, "probe:", {});
    }
    std::weak_ptr<ActionTarget> weak_this;
  };
  auto probe = std::make_shared<Probe>();
  probe->manager = undo.get();
  probe->seen = &seen;
  probe->weak_this = probe;

  undo->registerUndo(probe, "probe:", {});
  model->edit(1, "Trim");
  undo->undo();  // the model's edit
  undo->undo();  // the probe
  undo->redo();
  EXPECT_EQ(seen, (std::vector<std::string>{"undoing", "redoing"}));
  EXPECT_FALSE(undo->isUndoing());
  EXPECT_FALSE(undo->isRedoing());
}

TEST_F(UndoManagerTest, GroupsUndoInReverseOrderAndNest) {
  std::vector<std::string> log;
  auto target = std::make_shared<LoggingTarget>(log);
  undo->beginUndoGrouping();
  undo->registerUndo(target, "u:", std::string("1"));
  undo->beginUndoGrouping();
  undo->registerUndo(target, "u:", std::string("2"));
  undo->endUndoGrouping();
  undo->setActionName("Paste");
  undo->registerUndo(target, "u:", std::string("3"));
  EXPECT_FALSE(undo->canUndo());  // still open
  undo->endUndoGrouping();

  EXPECT_EQ(undo->undoMenuItemTitle(), "Undo Paste");
  EXPECT_EQ(undo->changeCount(), 1);
  EXPECT_TRUE(undo->undo());
  EXPECT_EQ(log, (std::vector<std::string>{"u:3", "u:2", "u:1"}));
  EXPECT_FALSE(undo->canUndo());
  // LoggingTarget registers no inverse, so there is nothing to redo.
  EXPECT_FALSE(undo->canRedo());
}

TEST_F(UndoManagerTest, EmptyGroupsAreDroppedAndUnbalancedEndThrows) {
  model->edit(1, "Trim");
  undo->undo();
  undo->beginUndoGrouping();
  undo->setActionName("Nothing");
  undo->endUndoGrouping();
  EXPECT_FALSE(undo->canUndo());
  EXPECT_TRUE(undo->canRedo());  // an empty group is no new edit
  EXPECT_EQ(undo->changeCount(), 0);
  EXPECT_THROW(undo->endUndoGrouping(), std::logic_error);
}

TEST_F(UndoManagerTest, ReplayWhileAGroupIsOpenDoesNothing) {
  model->edit(1, "Trim");
  undo->beginUndoGrouping();
  EXPECT_FALSE(undo->undo());
  EXPECT_EQ(model->value, 1);
  undo->endUndoGrouping();
  EXPECT_TRUE(undo->undo());
}

TEST_F(UndoManagerTest, DeadTargetsDoNothing) {
  std::vector<std::string> log;
  auto alive = std::make_shared<LoggingTarget>(log);
  auto dead = std::make_shared<LoggingTarget>(log);
  undo->beginUndoGrouping();
  undo->registerUndo(alive, "u:", std::string("alive"));
  undo->registerUndo(dead, "u:", std::string("dead"));
  undo->endUndoGrouping();
  dead.reset();
  EXPECT_TRUE(undo->undo());
  EXPECT_EQ(log, std::vector<std::string>{"u:alive"});

  model->edit(3, "Trim");
  model.reset();
  EXPECT_TRUE(undo->undo());  // its target is gone: nothing happens, nothing to redo
  EXPECT_FALSE(undo->canRedo());
}

TEST_F(UndoManagerTest, RemovesActionsByTargetOrAll) {
  std::vector<std::string> log;
  auto other = std::make_shared<LoggingTarget>(log);
  model->edit(1, "Trim");
  undo->setActionName("Log");
  undo->registerUndo(other, "u:", std::string("x"));
  model->edit(2, "Rotate");

  undo->removeAllActionsWithTarget(model.get());
  EXPECT_EQ(undo->undoActionName(), "Log");
  EXPECT_TRUE(undo->undo());
  EXPECT_FALSE(undo->canUndo());
  EXPECT_EQ(model->value, 2);

  model->edit(3, "Trim");
  undo->undo();
  undo->removeAllActions();
  EXPECT_FALSE(undo->canUndo());
  EXPECT_FALSE(undo->canRedo());
}

TEST_F(UndoManagerTest, KeepsOnlyTheNewestLevels) {
  undo->setLevelsOfUndo(2);
  for (int v = 1; v <= 4; ++v) model->edit(v, "Edit " + std::to_string(v));
  EXPECT_TRUE(undo->undo());
  EXPECT_TRUE(undo->undo());
  EXPECT_FALSE(undo->undo());
  EXPECT_EQ(model->value, 2);
  EXPECT_EQ(undo->redoActionName(), "Edit 3");

  model->edit(9, "More");
  for (int v = 10; v <= 12; ++v) model->edit(v, "More");
  undo->setLevelsOfUndo(1);
  EXPECT_TRUE(undo->undo());
  EXPECT_FALSE(undo->undo());
  EXPECT_EQ(model->value, 11);
}

TEST_F(UndoManagerTest, TracksChangesAndTheSavedState) {
  int notified = 0;
  const auto id = undo->addChangeObserver([&] { ++notified; });
  const ChangeToken initial = undo->currentState();
  EXPECT_EQ(initial, ChangeToken());

  model->edit(1, "Trim");
  const ChangeToken saved = undo->currentState();
  model->edit(2, "Trim");
  EXPECT_EQ(undo->changeCount(), 2);
  EXPECT_FALSE(undo->isAtState(saved));

  undo->undo();  // back to the saved state
  EXPECT_TRUE(undo->isAtState(saved));
  EXPECT_EQ(undo->changeCount(), 1);
  undo->undo();
  EXPECT_TRUE(undo->isAtState(initial));
  undo->redo();
  EXPECT_TRUE(undo->isAtState(saved));

  model->edit(5, "Delete");  // a different edit from the saved state, then undo it
  EXPECT_FALSE(undo->isAtState(saved));
  undo->undo();
  EXPECT_TRUE(undo->isAtState(saved));

  undo->undo();  // the counter says 1 again after undo-then-new-edit, the state does not
  model->edit(7, "Insert");
  EXPECT_EQ(undo->changeCount(), 1);
  EXPECT_FALSE(undo->isAtState(saved));

  // Removing actions changes nothing in the content.
  undo->removeAllActions();
  EXPECT_FALSE(undo->isAtState(saved));
  EXPECT_EQ(notified, 10);

  undo->removeChangeObserver(id);
  model->edit(8, "Insert");
  EXPECT_EQ(notified, 10);
}

TEST_F(UndoManagerTest, ChangeObserversMayRemoveEachOther) {
  std::vector<int> calls;
  UndoManager::ObserverId second = 0;
  undo->addChangeObserver([&] {
    calls.push_back(1);
    undo->removeChangeObserver(second);
  });
  second = undo->addChangeObserver([&] { calls.push_back(2); });
  model->edit(1, "Trim");
  undo->undo();
  EXPECT_EQ(calls, (std::vector<int>{1, 1}));
}

TEST_F(UndoManagerTest, RemovingActionsInvalidatesTheStatesThatCanNoLongerBeReached) {
  std::vector<std::string> log;
  auto other = std::make_shared<LoggingTarget>(log);
  const ChangeToken initial = undo->currentState();
  undo->registerUndo(other, "u:", std::string("x"));
  model->edit(1, "Trim");
  undo->removeAllActionsWithTarget(other.get());
  EXPECT_TRUE(undo->undo());
  // The other target's change was never undone, so this is not the initial state.
  EXPECT_FALSE(undo->isAtState(initial));
}

// Random edits, undos, redos and saves against a plain history of states.
TEST(UndoManagerRandomTest, AgreesWithAHistoryModel) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    auto undo = std::make_shared<UndoManager>();
    auto model = std::make_shared<SnapshotModel>(undo);
    const size_t levels = seed % 4 == 0 ? 3 : 0;
    undo->setLevelsOfUndo(levels);

    struct State {
      int id;
      int value;
    };
    std::vector<State> history{{0, 0}};
    size_t position = 0;
    size_t undoDepth = 0, redoDepth = 0;
    int nextId = 1;
    int savedId = 0;
    ChangeToken savedToken = undo->currentState();
    int64_t expectedCount = 0;
    auto capped = [&](size_t depth) { return levels == 0 ? depth : std::min(depth, levels); };

    for (int step = 0; step < 300; ++step) {
      switch (random() % 4) {
        case 0: {
          const int value = static_cast<int>(random() % 5);  // repeats on purpose
          model->edit(value, "Edit");
          history.resize(position + 1);
          history.push_back({nextId++, value});
          ++position;
          undoDepth = capped(undoDepth + 1);
          redoDepth = 0;
          ++expectedCount;
          break;
        }
        case 1:
          ASSERT_EQ(undo->undo(), undoDepth > 0);
          if (undoDepth > 0) {
            --position;
            --undoDepth;
            redoDepth = capped(redoDepth + 1);
            --expectedCount;
          }
          break;
        case 2:
          ASSERT_EQ(undo->redo(), redoDepth > 0);
          if (redoDepth > 0) {
            ++position;
            --redoDepth;
            undoDepth = capped(undoDepth + 1);
            ++expectedCount;
          }
          break;
        case 3:
          savedId = history[position].id;
          savedToken = undo->currentState();
          break;
      }
      ASSERT_EQ(model->value, history[position].value) << "seed " << seed << " step " << step;
      ASSERT_EQ(undo->canUndo(), undoDepth > 0);
      ASSERT_EQ(undo->canRedo(), redoDepth > 0);
      ASSERT_EQ(undo->changeCount(), expectedCount);
      ASSERT_EQ(undo->isAtState(savedToken), history[position].id == savedId)
          << "seed " << seed << " step " << step;
    }
  }
}

}  // namespace
}  // namespace reelcraft
