#include "media/base/media_time.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace reelcraft {
namespace {

__extension__ typedef __int128 int128;

constexpr int64_t kInt64Max = std::numeric_limits<int64_t>::max();
constexpr int64_t kInt64Min = std::numeric_limits<int64_t>::min();

int128 abs128(int128 x) {
  return x < 0 ? -x : x;
}

int128 gcd128(int128 a, int128 b) {
  a = abs128(a);
  b = abs128(b);
  while (b != 0) {
    int128 t = a % b;
    a = b;
    b = t;
  }
  return a;
}

// numerator / denominator rounded half away from zero; denominator > 0.
int128 divideRounded(int128 numerator, int128 denominator, bool* inexact) {
  int128 quotient = numerator / denominator;
  int128 remainder = numerator % denominator;
  if (remainder != 0) {
    *inexact = true;
    if (abs128(remainder) * 2 >= denominator) quotient += numerator < 0 ? -1 : 1;
  }
  return quotient;
}

// A numeric time from a 128-bit value, or the infinity of its sign when it doesn't fit.
MediaTime fromWideValue(int128 value, int64_t timescale, bool rounded) {
  if (value > kInt64Max) return MediaTime::positiveInfinity();
  if (value < kInt64Min) return MediaTime::negativeInfinity();
  MediaTime result = MediaTime::make(static_cast<int64_t>(value), static_cast<int32_t>(timescale));
  if (rounded) result.flags |= MediaTime::kHasBeenRounded;
  return result;
}

// Rank in the total order of compare(): -inf < numbers < indefinite < +inf < invalid.
int orderRank(const MediaTime& t) {
  if (!t.isValid()) return 4;
  if (t.isPositiveInfinity()) return 3;
  if (t.isIndefinite()) return 2;
  if (t.isNegativeInfinity()) return 0;
  return 1;
}

MediaTime negated(MediaTime t) {
  if (t.isPositiveInfinity()) return MediaTime::negativeInfinity();
  if (t.isNegativeInfinity()) return MediaTime::positiveInfinity();
  if (!t.isNumeric()) return t;
  return fromWideValue(-static_cast<int128>(t.value), t.timescale, t.hasBeenRounded());
}

// The result of an operation when one operand is not a plain number, or nothing when both are.
bool specialSum(MediaTime a, MediaTime b, MediaTime* result) {
  if (!a.isValid() || !b.isValid()) {
    *result = MediaTime::invalid();
  } else if (a.isIndefinite() || b.isIndefinite()) {
    *result = MediaTime::indefinite();
  } else if ((a.isPositiveInfinity() && b.isNegativeInfinity()) ||
             (a.isNegativeInfinity() && b.isPositiveInfinity())) {
    *result = MediaTime::indefinite();
  } else if (a.isPositiveInfinity() || b.isPositiveInfinity()) {
    *result = MediaTime::positiveInfinity();
  } else if (a.isNegativeInfinity() || b.isNegativeInfinity()) {
    *result = MediaTime::negativeInfinity();
  } else {
    return false;
  }
  return true;
}

// A time scaled by a non-numeric case of multiplication; `sign` is the factor's sign.
MediaTime specialProduct(MediaTime t, int sign) {
  if (!t.isValid()) return MediaTime::invalid();
  if (t.isIndefinite()) return MediaTime::indefinite();
  if (sign == 0) return MediaTime::indefinite();
  return sign > 0 ? t : negated(t);
}

// t × numerator / denominator with denominator > 0: in t's timescale when that is exact, else
// in the smallest multiple of it that holds the result, else rounded to t's timescale.
MediaTime scaleExactly(MediaTime t, int128 numerator, int128 denominator) {
  int128 product = static_cast<int128>(t.value) * numerator;
  int128 reduce = gcd128(product, denominator);
  if (reduce == 0) reduce = 1;
  int128 extraScale = denominator / reduce;
  int128 timescale = static_cast<int128>(t.timescale) * extraScale;
  if (timescale <= MediaTime::kMaxTimescale) {
    return fromWideValue(product / reduce, static_cast<int64_t>(timescale), t.hasBeenRounded());
  }
  bool inexact = false;
  int128 value = divideRounded(product, denominator, &inexact);
  return fromWideValue(value, t.timescale, inexact || t.hasBeenRounded());
}

MediaTime combine(MediaTime a, MediaTime b, int sign) {
  MediaTime special;
  if (specialSum(a, sign > 0 ? b : negated(b), &special)) return special;
  const bool rounded = a.hasBeenRounded() || b.hasBeenRounded();
  if (a.timescale == b.timescale) {
    int128 value = static_cast<int128>(a.value) + sign * static_cast<int128>(b.value);
    return fromWideValue(value, a.timescale, rounded);
  }
  int64_t common = std::lcm(static_cast<int64_t>(a.timescale), static_cast<int64_t>(b.timescale));
  if (common <= MediaTime::kMaxTimescale) {
    int128 value = static_cast<int128>(a.value) * (common / a.timescale) +
                   sign * static_cast<int128>(b.value) * (common / b.timescale);
    return fromWideValue(value, common, rounded);
  }
  // No 32-bit timescale holds both exactly: round both to the finer of the two.
  int32_t timescale = std::max(a.timescale, b.timescale);
  MediaTime ra = convertScale(a, timescale);
  MediaTime rb = convertScale(b, timescale);
  int128 value = static_cast<int128>(ra.value) + sign * static_cast<int128>(rb.value);
  return fromWideValue(value, timescale, true);
}

int signOf(int128 x) {
  return (x > 0) - (x < 0);
}

}  // namespace

