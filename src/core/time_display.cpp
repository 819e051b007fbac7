#include "core/time_display.h"

#include <cstdio>
#include <cstdlib>

namespace reelcraft {

std::string timeDisplayString(int64_t value, int32_t timescale) {
  if (timescale == 0) return "0:00:00.00";
  int64_t scaled = 0;
  if (__builtin_mul_overflow(value, int64_t{100}, &scaled)) {
    std::fprintf(stderr, "fatal: media time %lld/%d is too large to display\n",
                 static_cast<long long>(value), timescale);
    std::abort();
  }
  const int64_t total = scaled / timescale;
  const int64_t hours = total / 360000;
  const int64_t minutes = total / 6000 - hours * 60;
  const int64_t seconds = total / 100 - (total / 6000) * 60;
  const int64_t hundredths = total - (hours * 3600 + minutes * 60 + seconds) * 100;
  char text[96];
  std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%02lld", static_cast<long long>(hours),
                static_cast<long long>(minutes), static_cast<long long>(seconds),
                static_cast<long long>(hundredths));
  return text;
}

}  // namespace reelcraft
