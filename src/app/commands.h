#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include <QKeySequence>
#include <QList>

namespace reelcraft {

// Every command of a document window, in menu order; those reached by keys only come last.
// PlayerWindowController::perform runs each one.
enum class Command {
  NewDocument,
  OpenDocument,
  PerformClose,
  TrySave,
  TrySaveAs,
  Export,
  AdvancedExport,
  Terminate,
  Undo,
  Redo,
  Cut,
  Copy,
  Paste,
  Delete,
  SelectAll,
  TrimToSelection,
  TimeStretchSelection,
  PlayPause,
  StepForward,
  StepBackward,
  RotateMovieLeft,
  RotateMovieRight,
  ShowVolumeControls,
  ShowPlaybackRateControls,
  IncrementSelectionStart,
  DecrementSelectionStart,
  IncrementSelectionEnd,
  DecrementSelectionEnd,
  MoveCursorToSelectionStart,
  MoveCursorToSelectionEnd,
  ToggleFullScreen,
  ShowTimeControls,
  DeleteBackward,
  DeleteForward,
  Last = DeleteForward,  // keep on the last command
};

inline constexpr std::size_t kCommandCount = static_cast<std::size_t>(Command::Last) + 1;

// A menu item's shortcuts: the platform's keys for `standard`, with `keys[0]` where the platform
// has none; or, without a standard key, the `keys` that are set.
struct CommandKeys {
  QKeySequence::StandardKey standard = QKeySequence::UnknownKey;
  std::array<QKeyCombination, 2> keys = {};
};

constexpr CommandKeys standardKeys(QKeySequence::StandardKey standard, QKeyCombination fallback) {
  return {standard, {fallback}};
}
constexpr CommandKeys keys(QKeyCombination first, QKeyCombination second = {}) {
  return {QKeySequence::UnknownKey, {first, second}};
}

// One command: its action name (the name the document knows it by, as in validateMenuItem), its
// menu item if it has one, and the key that runs it when no menu shortcut takes that key first.
struct CommandSpec {
  Command command;
  std::string_view action;
  const char* menu = nullptr;   // "File", "Edit", "Movie" or "Window"; null for none
  const char* title = nullptr;  // with an ellipsis for items that ask for more
  CommandKeys shortcuts = {};
  bool separatorBefore = false;
  Qt::Key keyBinding = Qt::Key_unknown;
  // Null when the item is available; else why it is not (shown as its tooltip).
  const char* unavailableBecause = nullptr;
};

inline constexpr bool kSeparatorBefore = true;

inline constexpr std::array<CommandSpec, kCommandCount> kCommands = {{
    {Command::NewDocument, "newDocument:", "File", "New",
     standardKeys(QKeySequence::New, Qt::CTRL | Qt::Key_N)},
    {Command::OpenDocument, "openDocument:", "File", "Open…",
     standardKeys(QKeySequence::Open, Qt::CTRL | Qt::Key_O)},
    {Command::PerformClose, "performClose:", "File", "Close",
     standardKeys(QKeySequence::Close, Qt::CTRL | Qt::Key_W)},
    {Command::TrySave, "trySave:", "File", "Save",
     standardKeys(QKeySequence::Save, Qt::CTRL | Qt::Key_S)},
    {Command::TrySaveAs, "trySaveAs:", "File", "Save As…",
     standardKeys(QKeySequence::SaveAs, Qt::CTRL | Qt::SHIFT | Qt::Key_S)},
    {Command::Export, "export:", "File", "Export…", keys(Qt::CTRL | Qt::Key_E), kSeparatorBefore},
    {Command::AdvancedExport, "advancedExport:", "File", "Advanced Export…",
     keys(Qt::CTRL | Qt::SHIFT | Qt::Key_E), false, Qt::Key_unknown,
     "This build has no advanced export; Export… writes MPEG-4 with H.264 and AAC."},
    {Command::Terminate, "terminate:", "File", "Quit",
     standardKeys(QKeySequence::Quit, Qt::CTRL | Qt::Key_Q), kSeparatorBefore},
    {Command::Undo, "undo:", "Edit", "Undo", standardKeys(QKeySequence::Undo, Qt::CTRL | Qt::Key_Z),
     kSeparatorBefore},
    {Command::Redo, "redo:", "Edit", "Redo",
     standardKeys(QKeySequence::Redo, Qt::CTRL | Qt::SHIFT | Qt::Key_Z)},
    {Command::Cut, "cut:", "Edit", "Cut", standardKeys(QKeySequence::Cut, Qt::CTRL | Qt::Key_X),
     kSeparatorBefore},
    {Command::Copy, "copy:", "Edit", "Copy",
     standardKeys(QKeySequence::Copy, Qt::CTRL | Qt::Key_C)},
    {Command::Paste, "paste:", "Edit", "Paste",
     standardKeys(QKeySequence::Paste, Qt::CTRL | Qt::Key_V)},
    {Command::Delete, "delete:", "Edit", "Delete", keys(Qt::Key_Delete, Qt::Key_Backspace)},
    {Command::SelectAll, "selectAll:", "Edit", "Select All",
     standardKeys(QKeySequence::SelectAll, Qt::CTRL | Qt::Key_A)},
    {Command::TrimToSelection, "trimToSelection:", "Edit", "Trim to Selection",
     keys(Qt::CTRL | Qt::Key_T)},
    {Command::TimeStretchSelection, "timeStretchSelection:", "Edit", "Time Stretch Selection…",
     keys(Qt::CTRL | Qt::ALT | Qt::Key_T)},
    {Command::PlayPause, "playPause:", "Movie", "Play/Pause", keys(Qt::Key_Space), kSeparatorBefore,
     Qt::Key_Space},
    {Command::StepForward, "stepForward:", "Movie", "Step Forward", keys(Qt::Key_Right), false,
     Qt::Key_Right},
    {Command::StepBackward, "stepBackward:", "Movie", "Step Backward", keys(Qt::Key_Left), false,
     Qt::Key_Left},
    {Command::RotateMovieLeft, "rotateMovieLeft:", "Movie", "Rotate Left",
     keys(Qt::CTRL | Qt::Key_L), kSeparatorBefore},
    {Command::RotateMovieRight, "rotateMovieRight:", "Movie", "Rotate Right",
     keys(Qt::CTRL | Qt::Key_R)},
    {Command::ShowVolumeControls, "showVolumeControls:", "Movie", "Volume…",
     keys(Qt::CTRL | Qt::ALT | Qt::Key_V), kSeparatorBefore},
    {Command::ShowPlaybackRateControls, "showPlaybackRateControls:", "Movie", "Playback Rate…",
     keys(Qt::CTRL | Qt::ALT | Qt::Key_R)},
    {Command::IncrementSelectionStart, "incrementSelectionStart:", "Movie",
     "Increment Selection Start", keys(Qt::ALT | Qt::Key_Right), kSeparatorBefore},
    {Command::DecrementSelectionStart, "decrementSelectionStart:", "Movie",
     "Decrement Selection Start", keys(Qt::ALT | Qt::Key_Left)},
    {Command::IncrementSelectionEnd, "incrementSelectionEnd:", "Movie", "Increment Selection End",
     keys(Qt::ALT | Qt::SHIFT | Qt::Key_Right)},
    {Command::DecrementSelectionEnd, "decrementSelectionEnd:", "Movie", "Decrement Selection End",
     keys(Qt::ALT | Qt::SHIFT | Qt::Key_Left)},
    {Command::MoveCursorToSelectionStart, "moveCursorToSelectionStart:", "Movie",
     "Move Cursor to Selection Start", keys(Qt::Key_Home)},
    {Command::MoveCursorToSelectionEnd, "moveCursorToSelectionEnd:", "Movie",
     "Move Cursor to Selection End", keys(Qt::Key_End)},
    {Command::ToggleFullScreen, "toggleFullScreen:", "Window", "Full Screen",
     standardKeys(QKeySequence::FullScreen, Qt::CTRL | Qt::SHIFT | Qt::Key_F)},
    {Command::ShowTimeControls, "showTimeControls:", "Window", "Time Controls",
     keys(Qt::CTRL | Qt::ALT | Qt::Key_C)},
    {.command = Command::DeleteBackward,
     .action = "deleteBackward:",
     .keyBinding = Qt::Key_Backspace},
    {.command = Command::DeleteForward, .action = "deleteForward:", .keyBinding = Qt::Key_Delete},
}};

constexpr const CommandSpec& specOf(Command command) {
  return kCommands[static_cast<std::size_t>(command)];
}
constexpr std::string_view actionName(Command command) {
  return specOf(command).action;
}

namespace commands_detail {
constexpr std::size_t menuItemCount() {
  std::size_t count = 0;
  while (count < kCommands.size() && kCommands[count].menu != nullptr) ++count;
  return count;
}
constexpr bool sameMenu(const char* a, const char* b) {
  return a != nullptr && b != nullptr && std::string_view(a) == b;
}
// Each command has its row at its own index, a name of its own and a way to be reached (a menu
// item or a key); the menu items come first, each menu's in one run.
constexpr bool wellFormed() {
  for (std::size_t i = 0; i < kCommands.size(); ++i) {
    const CommandSpec& row = kCommands[i];
    if (row.command != static_cast<Command>(i) || row.action.empty()) return false;
    if ((row.menu == nullptr) != (i >= menuItemCount())) return false;
    if (row.menu == nullptr && row.keyBinding == Qt::Key_unknown) return false;
    for (std::size_t earlier = 0; earlier < i; ++earlier) {
      if (kCommands[earlier].action == row.action) return false;
      if (sameMenu(kCommands[earlier].menu, row.menu) && !sameMenu(kCommands[i - 1].menu, row.menu))
        return false;
    }
  }
  return true;
}
}  // namespace commands_detail

static_assert(commands_detail::wellFormed(), "kCommands: one reachable row per command, in order");

// The commands that have a menu item, in menu order.
constexpr std::span<const CommandSpec> menuCommands() {
  return std::span(kCommands).first(commands_detail::menuItemCount());
}

// The shortcuts of a command's menu item on this platform.
QList<QKeySequence> shortcutsOf(const CommandSpec& command);

// The command a key press stands for in a document window (DeleteBackward for Backspace), if
// any; keys that the menus' shortcuts take never get here.
std::optional<Command> keyBindingCommand(int key, Qt::KeyboardModifiers modifiers);

}  // namespace reelcraft
