#include "app/value_popup.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>

#include <cmath>

namespace reelcraft {

ValuePopup::ValuePopup(QWidget* parent)
    : QFrame(parent, Qt::Popup),
      value_(Bindable<double>::create(1.0)),
      slider_(new QSlider(Qt::Horizontal, this)),
      label_(new QLabel(this)) {
  setFrameShape(QFrame::StyledPanel);
  auto* layout = new QHBoxLayout(this);
  layout->addWidget(slider_);
  layout->addWidget(label_);
  slider_->setMinimumWidth(180);
  // updateControls blocks the slider's signals, so only the user's moves get here.
  connect(slider_, &QSlider::valueChanged, this, [this] { changeValue(); });
  value_->observers.push_back([this](const double& v) { updateControls(v); });
}

VolumePopup::VolumePopup(QWidget* parent) : ValuePopup(parent) {
  slider_->setRange(0, 100);
  slider_->setToolTip(tr("Volume"));
}

void VolumePopup::updateControls(double v) {
  const QSignalBlocker blocker(slider_);
  slider_->setValue(static_cast<int>(
      std::lround(slider_->minimum() + (slider_->maximum() - slider_->minimum()) * v)));
  label_->setText(QString::number(static_cast<int>(std::lround(v * 100))) + "%");
}

void VolumePopup::changeValue() {
  const double span = slider_->maximum() - slider_->minimum();
  value_->setValueAndNotify((slider_->value() - slider_->minimum()) / span);
}

PlaybackRatePopup::PlaybackRatePopup(QWidget* parent) : ValuePopup(parent) {
  slider_->setRange(-300, 300);
  slider_->setToolTip(tr("Playback rate"));
}

void PlaybackRatePopup::updateControls(double rate) {
  const double sign = rate > 0 ? 1 : (rate < 0 ? -1 : 0);
  const QSignalBlocker blocker(slider_);
  slider_->setValue(static_cast<int>(std::lround(100 * std::sqrt(std::abs(rate)) * sign)));
  label_->setText(QString::number(rate, 'g', 3) + "×");
}

void PlaybackRatePopup::changeValue() {
  const double s = slider_->value() / 100.0;
  const double sign = s > 0 ? 1 : (s < 0 ? -1 : 0);
  value_->setValueAndNotify(std::floor(10 * s * s * sign) / 10);
}

}  // namespace reelcraft
