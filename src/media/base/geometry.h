#pragma once

#include <string>

namespace reelcraft {

struct Size {
  double width = 0;
  double height = 0;
  bool isEmpty() const { return width <= 0 || height <= 0; }
};
inline bool operator==(const Size& a, const Size& b) {
  return a.width == b.width && a.height == b.height;
}

struct Point {
  double x = 0;
  double y = 0;
};

// A 2-D affine transform in the row-vector convention of display matrices:
// [x' y' 1] = [x y 1] × | a  b  0 |
//                       | c  d  0 |
//                       | tx ty 1 |
struct AffineTransform {
  double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;

  static AffineTransform identity() { return {}; }
  static AffineTransform rotation(double radians);
  static AffineTransform translation(double x, double y) { return {1, 0, 0, 1, x, y}; }

  // This transform with a rotation applied first: rotation(radians) × this. Rotating by a
  // quarter turn four times in one direction gives back the starting orientation.
  AffineTransform rotated(double radians) const;
  // this × other: apply this transform, then `other`.
  AffineTransform concatenated(const AffineTransform& other) const;
  Point apply(Point p) const;
  // The size of the box that `size` covers after the transform (translation ignored).
  Size applyToSize(Size size) const;
  bool isIdentity() const;
  // Equal within `tolerance` in every component.
  bool approximatelyEquals(const AffineTransform& other, double tolerance = 1e-9) const;
  std::string debugString() const;
};

inline bool operator==(const AffineTransform& x, const AffineTransform& y) {
  return x.a == y.a && x.b == y.b && x.c == y.c && x.d == y.d && x.tx == y.tx && x.ty == y.ty;
}

}  // namespace reelcraft
