#include "app/window_controller.h"

namespace reelcraft {

WindowController::~WindowController() {
  if (window_) {
    window_->hide();
    window_->deleteLater();
  }
}

void WindowController::showWindow() {
  if (!window_) return;
  window_->show();
  window_->raise();
  window_->activateWindow();
}

void WindowController::close() {
  if (window_) window_->close();
}

void WindowController::setWindow(QWidget* window) {
  window_ = window;
}

}  // namespace reelcraft
