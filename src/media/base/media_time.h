#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace reelcraft {

// A rational media time: value / timescale seconds, with flags for the special values.
// Times are plain values. Arithmetic is exact whenever the result fits: sums of times in
// different timescales are expressed in a timescale that holds both operands.
struct MediaTime {
  enum Flags : uint32_t {
    kValid = 1u << 0,
    kHasBeenRounded = 1u << 1,
    kPositiveInfinity = 1u << 2,
    kNegativeInfinity = 1u << 3,
    kIndefinite = 1u << 4,
  };
  static constexpr int32_t kMaxTimescale = 0x7fffffff;

  int64_t value = 0;
  int32_t timescale = 0;
  uint32_t flags = 0;
  int64_t epoch = 0;

  // A valid time value/timescale. A timescale of zero or below gives an invalid time.
  static constexpr MediaTime make(int64_t value, int32_t timescale) {
    if (timescale <= 0) return invalid();
    return MediaTime{value, timescale, kValid, 0};
  }
  static constexpr MediaTime zero() { return MediaTime{0, 1, kValid, 0}; }
  static constexpr MediaTime invalid() { return MediaTime{}; }
  static constexpr MediaTime positiveInfinity() {
    return MediaTime{0, 0, kValid | kPositiveInfinity, 0};
  }
  static constexpr MediaTime negativeInfinity() {
    return MediaTime{0, 0, kValid | kNegativeInfinity, 0};
  }
  static constexpr MediaTime indefinite() { return MediaTime{0, 0, kValid | kIndefinite, 0}; }

  // The time nearest to `seconds` in `preferredTimescale` (rounded half away from zero).
  // NaN gives an invalid time, ±inf the matching infinity.
  static MediaTime fromSeconds(double seconds, int32_t preferredTimescale);

  constexpr bool isValid() const { return (flags & kValid) != 0; }
  constexpr bool isPositiveInfinity() const { return isValid() && (flags & kPositiveInfinity); }
  constexpr bool isNegativeInfinity() const { return isValid() && (flags & kNegativeInfinity); }
  constexpr bool isIndefinite() const { return isValid() && (flags & kIndefinite); }
  // Valid and neither infinite nor indefinite: value/timescale means a number of seconds.
  constexpr bool isNumeric() const {
    return isValid() && !(flags & (kPositiveInfinity | kNegativeInfinity | kIndefinite));
  }
  constexpr bool hasBeenRounded() const { return (flags & kHasBeenRounded) != 0; }

  // Seconds as a double; NaN for invalid and indefinite times, ±inf for the infinities.
  double seconds() const;

  // "value/timescale" or a word for the special values; for diagnostics and test output.
  std::string debugString() const;
};

// Exact sum and difference. Special values follow the usual rules (inf + -inf is indefinite);
// an invalid operand gives an invalid result. A sum that no timescale can hold exactly is
// rounded to the larger operand timescale and flagged; an overflowing value becomes an infinity.
MediaTime add(MediaTime a, MediaTime b);
MediaTime subtract(MediaTime a, MediaTime b);

// -1, 0 or +1 by numeric value whatever the timescales (1/2 equals 50/100). Ordering of the
// special values: negative infinity < numbers < indefinite < positive infinity < invalid.
int compare(MediaTime a, MediaTime b);

// t × n in t's timescale.
MediaTime multiply(MediaTime t, int32_t n);
// t × factor in t's timescale, rounded half away from zero (flagged when inexact).
MediaTime multiplyByDouble(MediaTime t, double factor);
// t × numerator / denominator, exact when a timescale up to kMaxTimescale can hold the result,
// otherwise rounded to t's timescale. A zero denominator gives an invalid time.
MediaTime multiplyByRatio(MediaTime t, int64_t numerator, int64_t denominator);
// t expressed in another timescale, rounded half away from zero (flagged when inexact).
MediaTime convertScale(MediaTime t, int32_t timescale);
// t × (numerator / denominator) for two times, as used to map a point through a scaled
// segment: exact when a timescale can hold the result, otherwise rounded to the largest of
// the three timescales (flagged).
MediaTime multiplyByTimeRatio(MediaTime t, MediaTime numerator, MediaTime denominator);

MediaTime minimum(MediaTime a, MediaTime b);
MediaTime maximum(MediaTime a, MediaTime b);
MediaTime absolute(MediaTime t);

// Numeric equality (1/2 == 50/100); use isIdentical for the representation.
inline bool operator==(MediaTime a, MediaTime b) {
  return compare(a, b) == 0;
}
inline std::strong_ordering operator<=>(MediaTime a, MediaTime b) {
  return compare(a, b) <=> 0;
}
inline bool isIdentical(MediaTime a, MediaTime b) {
  return a.value == b.value && a.timescale == b.timescale && a.flags == b.flags &&
         a.epoch == b.epoch;
}

// A stretch of media time: start and duration; end is start + duration.
struct TimeRange {
  MediaTime start = MediaTime::invalid();
  MediaTime duration = MediaTime::invalid();

  static TimeRange make(MediaTime start, MediaTime duration) { return {start, duration}; }
  static TimeRange fromStartEnd(MediaTime start, MediaTime end) {
    return {start, subtract(end, start)};
  }
  static TimeRange zero() { return {MediaTime::zero(), MediaTime::zero()}; }
  static TimeRange invalid() { return {}; }

  MediaTime end() const { return add(start, duration); }
  // Valid: both times valid, duration numeric (or +inf) and not negative.
  bool isValid() const;
  bool isEmpty() const { return isValid() && compare(duration, MediaTime::zero()) == 0; }
  // start <= t < end.
  bool containsTime(MediaTime t) const;
  bool containsRange(const TimeRange& other) const;
  TimeRange intersection(const TimeRange& other) const;  // empty at max(start) if disjoint
  TimeRange unionWith(const TimeRange& other) const;
  std::string debugString() const;
};

inline bool operator==(const TimeRange& a, const TimeRange& b) {
  return a.start == b.start && a.duration == b.duration;
}

}  // namespace reelcraft
