#include "app/player_window_controller.h"

#include <QAction>
#include <QCloseEvent>
#include <QEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>

#include "app/app_delegate.h"
#include "app/error_alert.h"
#include "app/file_drop_filter.h"
#include "app/player_view_controller.h"
#include "document/document.h"

namespace reelcraft {

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

void PlayerWindow::keyPressEvent(QKeyEvent* event) {
  if (const auto command = keyBindingCommand(event->key(), event->modifiers())) {
    controller_.perform(*command);
  } else {
    QMainWindow::keyPressEvent(event);
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
  for (const CommandSpec& command : menuCommands()) {
    if (const QString name = QString::fromUtf8(command.menu); name != menuName) {
      menuName = name;
      menu = bar->addMenu(name);
      menu->setToolTipsVisible(true);
    }
    if (command.separatorBefore) menu->addSeparator();
    QAction* item = menu->addAction(QString::fromUtf8(command.title));
    item->setShortcuts(shortcutsOf(command));
    item->setShortcutContext(Qt::WindowShortcut);
    if (command.unavailableBecause != nullptr) {
      const QString reason = QString::fromUtf8(command.unavailableBecause);
      item->setEnabled(false);
      item->setToolTip(reason);
      item->setStatusTip(reason);
    }
    connect(item, &QAction::triggered, this, [this, which = command.command] { perform(which); });
    actions_[static_cast<std::size_t>(command.command)] = item;
    // Shortcuts of a window's menu bar work only while the bar is shown; keep them in the
    // window too, so that full screen keeps its keys.
    playerWindow()->addAction(item);
  }
  // The time control panel's window comes from its own storyboard once there is one.
  if (!AppDelegate::hasTimeControls()) {
    QAction* timeControls = action(Command::ShowTimeControls);
    timeControls->setEnabled(false);
    timeControls->setToolTip(QStringLiteral("This build has no time control panel."));
  }
}

QAction* PlayerWindowController::action(Command command) const {
  return actions_[static_cast<std::size_t>(command)];
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
  const bool canSave =
      document_ != nullptr && document_->validateMenuItem(actionName(Command::TrySave));
  action(Command::TrySave)->setEnabled(canSave);
  const auto undoManager = document_ ? document_->undoManager() : nullptr;
  QAction* undo = action(Command::Undo);
  undo->setText(QString::fromStdString(undoManager ? undoManager->undoMenuItemTitle() : "Undo"));
  undo->setEnabled(undoManager && undoManager->canUndo());
  QAction* redo = action(Command::Redo);
  redo->setText(QString::fromStdString(undoManager ? undoManager->redoMenuItemTitle() : "Redo"));
  redo->setEnabled(undoManager && undoManager->canRedo());
}

void PlayerWindowController::perform(Command command) {
  if (commandObserver_) commandObserver_(command);
  PlayerViewController& view = *viewController_;
  AppDelegate* application = application_ ? application_ : AppDelegate::shared();
  switch (command) {
    case Command::NewDocument:
      if (application) application->newDocument();
      return;
    case Command::OpenDocument:
      if (application) application->openDocument();
      return;
    case Command::PerformClose:
      return windowShouldClose();
    case Command::TrySave:
    case Command::TrySaveAs:
      if (document_ &&
          (command == Command::TrySave ? document_->trySave() : document_->trySaveAs())) {
        validateMenus();
      }
      return;
    case Command::Export:
      if (document_) document_->tryExport();
      return;
    case Command::AdvancedExport:
      if (document_) document_->advancedExport();
      return;
    case Command::Terminate:
      if (application) application->terminate();
      return;
    case Command::Undo:
    case Command::Redo:
      return undoOrRedo(command == Command::Undo);
    case Command::Cut:
      return view.cut();
    case Command::Copy:
      return view.copy();
    case Command::Paste:
      return view.paste();
    case Command::Delete:
    case Command::DeleteBackward:
    case Command::DeleteForward:
      return view.deleteSelection();
    case Command::SelectAll:
      return view.selectAll();
    case Command::TrimToSelection:
      return view.trimToSelection();
    case Command::TimeStretchSelection:
      return view.timeStretchSelection();
    case Command::PlayPause:
      return view.playPause();
    case Command::StepForward:
      return view.stepForward();
    case Command::StepBackward:
      return view.stepBackward();
    case Command::RotateMovieLeft:
    case Command::RotateMovieRight:
      return view.rotateMovie(command == Command::RotateMovieLeft);
    case Command::ShowVolumeControls:
      return view.showVolumeControls();
    case Command::ShowPlaybackRateControls:
      return view.showPlaybackRateControls();
    case Command::IncrementSelectionStart:
      return view.selectionCommands().incrementSelectionStart();
    case Command::DecrementSelectionStart:
      return view.selectionCommands().decrementSelectionStart();
    case Command::IncrementSelectionEnd:
      return view.selectionCommands().incrementSelectionEnd();
    case Command::DecrementSelectionEnd:
      return view.selectionCommands().decrementSelectionEnd();
    case Command::MoveCursorToSelectionStart:
      return view.selectionCommands().moveCursorToSelectionStart();
    case Command::MoveCursorToSelectionEnd:
      return view.selectionCommands().moveCursorToSelectionEnd();
    case Command::ToggleFullScreen:
      return view.toggleFullScreen();
    case Command::ShowTimeControls:
      if (application) application->showTimeControls();
      return;
  }
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
