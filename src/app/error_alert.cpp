#include "app/error_alert.h"

#include <QMessageBox>
#include <QString>
#include <QWidget>

namespace reelcraft {
namespace {

ErrorAlertPresenter& presenter() {
  static ErrorAlertPresenter current;
  return current;
}

void presentMessageBox(const Error& error, QWidget* window) {
  auto* box =
      new QMessageBox(QMessageBox::Warning, QString(), QString::fromStdString(error.description),
                      QMessageBox::Ok, window ? window->window() : nullptr);
  box->setInformativeText(QString::fromStdString(error.recoverySuggestion));
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
  box->open();
}

}  // namespace

void showErrorAlert(const Error& error, QWidget* window) {
  if (presenter()) {
    presenter()(error, window);
  } else {
    presentMessageBox(error, window);
  }
}

void setErrorAlertPresenter(ErrorAlertPresenter newPresenter) {
  presenter() = std::move(newPresenter);
}

}  // namespace reelcraft
