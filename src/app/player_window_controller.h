#pragma once

#include <array>
#include <functional>
#include <memory>

#include <QMainWindow>

#include "app/commands.h"
#include "app/window_controller.h"
#include "document/document_hooks.h"
#include "media/base/undo_manager.h"

class QAction;

namespace reelcraft {

class AppDelegate;
class Document;
class PlayerViewController;
class PlayerWindowController;

// The document window itself: asks its controller before closing, tells it when it comes to the
// front and hands it the commands of the key presses that reach the window.
class PlayerWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit PlayerWindow(PlayerWindowController& controller);

  // Set by the controller once the document may go: the next close is not questioned.
  void allowClose() { closeAllowed_ = true; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void changeEvent(QEvent* event) override;
  // Keys that the focused widget leaves alone run their key binding's command.
  void keyPressEvent(QKeyEvent* event) override;

 private:
  PlayerWindowController& controller_;
  bool closeAllowed_ = false;
};

// The controller of each document window: shows the document's movie in its
// PlayerViewController, titles the window with the document's name and edited state, and runs
// the commands of its menus and keys, sending each to the view controller, the document or the
// application.
class PlayerWindowController : public WindowController, public DocumentWindowController {
  Q_OBJECT

 public:
  explicit PlayerWindowController(AppDelegate* application = nullptr);
  ~PlayerWindowController() override;

  PlayerWindow* playerWindow() const;
  PlayerViewController* playerViewController() const { return viewController_; }

  // Hands the document's movie to the view controller; null detaches the player. The
  // document must outlive the controller (it owns it).
  void setDocument(Document* document);
  Document* document() const { return document_; }

  bool canPresentSheets() const override;

  // The menu item of `command`, or null for a command reached by keys only.
  QAction* action(Command command) const;
  void perform(Command command);
  // Told of every command performed, before it runs (for diagnostics and tests).
  void setCommandObserver(std::function<void(Command)> observer) {
    commandObserver_ = std::move(observer);
  }

  // Refreshes the window title, Save's enabled state and the Undo and Redo titles.
  void validateMenus();
  // Called on each time report of the player; keeps nothing else in step yet.
  void timeReportHook();

  // The window came to the front: its document becomes current.
  void windowDidBecomeKey();
  // The user asked to close the window; answered through the application, which may ask to
  // save first.
  void windowShouldClose();

 private:
  void buildMenus();
  void undoOrRedo(bool undo);

  AppDelegate* application_;
  PlayerViewController* viewController_ = nullptr;
  Document* document_ = nullptr;
  std::shared_ptr<UndoManager> observedUndoManager_;
  UndoManager::ObserverId undoObserver_ = 0;
  std::array<QAction*, kCommandCount> actions_ = {};
  std::function<void(Command)> commandObserver_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace reelcraft
