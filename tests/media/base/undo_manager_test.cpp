#include "media/base/undo_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>

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
    perform("restore:", newValue);
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

// Appends each undo argument to a shared log and runs an optional hook.
class LoggingTarget : public ActionTarget {
 public:
  explicit LoggingTarget(std::vector<std::string>& log) : log_(log) {}
  void perform(std::string_view selector, const std::any& argument) override {
    log_.push_back(std::string(selector) + std::any_cast<std::string>(argument));
    if (hook) hook();
  }
  std::function<void()> hook;

 private:
  std::vector<std::string>& log_;
};

class UndoManagerTest : public ::testing::Test {
 protected:
  std::shared_ptr<UndoManager> undo = std::make_shared<UndoManager>();
  std::shared_ptr<SnapshotModel> model = std::make_shared<SnapshotModel>(undo);
  std::vector<std::string> log;
  std::shared_ptr<LoggingTarget> logger = std::make_shared<LoggingTarget>(log);
};

TEST_F(UndoManagerTest, ReportsStateDuringReplayAndRefusesNestedReplay) {
  std::vector<std::string> seen;
  logger->hook = [&] {
    seen.push_back(std::string(undo->isUndoing() ? "undoing" : "") +
                   (undo->isRedoing() ? "redoing" : "") +
                   (undo->undo() || undo->redo() ? " replayed" : "") +
                   (undo->canUndo() || undo->canRedo() ? " can" : ""));
    undo->registerUndo(logger, "u:", std::string("again"));
  };
  undo->registerUndo(logger, "u:", std::string("first"));
  model->edit(1, "Trim");
  undo->undo();  // the model's edit
  undo->undo();  // the logger
  undo->redo();
  EXPECT_EQ(seen, (std::vector<std::string>{"undoing", "redoing"}));
  EXPECT_FALSE(undo->isUndoing());
  EXPECT_FALSE(undo->isRedoing());
}

TEST_F(UndoManagerTest, GroupsUndoInReverseOrderAndNest) {
  undo->beginUndoGrouping();
  undo->registerUndo(logger, "u:", std::string("1"));
  undo->beginUndoGrouping();
  undo->registerUndo(logger, "u:", std::string("2"));
  undo->endUndoGrouping();
  undo->setActionName("Paste");
  undo->registerUndo(logger, "u:", std::string("3"));
  EXPECT_FALSE(undo->canUndo());  // still open
  undo->endUndoGrouping();

  EXPECT_EQ(undo->undoMenuItemTitle(), "Undo Paste");
  EXPECT_EQ(undo->redoMenuItemTitle(), "Redo");
  EXPECT_EQ(undo->changeCount(), 1);
  EXPECT_TRUE(undo->undo());
  EXPECT_EQ(log, (std::vector<std::string>{"u:3", "u:2", "u:1"}));
  EXPECT_FALSE(undo->canUndo());
  EXPECT_EQ(undo->undoMenuItemTitle(), "Undo");
  // LoggingTarget registers no inverse, so there is nothing to redo.
  EXPECT_FALSE(undo->canRedo());
}

TEST_F(UndoManagerTest, OpenGroupsBlockReplayEmptyOnesAreDroppedAndUnbalancedEndThrows) {
  model->edit(1, "Trim");
  model->edit(2, "Trim");
  undo->undo();
  undo->beginUndoGrouping();
  undo->setActionName("Nothing");
  EXPECT_FALSE(undo->undo());
  EXPECT_EQ(model->value, 1);
  undo->endUndoGrouping();
  EXPECT_TRUE(undo->canRedo());  // an empty group is no new edit
  EXPECT_EQ(undo->undoActionName(), "Trim");
  EXPECT_EQ(undo->changeCount(), 1);
  EXPECT_THROW(undo->endUndoGrouping(), std::logic_error);
}

