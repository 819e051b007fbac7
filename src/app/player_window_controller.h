#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <QKeySequence>
#include <QMainWindow>
#include <QPointer>
#include <QString>

#include "app/window_controller.h"
#include "document/document_hooks.h"
#include "media/base/undo_manager.h"

class QAction;

namespace reelcraft {

class AppDelegate;
class Document;
class PlayerViewController;
class PlayerWindowController;

// The document window itself: asks its controller before closing and tells it when it comes
// to the front.
class PlayerWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit PlayerWindow(PlayerWindowController& controller);

  // Set by the controller once the document may go: the next close is not questioned.
  void allowClose() { closeAllowed_ = true; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  PlayerWindowController& controller_;
  bool closeAllowed_ = false;
};

// One item of the document window's menus.
struct MenuCommand {
  QString menu;   // "File", "Edit", "Movie" or "Window"
  QString title;  // with an ellipsis for items that ask for more
  std::string action;
  QList<QKeySequence> shortcuts;
  // Empty when the item is available; else why it is not (shown as its tooltip).
  QString unavailableBecause;
};

// The menu items of a document window, in menu order (separators are not listed).
const std::vector<MenuCommand>& playerMenuCommands();

// The controller of each document window: shows the document's movie in its
// PlayerViewController, titles the window with the document's name and edited state, and runs
// the menu commands, sending each to the view controller, the document or the application.
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

  // The menu item for `action` ("trySave:"), or null.
  QAction* action(std::string_view actionName) const;
  // Runs a menu command by its action name; false for one that is not a menu command.
  bool perform(std::string_view actionName);
  // Told of every command performed, before it runs (for diagnostics and tests).
  void setActionObserver(std::function<void(std::string_view)> observer) {
    actionObserver_ = std::move(observer);
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
  std::vector<std::pair<std::string, QAction*>> actions_;
  std::function<void(std::string_view)> actionObserver_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace reelcraft
