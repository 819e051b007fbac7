#include "timeline_view/timeline_control.h"

#include <cmath>
#include <cstdlib>
#include <utility>

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPointer>

#include "timeline/selection_rules.h"

namespace reelcraft {

namespace {

QColor grey(double level) {
  return QColor::fromRgbF(level, level, level, 1.0);
}

}  // namespace

QColor TimelineControl::barFillColor() {
  static const QColor color = grey(0.7);
  return color;
}

QColor TimelineControl::barOutlineColor() {
  static const QColor color = grey(0.3);
  return color;
}

QColor TimelineControl::selectionFillColor() {
  static const QColor color = grey(0.4);
  return color;
}

QColor TimelineControl::cursorColor() {
  static const QColor color = grey(0.2);
  return color;
}

TimelineControl::TimelineControl(QWidget* parent)
    : QWidget(parent), currentTimeBindable_(Bindable<MediaTime>::create(MediaTime::make(0, 100))) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  // At least one point to spread times over, so that every x maps to a time.
  setMinimumWidth(static_cast<int>(2 * kInset) + 1);
  // Peers may keep the Bindable after this view has gone; then the observer does nothing.
  QPointer<TimelineControl> self(this);
  currentTimeBindable_->observers.push_back([self](const MediaTime& time) {
    if (self) self->setCurrentTime(time);
  });
}

TimelineControl::~TimelineControl() = default;

void TimelineControl::setDuration(MediaTime duration) {
  duration_ = duration;
  update();
}

void TimelineControl::setSelections(std::vector<TimelineSelection> selections) {
  selections_ = std::move(selections);
  update();
}

void TimelineControl::setCurrentTime(MediaTime time) {
  currentTime_ = time;
  update();
}

QSize TimelineControl::sizeHint() const {
  return {400, static_cast<int>(kCursorBottom + kCursorHeight + kCursorBottom)};
}

QSize TimelineControl::minimumSizeHint() const {
  return {minimumWidth(), sizeHint().height()};
}

double TimelineControl::positionOf(MediaTime time) const {
  if (duration_.value == 0) return 0;
  if (time.isPositiveInfinity()) return usableWidth();
  if (!time.isNumeric() || !duration_.isNumeric()) return 0;
  // Cross-multiplied in floating point, so that no timescale conversion can overflow.
  double fraction = (static_cast<double>(time.value) * duration_.timescale) /
                    (static_cast<double>(time.timescale) * static_cast<double>(duration_.value));
  if (fraction > 1.0) fraction = 1.0;
  return usableWidth() * fraction;
}

MediaTime TimelineControl::timeAt(double x) const {
  const double w = usableWidth();
  double offset = x - kInset;
  if (offset < 0) {
    offset = 0;
  } else if (offset > w) {
    offset = w;
  }
  const double value = offset / w * static_cast<double>(duration_.value);
  // The minimum width keeps w positive, so this cannot happen through the user.
  constexpr double kInt64Bound = 9223372036854775808.0;  // 2^63
  if (!std::isfinite(value) || value < -kInt64Bound || value >= kInt64Bound) std::abort();
  return MediaTime::make(static_cast<int64_t>(value), duration_.timescale);
}

QRectF TimelineControl::barRect() const {
  return {kInset, kBarBottom, usableWidth(), kBarHeight};
}

QPainterPath TimelineControl::barPath() const {
  QPainterPath path;
  path.addRoundedRect(barRect(), kBarCornerRadius, kBarCornerRadius);
  return path;
}

QPainterPath TimelineControl::cursorPath(const QRectF& box) {
  const double a = box.width();
  const double b = box.height();
  QPainterPath path;
  path.setFillRule(Qt::WindingFill);
  QPointF point = box.topLeft();  // (x, y): the lowest y once the painter is mirrored
  path.moveTo(point);
  for (const QPointF step : {QPointF(a / 2, b / 2), QPointF(-a / 2, b / 2), QPointF(a, 0),
                             QPointF(-a / 2, -b / 2), QPointF(a / 2, -b / 2)}) {
    point += step;
    path.lineTo(point);
  }
  path.closeSubpath();
  return path;
}

void TimelineControl::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  // The geometry is laid out with y pointing up from the bottom edge; Qt's y points down, so
  // the painter is mirrored to draw it the right way up.
  painter.translate(0, height());
  painter.scale(1, -1);

  const QPainterPath bar = barPath();
  painter.fillPath(bar, barFillColor());

  if (!selections_.empty()) {
    painter.save();
    painter.setClipPath(barPath());
    for (const TimelineSelection& selection : selections_) {
      const double x0 = positionOf(selection.start);
      const double x1 = positionOf(add(selection.start, selection.duration));
      painter.fillRect(QRectF(x0 + kInset, kBarBottom, x1 - x0, kBarHeight), selectionFillColor());
    }
    painter.restore();
  }

  painter.setPen(QPen(barOutlineColor(), 1.0));
  painter.setBrush(Qt::NoBrush);
  painter.drawPath(bar);

  const double cursor = positionOf(currentTime_);
  painter.fillPath(cursorPath(QRectF(cursor + kInset - kCursorWidth / 2, kCursorBottom,
                                     kCursorWidth, kCursorHeight)),
                   cursorColor());
}

void TimelineControl::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) {
    QWidget::mousePressEvent(event);
    return;
  }
  const MediaTime time = timeAt(event->position().x());
  if (event->modifiers().testFlag(Qt::ShiftModifier)) {
    selections_ = updateSelections(time, std::move(selections_), currentTime_);
  } else {
    selections_.clear();
  }
  update();
  currentTimeBindable_->setValueAndNotify(time);
}

void TimelineControl::mouseMoveEvent(QMouseEvent* event) {
  if (!event->buttons().testFlag(Qt::LeftButton)) {
    QWidget::mouseMoveEvent(event);
    return;
  }
  const MediaTime time = timeAt(event->position().x());
  if (event->modifiers().testFlag(Qt::ShiftModifier)) {
    selections_ = updateSelections(time, std::move(selections_), currentTime_);
    update();
  }
  currentTimeBindable_->setValueAndNotify(time);
}

}  // namespace reelcraft
