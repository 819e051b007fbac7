#include "app/player_window_controller.h"

#include <QAction>
#include <QCloseEvent>
#include <QEvent>
#include <QMenu>
#include <QMenuBar>

#include "app/app_delegate.h"
#include "app/error_alert.h"
#include "app/file_drop_filter.h"
#include "app/player_view_controller.h"
#include "document/document.h"

namespace reelcraft {
namespace {

QList<QKeySequence> keys(std::initializer_list<QKeySequence> sequences) {
  return QList<QKeySequence>(sequences);
}

// The platform's keys for a standard command, or `fallback` where the platform has none.
QList<QKeySequence> standardKeys(QKeySequence::StandardKey key, QKeySequence fallback) {
  QList<QKeySequence> bindings = QKeySequence::keyBindings(key);
  if (bindings.isEmpty()) bindings.append(fallback);
  return bindings;
}

const QString kAdvancedExportMissing =
    QStringLiteral("This build has no advanced export; Export… writes MPEG-4 with H.264 and AAC.");

}  // namespace

const std::vector<MenuCommand>& playerMenuCommands() {
  static const std::vector<MenuCommand> commands = {
      {"File",
       "New",
       "newDocument:",
       standardKeys(QKeySequence::New, QKeySequence(Qt::CTRL | Qt::Key_N)),
       {}},
      {"File",
       "Open…",
       "openDocument:",
       standardKeys(QKeySequence::Open, QKeySequence(Qt::CTRL | Qt::Key_O)),
       {}},
      {"File",
       "Close",
       "performClose:",
       standardKeys(QKeySequence::Close, QKeySequence(Qt::CTRL | Qt::Key_W)),
       {}},
      {"File",
       "Save",
       "trySave:",
       standardKeys(QKeySequence::Save, QKeySequence(Qt::CTRL | Qt::Key_S)),
       {}},
      {"File",
       "Save As…",
       "trySaveAs:",
       standardKeys(QKeySequence::SaveAs, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S)),
       {}},
      {"File", "Export…", "export:", keys({QKeySequence(Qt::CTRL | Qt::Key_E)}), {}},
      {"File", "Advanced Export…", "advancedExport:",
       keys({QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E)}), kAdvancedExportMissing},
      {"File",
       "Quit",
       "terminate:",
       standardKeys(QKeySequence::Quit, QKeySequence(Qt::CTRL | Qt::Key_Q)),
       {}},
      {"Edit",
       "Undo",
       "undo:",
       standardKeys(QKeySequence::Undo, QKeySequence(Qt::CTRL | Qt::Key_Z)),
       {}},
      {"Edit",
       "Redo",
       "redo:",
       standardKeys(QKeySequence::Redo, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z)),
       {}},
      {"Edit",
       "Cut",
       "cut:",
       standardKeys(QKeySequence::Cut, QKeySequence(Qt::CTRL | Qt::Key_X)),
       {}},
      {"Edit",
       "Copy",
       "copy:",
       standardKeys(QKeySequence::Copy, QKeySequence(Qt::CTRL | Qt::Key_C)),
       {}},
      {"Edit",
       "Paste",
       "paste:",
       standardKeys(QKeySequence::Paste, QKeySequence(Qt::CTRL | Qt::Key_V)),
       {}},
      {"Edit",
       "Delete",
       "delete:",
       keys({QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)}),
       {}},
      {"Edit",
       "Select All",
       "selectAll:",
       standardKeys(QKeySequence::SelectAll, QKeySequence(Qt::CTRL | Qt::Key_A)),
       {}},
      {"Edit",
       "Trim to Selection",
       "trimToSelection:",
       keys({QKeySequence(Qt::CTRL | Qt::Key_T)}),
       {}},
      {"Edit",
       "Time Stretch Selection…",
       "timeStretchSelection:",
       keys({QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_T)}),
       {}},
      {"Movie", "Play/Pause", "playPause:", keys({QKeySequence(Qt::Key_Space)}), {}},
      {"Movie", "Step Forward", "stepForward:", keys({QKeySequence(Qt::Key_Right)}), {}},
      {"Movie", "Step Backward", "stepBackward:", keys({QKeySequence(Qt::Key_Left)}), {}},
      {"Movie", "Rotate Left", "rotateMovieLeft:", keys({QKeySequence(Qt::CTRL | Qt::Key_L)}), {}},
      {"Movie",
       "Rotate Right",
       "rotateMovieRight:",
       keys({QKeySequence(Qt::CTRL | Qt::Key_R)}),
       {}},
      {"Movie",
       "Volume…",
       "showVolumeControls:",
       keys({QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_V)}),
       {}},
      {"Movie",
       "Playback Rate…",
       "showPlaybackRateControls:",
       keys({QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_R)}),
       {}},
      {"Movie",
       "Increment Selection Start",
       "incrementSelectionStart:",
       keys({QKeySequence(Qt::ALT | Qt::Key_Right)}),
       {}},
      {"Movie",
       "Decrement Selection Start",
       "decrementSelectionStart:",
       keys({QKeySequence(Qt::ALT | Qt::Key_Left)}),
       {}},
      {"Movie",
       "Increment Selection End",
       "incrementSelectionEnd:",
       keys({QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_Right)}),
       {}},
      {"Movie",
       "Decrement Selection End",
       "decrementSelectionEnd:",
       keys({QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_Left)}),
       {}},
      {"Movie",
       "Move Cursor to Selection Start",
       "moveCursorToSelectionStart:",
       keys({QKeySequence(Qt::Key_Home)}),
       {}},
      {"Movie",
       "Move Cursor to Selection End",
       "moveCursorToSelectionEnd:",
       keys({QKeySequence(Qt::Key_End)}),
       {}},
      {"Window",
       "Full Screen",
       "toggleFullScreen:",
       standardKeys(QKeySequence::FullScreen, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F)),
       {}},
      {"Window",
       "Time Controls",
       "showTimeControls:",
       keys({QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_C)}),
       {}},
  };
  return commands;
}

