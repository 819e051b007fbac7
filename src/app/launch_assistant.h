#pragma once

#include <memory>

#include <QWidget>

#include "app/window_controller.h"

class QPushButton;

namespace Ui {
class LaunchAssistantView;
}

namespace reelcraft {

inline constexpr const char* kLaunchAssistantIdentifier = "Launch Assistant Window Controller";
inline constexpr const char* kLaunchAssistantStoryboard = "LaunchAssistant";

// What the user sees when no document is open: Open… and New. Either button closes the
// assistant first and then asks the application for the document.
class LaunchAssistantViewController : public QWidget {
  Q_OBJECT

 public:
  explicit LaunchAssistantViewController(QWidget* parent = nullptr);
  ~LaunchAssistantViewController() override;

  QPushButton* openButton() const;
  QPushButton* newButton() const;

  void openDocument();
  void newDocument();

 protected:
  // The user closing the assistant with no document open ends the application.
  void closeEvent(QCloseEvent* event) override;

 private:
  std::unique_ptr<Ui::LaunchAssistantView> ui_;
};

class LaunchAssistantWindowController : public WindowController {
  Q_OBJECT

 public:
  LaunchAssistantWindowController();
  LaunchAssistantViewController* viewController() const;
};

}  // namespace reelcraft
