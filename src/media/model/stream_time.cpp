#include "media/model/stream_time.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace reelcraft {
namespace {

__extension__ typedef __int128 Int128;

// floor(numerator / denominator) for a positive denominator.
Int128 floorDivide(Int128 numerator, Int128 denominator) {
  Int128 quotient = numerator / denominator;
  if ((numerator % denominator != 0) && (numerator < 0)) --quotient;
  return quotient;
}

}  // namespace

MediaTime timeFromTicks(int64_t ticks, AVRational timeBase) {
  if (timeBase.num == 1) return MediaTime::make(ticks, timeBase.den);
  return multiplyByRatio(MediaTime::make(ticks, timeBase.den), timeBase.num, 1);
}

int64_t ticksAtOrBefore(MediaTime t, AVRational timeBase) {
  return static_cast<int64_t>(floorDivide(static_cast<Int128>(t.value) * timeBase.den,
                                          static_cast<Int128>(t.timescale) * timeBase.num));
}

int64_t samplePosition(MediaTime t, int rate) {
  // floor(t × rate + 1/2) = floor((2·value·rate + timescale) / (2·timescale))
  const Int128 numerator = static_cast<Int128>(t.value) * rate * 2 + t.timescale;
  return static_cast<int64_t>(floorDivide(numerator, static_cast<Int128>(t.timescale) * 2));
}

}  // namespace reelcraft
