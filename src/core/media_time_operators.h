#pragma once

#include <cstdint>

#include "media/base/media_time.h"

// The arithmetic the application writes with media times. Comparison and equality come with
// MediaTime itself; these add the operators that read like the arithmetic they do.
namespace reelcraft {

inline MediaTime operator-(MediaTime t) {
  return multiply(t, -1);
}
inline MediaTime operator+(MediaTime a, MediaTime b) {
  return add(a, b);
}
inline MediaTime operator-(MediaTime a, MediaTime b) {
  return subtract(a, b);
}
inline MediaTime& operator+=(MediaTime& a, MediaTime b) {
  return a = add(a, b);
}
inline MediaTime& operator-=(MediaTime& a, MediaTime b) {
  return a = subtract(a, b);
}
inline MediaTime operator*(MediaTime t, double factor) {
  return multiplyByDouble(t, factor);
}

// t × n for a whole number of steps. A factor outside the signed 32-bit range is a programming
// error and stops the program rather than truncating silently.
MediaTime operator*(MediaTime t, int64_t n);
inline MediaTime operator*(MediaTime t, int n) {
  return t * static_cast<int64_t>(n);
}

inline double seconds(MediaTime t) {
  return t.seconds();
}

}  // namespace reelcraft
