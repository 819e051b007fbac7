#pragma once

#include "media/base/media_time.h"

struct AVFormatContext;

namespace reelcraft {

// Where a file's clock stands at movie time zero, in its streams' time.
//
// A QuickTime or MPEG-4 movie lays its tracks out on a timeline of its own (edit lists) that
// starts at zero: empty time before every track's first sample is part of the movie. Any other
// container stamps its samples with the clock of whatever recorded them, which may stand
// anywhere (a broadcast transport stream can start hours in): the movie starts with the file's
// first sample, at the container's start time as FFmpeg counts it, taken exactly from the
// stream that starts there. Streams that start later keep their offset as empty time.
MediaTime movieClockStart(const AVFormatContext& file);

}  // namespace reelcraft
