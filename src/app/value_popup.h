#pragma once

#include <memory>

#include <QFrame>

#include "core/bindable.h"

class QLabel;
class QSlider;

namespace reelcraft {

// A small transient panel with a slider that edits a value shared with the player (bind the
// player's Bindable to value()). A click outside closes it.
class ValuePopup : public QFrame {
  Q_OBJECT

 public:
  explicit ValuePopup(QWidget* parent = nullptr);

  const std::shared_ptr<Bindable<double>>& value() const { return value_; }
  QSlider* slider() const { return slider_; }
  QLabel* label() const { return label_; }

  // Shows `v` on the controls.
  virtual void updateControls(double v) = 0;
  // Takes the slider's position as the new value and tells the player.
  virtual void changeValue() = 0;

 protected:
  std::shared_ptr<Bindable<double>> value_;
  QSlider* slider_;
  QLabel* label_;
};

// The volume as the fraction of the slider's travel: 0 at the left end, 1 at the right.
class VolumePopup : public ValuePopup {
  Q_OBJECT

 public:
  explicit VolumePopup(QWidget* parent = nullptr);
  void updateControls(double v) override;
  void changeValue() override;
};

// The playback rate on a square-law slider (100 × √|rate|, signed), so rates near 1 get most
// of the travel; rates go in steps of 0.1, rounded down.
class PlaybackRatePopup : public ValuePopup {
  Q_OBJECT

 public:
  explicit PlaybackRatePopup(QWidget* parent = nullptr);
  void updateControls(double rate) override;
  void changeValue() override;
};

}  // namespace reelcraft
