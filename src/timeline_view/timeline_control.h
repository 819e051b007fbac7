#pragma once

#include <memory>
#include <vector>

#include <QColor>
#include <QPainterPath>
#include <QRectF>
#include <QWidget>

#include "core/bindable.h"
#include "core/timeline_selection.h"
#include "media/base/media_time.h"
#include "timeline/timeline.h"

namespace reelcraft {

// The thin timeline under the player: the movie's length as a rounded bar, the selections as
// darker stretches inside it, and the play cursor as a small hourglass.
//
// A click moves the cursor and clears the selections; a drag scrubs. With Shift held a click or
// a drag makes or extends a selection (the last selection's nearer edge follows the mouse, or
// without selections one is made between the cursor and the mouse). The cursor time goes out
// through currentTimeBindable (set and notify), which the player view binds to the player's
// own; the player's time comes back the same way.
//
// Times map linearly onto the bar, which leaves kInset points free at either end: time 0 sits
// at x = kInset and the duration at width − kInset.
class TimelineControl : public QWidget, public Timeline {
  Q_OBJECT

 public:
  static constexpr double kInset = 8;
  // The bar, the cursor marker and their places, measured upwards from the widget's bottom
  // edge.
  static constexpr double kBarBottom = 6;
  static constexpr double kBarHeight = 6;
  static constexpr double kBarCornerRadius = 3;
  static constexpr double kCursorBottom = 2;
  static constexpr double kCursorWidth = 8;
  static constexpr double kCursorHeight = 14;

  // Opaque greys.
  static QColor barFillColor();        // 0.7
  static QColor barOutlineColor();     // 0.3
  static QColor selectionFillColor();  // 0.4
  static QColor cursorColor();         // 0.2

  explicit TimelineControl(QWidget* parent = nullptr);
  ~TimelineControl() override;

  // The length the bar stands for; 10 s at first.
  MediaTime duration() const { return duration_; }
  void setDuration(MediaTime duration);

  // Timeline: the selections in the order they were made, and the cursor time shown.
  std::vector<TimelineSelection> selections() const override { return selections_; }
  void setSelections(std::vector<TimelineSelection> selections) override;
  MediaTime currentTime() const override { return currentTime_; }
  // Shows `time` as the cursor without telling anyone (currentTimeBindable is left as it is).
  void setCurrentTime(MediaTime time);
  void setNeedsDisplay() override { update(); }

  // The cursor time as an observable: a new value moves the cursor; clicks and drags set and
  // notify it. Starts at 0.
  const std::shared_ptr<Bindable<MediaTime>>& currentTimeBindable() const {
    return currentTimeBindable_;
  }

  // The width that times are spread over: the widget's width less both insets.
  double usableWidth() const { return width() - 2 * kInset; }
  // Where `time` lies on the bar, in points from its left end (x = kInset). Times after the
  // duration lie at the right end; times before zero lie left of the bar.
  double positionOf(MediaTime time) const;
  // The time under widget coordinate `x`, in the duration's timescale: 0 left of the bar, the
  // duration right of it.
  MediaTime timeAt(double x) const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;

 private:
  QRectF barRect() const;
  QPainterPath barPath() const;
  // The hourglass filling `box`: two triangles meeting at its centre, one on the bottom edge
  // and one on the top edge.
  static QPainterPath cursorPath(const QRectF& box);

  MediaTime duration_ = MediaTime::make(10, 1);
  MediaTime currentTime_ = MediaTime::make(0, 1);
  std::vector<TimelineSelection> selections_;
  std::shared_ptr<Bindable<MediaTime>> currentTimeBindable_;
};

}  // namespace reelcraft
