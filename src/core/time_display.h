#pragma once

#include <cstdint>
#include <string>

#include "media/base/media_time.h"

namespace reelcraft {

// The clock text of a media time, "H:MM:SS.hh", truncated to hundredths (never rounded up).
// Every component is computed by truncating division, so a negative time gives negative
// components each with its own sign (-1.5 s reads "0:00:-1.-50"). A zero timescale (an unset
// time) reads "0:00:00.00". A value whose hundredths overflow 64 bits stops the program.
std::string timeDisplayString(int64_t value, int32_t timescale);
inline std::string timeDisplayString(MediaTime t) {
  return timeDisplayString(t.value, t.timescale);
}

}  // namespace reelcraft
