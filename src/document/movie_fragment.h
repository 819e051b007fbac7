#pragma once

#include "media/asset.h"
#include "media/media_time.h"

namespace reelcraft {

// A stretch of a movie, the unit of copy and paste: a frozen asset and a range in its time.
struct MovieFragment {
  AssetPtr asset;
  TimeRange range = TimeRange::make(MediaTime::make(0, 200), MediaTime::make(0, 200));
};

}  // namespace reelcraft
