#pragma once

#include <functional>

#include "media/base/error.h"

class QWidget;

namespace reelcraft {

// The application's one error alert: the error's description as the message and its recovery
// suggestion as the informative text; window-modal on `window` when one is given, else modal
// to the whole application. Never waits: the alert is opened and the caller carries on.
void showErrorAlert(const Error& error, QWidget* window = nullptr);

// Replaces how alerts are presented (tests record them instead); an empty function restores
// the message box.
using ErrorAlertPresenter = std::function<void(const Error& error, QWidget* window)>;
void setErrorAlertPresenter(ErrorAlertPresenter presenter);

}  // namespace reelcraft
