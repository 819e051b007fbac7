#pragma once

// Conversions between media times and the integer timestamps of FFmpeg streams and sample
// counts.

#include <cstdint>

#include "media/base/media_time.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace reelcraft {

// `ticks` units of `timeBase` as an exact time (rounded only when no timescale can hold it).
MediaTime timeFromTicks(int64_t ticks, AVRational timeBase);

// The last tick of `timeBase` at or before `t` (numeric times only).
int64_t ticksAtOrBefore(MediaTime t, AVRational timeBase);

// The index of the sample at `rate` nearest to `t`, counting sample 0 at time zero; a time
// exactly between two samples belongs to the later one. Every position and edge in the audio
// path is converted with this one rule, so neighbouring spans meet without gaps or overlaps.
int64_t samplePosition(MediaTime t, int rate);

}  // namespace reelcraft