MediaTime MediaTime::fromSeconds(double seconds, int32_t preferredTimescale) {
  if (std::isnan(seconds) || preferredTimescale <= 0) return invalid();
  if (std::isinf(seconds)) return seconds > 0 ? positiveInfinity() : negativeInfinity();
  long double scaled = static_cast<long double>(seconds) * preferredTimescale;
  long double rounded = std::round(scaled);
  if (rounded >= 9.2233720368547758e18L) return positiveInfinity();
  if (rounded <= -9.2233720368547758e18L) return negativeInfinity();
  MediaTime result = make(static_cast<int64_t>(rounded), preferredTimescale);
  if (rounded != scaled) result.flags |= kHasBeenRounded;
  return result;
}

double MediaTime::seconds() const {
  if (isPositiveInfinity()) return std::numeric_limits<double>::infinity();
  if (isNegativeInfinity()) return -std::numeric_limits<double>::infinity();
  if (!isNumeric()) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(static_cast<long double>(value) / timescale);
}

std::string MediaTime::debugString() const {
  if (!isValid()) return "invalid";
  if (isPositiveInfinity()) return "+infinity";
  if (isNegativeInfinity()) return "-infinity";
  if (isIndefinite()) return "indefinite";
  return std::to_string(value) + "/" + std::to_string(timescale) +
         (hasBeenRounded() ? " (rounded)" : "");
}

MediaTime add(MediaTime a, MediaTime b) {
  return combine(a, b, +1);
}

MediaTime subtract(MediaTime a, MediaTime b) {
  return combine(a, b, -1);
}

int compare(MediaTime a, MediaTime b) {
  int rankA = orderRank(a);
  int rankB = orderRank(b);
  if (rankA != rankB) return rankA < rankB ? -1 : 1;
  if (rankA != 1) return 0;
  int128 left = static_cast<int128>(a.value) * b.timescale;
  int128 right = static_cast<int128>(b.value) * a.timescale;
  return (left > right) - (left < right);
}

MediaTime multiply(MediaTime t, int32_t n) {
  if (!t.isNumeric()) return specialProduct(t, (n > 0) - (n < 0));
  return fromWideValue(static_cast<int128>(t.value) * n, t.timescale, t.hasBeenRounded());
}

MediaTime multiplyByDouble(MediaTime t, double factor) {
  if (std::isnan(factor)) return MediaTime::invalid();
  if (!t.isNumeric()) return specialProduct(t, (factor > 0) - (factor < 0));
  long double product = static_cast<long double>(t.value) * factor;
  if (std::isinf(product) || std::fabs(product) >= 9.2233720368547758e18L) {
    return product > 0 ? MediaTime::positiveInfinity() : MediaTime::negativeInfinity();
  }
  long double rounded = std::round(product);
  return fromWideValue(static_cast<int128>(rounded), t.timescale,
                       rounded != product || t.hasBeenRounded());
}

