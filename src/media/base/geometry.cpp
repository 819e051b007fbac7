#include "media/base/geometry.h"

#include <cmath>
#include <sstream>

namespace reelcraft {

AffineTransform AffineTransform::rotation(double radians) {
  const double cosine = std::cos(radians);
  const double sine = std::sin(radians);
  return {cosine, sine, -sine, cosine, 0, 0};
}

AffineTransform AffineTransform::rotated(double radians) const {
  return rotation(radians).concatenated(*this);
}

AffineTransform AffineTransform::concatenated(const AffineTransform& o) const {
  return {a * o.a + b * o.c, a * o.b + b * o.d,          c * o.a + d * o.c,
          c * o.b + d * o.d, tx * o.a + ty * o.c + o.tx, tx * o.b + ty * o.d + o.ty};
}

Point AffineTransform::apply(Point p) const {
  return {p.x * a + p.y * c + tx, p.x * b + p.y * d + ty};
}

Size AffineTransform::applyToSize(Size size) const {
  return {std::fabs(size.width * a + size.height * c), std::fabs(size.width * b + size.height * d)};
}

bool AffineTransform::isIdentity() const {
  return *this == identity();
}

bool AffineTransform::approximatelyEquals(const AffineTransform& o, double tolerance) const {
  return std::fabs(a - o.a) <= tolerance && std::fabs(b - o.b) <= tolerance &&
         std::fabs(c - o.c) <= tolerance && std::fabs(d - o.d) <= tolerance &&
         std::fabs(tx - o.tx) <= tolerance && std::fabs(ty - o.ty) <= tolerance;
}

std::string AffineTransform::debugString() const {
  std::ostringstream out;
  out << "[" << a << " " << b << " " << c << " " << d << " " << tx << " " << ty << "]";
  return out.str();
}

}  // namespace reelcraft
