#pragma once

#include <nlohmann/json.hpp>

#include "media/base/geometry.h"
#include "media/base/media_time.h"

namespace reelcraft {

// {"value", "timescale", "seconds"}; null for an invalid time. Infinite and indefinite times
// keep their flags' meaning in "seconds" (null, as JSON has no infinity) and add "kind".
nlohmann::ordered_json mediaTimeJson(MediaTime time);
// {"start": time, "duration": time}.
nlohmann::ordered_json timeRangeJson(const TimeRange& range);
// [width, height].
nlohmann::ordered_json sizeJson(Size size);
// [a, b, c, d, tx, ty].
nlohmann::ordered_json transformJson(const AffineTransform& transform);

}  // namespace reelcraft
