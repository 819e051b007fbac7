#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

namespace reelcraft {

// Owns one top-level window and shows or closes it; the window is made with the controller.
// The window is deleted with the controller (later, from the event loop, so that a controller
// may go while one of its window's handlers is running).
class WindowController : public QObject {
  Q_OBJECT

 public:
  ~WindowController() override;

  QWidget* window() const { return window_; }
  // Shows the window and brings it to the front.
  virtual void showWindow();
  // Closes (hides) the window; it can be shown again.
  virtual void close();

 protected:
  // Takes ownership of `window`.
  void setWindow(QWidget* window);

 private:
  QPointer<QWidget> window_;
};

}  // namespace reelcraft