TEST_F(UndoManagerTest, DeadTargetsDoNothing) {
  auto dead = std::make_shared<LoggingTarget>(log);
  undo->beginUndoGrouping();
  undo->registerUndo(logger, "u:", std::string("alive"));
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

TEST_F(UndoManagerTest, RemovesActionsByTargetOrAllAndTheStatesTheyLeadTo) {
  const ChangeToken initial = undo->currentState();
  model->edit(1, "Trim");
  undo->setActionName("Log");
  undo->registerUndo(logger, "u:", std::string("x"));
  model->edit(2, "Rotate");

  undo->removeAllActionsWithTarget(model.get());
  EXPECT_EQ(undo->undoActionName(), "Log");
  EXPECT_TRUE(undo->undo());
  EXPECT_FALSE(undo->canUndo());
  EXPECT_EQ(model->value, 2);
  // The model's changes were never undone, so this is not the initial state.
  EXPECT_FALSE(undo->isAtState(initial));

  model->edit(3, "Trim");
  undo->undo();
  undo->removeAllActions();
  EXPECT_FALSE(undo->canUndo());
  EXPECT_FALSE(undo->canRedo());
}

TEST_F(UndoManagerTest, FewerLevelsDropTheOldestEdits) {
  for (int v = 1; v <= 4; ++v) model->edit(v, "Edit " + std::to_string(v));
  undo->setLevelsOfUndo(1);
  EXPECT_TRUE(undo->undo());
  EXPECT_FALSE(undo->undo());
  EXPECT_EQ(model->value, 3);
  EXPECT_EQ(undo->redoActionName(), "Edit 4");
}

TEST_F(UndoManagerTest, TellsObserversOfEveryChangeAndLetsThemRemoveEachOther) {
  std::vector<int> calls;
  UndoManager::ObserverId second = 0;
  const auto first = undo->addChangeObserver([&] {
    calls.push_back(1);
    undo->removeChangeObserver(second);
  });
  second = undo->addChangeObserver([&] { calls.push_back(2); });
  const ChangeToken saved = undo->currentState();
  EXPECT_EQ(saved, ChangeToken()) << "the default token names the state the manager starts in";
  model->edit(1, "Trim");
  undo->undo();
  undo->redo();
  undo->removeAllActions();  // changes nothing in the content
  EXPECT_FALSE(undo->isAtState(saved));
  EXPECT_EQ(calls, (std::vector<int>{1, 1, 1, 1}));
  undo->removeChangeObserver(first);
  model->edit(8, "Insert");
  EXPECT_EQ(calls.size(), 4u);
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
    size_t position = 0, undoDepth = 0, redoDepth = 0;
    int nextId = 1, savedId = 0;
    ChangeToken savedToken = undo->currentState();
    int64_t expectedCount = 0;
    auto capped = [&](size_t depth) { return levels == 0 ? depth : std::min(depth, levels); };

    for (int step = 0; step < 300; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      const auto action = random() % 4;
      if (action == 0) {
        const int value = static_cast<int>(random() % 5);  // repeats on purpose
        model->edit(value, "Edit");
        history.resize(position + 1);
        history.push_back({nextId++, value});
        ++position;
        undoDepth = capped(undoDepth + 1);
        redoDepth = 0;
        ++expectedCount;
      } else if (action < 3) {
        const bool undoing = action == 1;
        size_t& from = undoing ? undoDepth : redoDepth;
        size_t& to = undoing ? redoDepth : undoDepth;
        ASSERT_EQ(undoing ? undo->undo() : undo->redo(), from > 0);
        if (from > 0) {
          position = undoing ? position - 1 : position + 1;
          expectedCount += undoing ? -1 : 1;
          --from;
          to = capped(to + 1);
        }
      } else {
        savedId = history[position].id;
        savedToken = undo->currentState();
      }
      ASSERT_EQ(model->value, history[position].value);
      ASSERT_EQ(undo->canUndo(), undoDepth > 0);
      ASSERT_EQ(undo->canRedo(), redoDepth > 0);
      ASSERT_EQ(undo->changeCount(), expectedCount);
      ASSERT_EQ(undo->isAtState(savedToken), history[position].id == savedId);
    }
  }
}

}  // namespace
}  // namespace reelcraft