PlayerWindow::PlayerWindow(PlayerWindowController& controller) : controller_(controller) {
  setAcceptDrops(true);
  installEventFilter(new FileDropFilter(this));
}

void PlayerWindow::closeEvent(QCloseEvent* event) {
  if (closeAllowed_) {
    event->accept();
    return;
  }
  // The application decides (it may ask to save first) and closes the window itself.
  event->ignore();
  controller_.windowShouldClose();
}

void PlayerWindow::changeEvent(QEvent* event) {
  QMainWindow::changeEvent(event);
  if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
    controller_.windowDidBecomeKey();
  }
}

PlayerWindowController::PlayerWindowController(AppDelegate* application)
    : application_(application) {
  auto* window = new PlayerWindow(*this);
  viewController_ = new PlayerViewController(window);
  window->setCentralWidget(viewController_);
  window->resize(720, 480);
  window->setWindowTitle(QStringLiteral("Untitled[*]"));
  viewController_->setTimeReportHook([this] { timeReportHook(); });
  viewController_->setFocus();
  setWindow(window);
  buildMenus();
  validateMenus();
}

PlayerWindowController::~PlayerWindowController() {
  *alive_ = false;
  if (observedUndoManager_) observedUndoManager_->removeChangeObserver(undoObserver_);
  if (viewController_ && window()) viewController_->detachPlayer();
}

PlayerWindow* PlayerWindowController::playerWindow() const {
  return static_cast<PlayerWindow*>(window());
}

void PlayerWindowController::buildMenus() {
  QMenuBar* bar = playerWindow()->menuBar();
  QMenu* menu = nullptr;
  QString menuName;
  for (const auto& command : playerMenuCommands()) {
    if (command.menu != menuName) {
      menuName = command.menu;
      menu = bar->addMenu(menuName);
    }
    if (command.action == "terminate:" || command.action == "undo:" || command.action == "cut:" ||
        command.action == "playPause:" || command.action == "rotateMovieLeft:" ||
        command.action == "showVolumeControls:" || command.action == "incrementSelectionStart:" ||
        command.action == "export:") {
      menu->addSeparator();
    }
    QAction* item = menu->addAction(command.title);
    item->setShortcuts(command.shortcuts);
    item->setShortcutContext(Qt::WindowShortcut);
    if (!command.unavailableBecause.isEmpty()) {
      item->setEnabled(false);
      item->setToolTip(command.unavailableBecause);
      item->setStatusTip(command.unavailableBecause);
    }
    menu->setToolTipsVisible(true);
    const std::string name = command.action;
    connect(item, &QAction::triggered, this, [this, name] { perform(name); });
    actions_.emplace_back(name, item);
  }
  // The time control panel's window comes from its own storyboard once there is one.
  if (QAction* timeControls = action("showTimeControls:"); !AppDelegate::hasTimeControls()) {
    timeControls->setEnabled(false);
    timeControls->setToolTip(QStringLiteral("This build has no time control panel."));
  }
  // Shortcuts of a window's menu bar work only while the bar is shown; keep them in the
  // window too, so that full screen keeps its keys.
  for (const auto& [name, item] : actions_) playerWindow()->addAction(item);
}

