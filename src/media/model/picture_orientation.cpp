#include "media/model/picture_orientation.h"

#include <cmath>
#include <numbers>

namespace reelcraft {
namespace {

double snappedToWhole(double value) {
  const double whole = std::round(value);
  return std::fabs(value - whole) < 1e-6 ? whole : value;
}

}  // namespace

PictureOrientation PictureOrientation::nearestTo(const AffineTransform& transform) {
  PictureOrientation orientation;
  orientation.mirrored = transform.a * transform.d - transform.b * transform.c < 0;
  // A mirrored transform is a left-right mirror followed by a turn; the mirror matrix is its
  // own inverse, so mirroring the transform's first row again leaves the turn.
  const double cosine = orientation.mirrored ? -transform.a : transform.a;
  const double sine = orientation.mirrored ? -transform.b : transform.b;
  const double quarters = std::atan2(sine, cosine) / (std::numbers::pi / 2);
  orientation.quarterTurnsClockwise = static_cast<int>(((std::lround(quarters) % 4) + 4) % 4);
  return orientation;
}

Size displayedSize(Size naturalSize, const AffineTransform& transform) {
  const double width = naturalSize.width * std::hypot(transform.a, transform.b);
  const double height = naturalSize.height * std::hypot(transform.c, transform.d);
  const bool sideways = PictureOrientation::nearestTo(transform).swapsAxes();
  return sideways ? Size{snappedToWhole(height), snappedToWhole(width)}
                  : Size{snappedToWhole(width), snappedToWhole(height)};
}

}  // namespace reelcraft