MediaTime multiplyByRatio(MediaTime t, int64_t numerator, int64_t denominator) {
  if (denominator == 0) return MediaTime::invalid();
  int128 num = numerator;
  int128 den = denominator;
  if (den < 0) {
    num = -num;
    den = -den;
  }
  if (!t.isNumeric()) return specialProduct(t, signOf(num));
  return scaleExactly(t, num, den);
}

MediaTime multiplyByTimeRatio(MediaTime t, MediaTime numerator, MediaTime denominator) {
  if (!numerator.isNumeric() || !denominator.isNumeric() || denominator.value == 0) {
    return MediaTime::invalid();
  }
  // (n.v / n.ts) / (d.v / d.ts) = n.v·d.ts / (n.ts·d.v)
  int128 num = static_cast<int128>(numerator.value) * denominator.timescale;
  int128 den = static_cast<int128>(numerator.timescale) * denominator.value;
  if (den < 0) {
    num = -num;
    den = -den;
  }
  int128 reduce = gcd128(num, den);
  if (reduce > 1) {
    num /= reduce;
    den /= reduce;
  }
  if (!t.isNumeric()) return specialProduct(t, signOf(num));
  if (abs128(num) <= kInt64Max && den <= kInt64Max) return scaleExactly(t, num, den);
  // Too large for exact arithmetic: round to the finest of the three timescales.
  int32_t timescale = std::max({t.timescale, numerator.timescale, denominator.timescale});
  long double seconds = static_cast<long double>(t.value) / t.timescale *
                        static_cast<long double>(num) / static_cast<long double>(den);
  MediaTime result = MediaTime::fromSeconds(static_cast<double>(seconds), timescale);
  if (result.isNumeric()) result.flags |= MediaTime::kHasBeenRounded;
  return result;
}

MediaTime convertScale(MediaTime t, int32_t timescale) {
  if (timescale <= 0) return MediaTime::invalid();
  if (!t.isNumeric()) return t;
  if (t.timescale == timescale) return t;
  bool inexact = false;
  int128 value = divideRounded(static_cast<int128>(t.value) * timescale, t.timescale, &inexact);
  return fromWideValue(value, timescale, inexact || t.hasBeenRounded());
}

MediaTime minimum(MediaTime a, MediaTime b) {
  return compare(b, a) < 0 ? b : a;
}

MediaTime maximum(MediaTime a, MediaTime b) {
  return compare(b, a) > 0 ? b : a;
}

MediaTime absolute(MediaTime t) {
  if (t.isNegativeInfinity()) return MediaTime::positiveInfinity();
  if (t.isNumeric() && t.value < 0) return negated(t);
  return t;
}

bool TimeRange::isValid() const {
  if (!start.isNumeric()) return false;
  if (duration.isPositiveInfinity()) return true;
  return duration.isNumeric() && duration.value >= 0;
}

bool TimeRange::containsTime(MediaTime t) const {
  return isValid() && t.isNumeric() && compare(t, start) >= 0 && compare(t, end()) < 0;
}

bool TimeRange::containsRange(const TimeRange& other) const {
  return isValid() && other.isValid() && compare(other.start, start) >= 0 &&
         compare(other.end(), end()) <= 0;
}

TimeRange TimeRange::intersection(const TimeRange& other) const {
  if (!isValid() || !other.isValid()) return TimeRange::invalid();
  MediaTime newStart = maximum(start, other.start);
  MediaTime newEnd = minimum(end(), other.end());
  if (compare(newEnd, newStart) <= 0) return {newStart, MediaTime::zero()};
  return fromStartEnd(newStart, newEnd);
}

TimeRange TimeRange::unionWith(const TimeRange& other) const {
  if (!isValid() || !other.isValid()) return TimeRange::invalid();
  return fromStartEnd(minimum(start, other.start), maximum(end(), other.end()));
}

std::string TimeRange::debugString() const {
  return "[" + start.debugString() + " + " + duration.debugString() + "]";
}

}  // namespace reelcraft
