#include "app/stretch_time_dialog.h"

#include <QLineEdit>

#include <cmath>

#include "ui_stretch_time.h"

namespace reelcraft {

StretchTimeDialog::StretchTimeDialog(MediaTime originalDuration, QWidget* parent)
    : QDialog(parent),
      ui_(std::make_unique<Ui::StretchTimeView>()),
      originalDuration_(originalDuration) {
  ui_->setupUi(this);
  setAttribute(Qt::WA_DeleteOnClose);
  ui_->durationField->setText(QString::fromStdString(formatter_.string(originalDuration_)));
  connect(ui_->durationField, &QLineEdit::returnPressed, this, [this] { durationChanged(); });
  connect(ui_->factorField, &QLineEdit::returnPressed, this, [this] { factorChanged(); });
}

StretchTimeDialog::~StretchTimeDialog() = default;

QLineEdit* StretchTimeDialog::durationField() const {
  return ui_->durationField;
}

QLineEdit* StretchTimeDialog::factorField() const {
  return ui_->factorField;
}

void StretchTimeDialog::durationChanged() {
  const auto duration = formatter_.parse(ui_->durationField->text().toStdString());
  if (!duration || !duration->isNumeric() || *duration <= MediaTime::zero()) return;
  if (onApply) onApply(*duration);
}

void StretchTimeDialog::factorChanged() {
  bool ok = false;
  const double factor = ui_->factorField->text().trimmed().toDouble(&ok);
  // The factor works as a whole divisor; below 1 it would divide by zero.
  if (!ok || !std::isfinite(factor) || factor < 1 || factor >= 2147483648.0) return;
  const auto divisor = static_cast<int64_t>(std::trunc(factor));
  if (onApply) onApply(multiplyByRatio(originalDuration_, 1, divisor));
}

}  // namespace reelcraft
