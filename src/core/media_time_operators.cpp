#include "core/media_time_operators.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace reelcraft {

MediaTime operator*(MediaTime t, int64_t n) {
  if (n < std::numeric_limits<int32_t>::min() || n > std::numeric_limits<int32_t>::max()) {
    std::fprintf(stderr, "fatal: media time factor %lld does not fit in 32 bits\n",
                 static_cast<long long>(n));
    std::abort();
  }
  return multiply(t, static_cast<int32_t>(n));
}

}  // namespace reelcraft