QAction* PlayerWindowController::action(std::string_view actionName) const {
  for (const auto& [name, item] : actions_) {
    if (name == actionName) return item;
  }
  return nullptr;
}

void PlayerWindowController::setDocument(Document* document) {
  if (observedUndoManager_) {
    observedUndoManager_->removeChangeObserver(undoObserver_);
    observedUndoManager_.reset();
  }
  document_ = document;
  if (document_ == nullptr) {
    viewController_->setMovie({});
    viewController_->detachPlayer();
    validateMenus();
    return;
  }
  viewController_->setMovie(document_->movie());
  viewController_->attachMovie();
  observedUndoManager_ = document_->undoManager();
  undoObserver_ = observedUndoManager_->addChangeObserver([this] { validateMenus(); });
  std::weak_ptr<bool> alive = alive_;
  document_->addEditedStateObserver([this, alive](bool) {
    if (alive.lock() && *alive.lock()) validateMenus();
  });
  validateMenus();
}

bool PlayerWindowController::canPresentSheets() const {
  return window() != nullptr && window()->isVisible();
}

void PlayerWindowController::validateMenus() {
  const bool edited = document_ != nullptr && document_->isDocumentEdited();
  if (document_ != nullptr) {
    playerWindow()->setWindowTitle(QString::fromStdString(document_->displayName()) + "[*]");
  }
  playerWindow()->setWindowModified(edited);
  if (QAction* save = action("trySave:")) {
    save->setEnabled(document_ != nullptr && document_->validateMenuItem("trySave:"));
  }
  const auto undoManager = document_ ? document_->undoManager() : nullptr;
  if (QAction* undo = action("undo:")) {
    undo->setText(QString::fromStdString(undoManager ? undoManager->undoMenuItemTitle() : "Undo"));
    undo->setEnabled(undoManager && undoManager->canUndo());
  }
  if (QAction* redo = action("redo:")) {
    redo->setText(QString::fromStdString(undoManager ? undoManager->redoMenuItemTitle() : "Redo"));
    redo->setEnabled(undoManager && undoManager->canRedo());
  }
}

bool PlayerWindowController::perform(std::string_view actionName) {
  if (actionObserver_) actionObserver_(actionName);
  if (PlayerViewController::handlesAction(actionName)) {
    return viewController_->perform(actionName);
  }
  const std::string name(actionName);
  AppDelegate* application = application_ ? application_ : AppDelegate::shared();
  if (name == "undo:" || name == "redo:") {
    undoOrRedo(name == "undo:");
  } else if (name == "trySave:" || name == "trySaveAs:") {
    if (document_ && (name == "trySave:" ? document_->trySave() : document_->trySaveAs())) {
      validateMenus();
    }
  } else if (name == "export:") {
    if (document_) document_->tryExport();
  } else if (name == "advancedExport:") {
    if (document_) document_->advancedExport();
  } else if (name == "performClose:") {
    windowShouldClose();
  } else if (name == "newDocument:") {
    if (application) application->newDocument();
  } else if (name == "openDocument:") {
    if (application) application->openDocument();
  } else if (name == "terminate:") {
    if (application) application->terminate();
  } else if (name == "showTimeControls:") {
    if (application) application->showTimeControls();
  } else {
    return false;
  }
  return true;
}

void PlayerWindowController::undoOrRedo(bool undo) {
  if (!document_) return;
  const auto manager = document_->undoManager();
  try {
    if (undo) {
      manager->undo();
    } else {
      manager->redo();
    }
  } catch (const ErrorException& failure) {
    showErrorAlert(failure.error(), window());
  }
  validateMenus();
}

void PlayerWindowController::timeReportHook() {
  // The time control panel, when there is one, follows the current document from here.
}

void PlayerWindowController::windowDidBecomeKey() {
  AppDelegate* application = application_ ? application_ : AppDelegate::shared();
  if (application && document_) application->documentController().setCurrentDocument(*document_);
}

void PlayerWindowController::windowShouldClose() {
  AppDelegate* application = application_ ? application_ : AppDelegate::shared();
  if (application && document_) {
    application->closeDocument(*document_);
  } else {
    playerWindow()->allowClose();
    window()->close();
  }
}

}  // namespace reelcraft
