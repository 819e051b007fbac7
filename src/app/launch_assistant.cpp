#include "app/launch_assistant.h"

#include <QCloseEvent>
#include <QPushButton>

#include "app/app_delegate.h"
#include "app/file_drop_filter.h"
#include "app/window_registry.h"
#include "ui_launch_assistant.h"

namespace reelcraft {

LaunchAssistantViewController::LaunchAssistantViewController(QWidget* parent)
    : QWidget(parent), ui_(std::make_unique<Ui::LaunchAssistantView>()) {
  ui_->setupUi(this);
  connect(ui_->openButton, &QPushButton::clicked, this, [this] { openDocument(); });
  connect(ui_->newButton, &QPushButton::clicked, this, [this] { newDocument(); });
}

LaunchAssistantViewController::~LaunchAssistantViewController() = default;

QPushButton* LaunchAssistantViewController::openButton() const {
  return ui_->openButton;
}

QPushButton* LaunchAssistantViewController::newButton() const {
  return ui_->newButton;
}

void LaunchAssistantViewController::openDocument() {
  closeWindowController(kLaunchAssistantIdentifier, kLaunchAssistantStoryboard);
  if (auto* application = AppDelegate::shared()) application->openDocument();
}

void LaunchAssistantViewController::newDocument() {
  closeWindowController(kLaunchAssistantIdentifier, kLaunchAssistantStoryboard);
  if (auto* application = AppDelegate::shared()) application->newDocument();
}

void LaunchAssistantViewController::closeEvent(QCloseEvent* event) {
  QWidget::closeEvent(event);
  auto* application = AppDelegate::shared();
  if (event->spontaneous() && application &&
      application->documentController().documents().empty()) {
    application->terminate();
  }
}

LaunchAssistantWindowController::LaunchAssistantWindowController() {
  auto* view = new LaunchAssistantViewController();
  view->setAcceptDrops(true);
  view->installEventFilter(new FileDropFilter(view));
  setWindow(view);
}

LaunchAssistantViewController* LaunchAssistantWindowController::viewController() const {
  return static_cast<LaunchAssistantViewController*>(window());
}

}  // namespace reelcraft
