#pragma once

#include <functional>
#include <memory>

#include <QDialog>

#include "core/media_time_formatter.h"
#include "media/base/media_time.h"

class QLineEdit;

namespace Ui {
class StretchTimeView;
}

namespace reelcraft {

// Asks for the new length of the selection to stretch: a duration (clock text, Return
// applies it) or a whole speed-up factor (the duration divided by it). Each field applies on
// its own; onApply receives the new duration.
class StretchTimeDialog : public QDialog {
  Q_OBJECT

 public:
  StretchTimeDialog(MediaTime originalDuration, QWidget* parent = nullptr);
  ~StretchTimeDialog() override;

  QLineEdit* durationField() const;
  QLineEdit* factorField() const;
  MediaTime originalDuration() const { return originalDuration_; }

  // Applies the typed duration when it is a time greater than zero.
  void durationChanged();
  // Applies the original duration divided by the typed factor's whole part, when that is at
  // least 1.
  void factorChanged();

  std::function<void(MediaTime newDuration)> onApply;

 private:
  std::unique_ptr<Ui::StretchTimeView> ui_;
  MediaTime originalDuration_;
  MediaTimeFormatter formatter_;
};

}  // namespace reelcraft
