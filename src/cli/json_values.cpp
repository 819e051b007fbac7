#include "cli/json_values.h"

#include <cmath>

namespace reelcraft {
namespace {

// Whole numbers print as integers ("320", not "320.0").
nlohmann::ordered_json number(double value) {
  if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) < 9e15) {
    return static_cast<int64_t>(value);
  }
  return value;
}

}  // namespace

nlohmann::ordered_json mediaTimeJson(MediaTime time) {
  if (!time.isValid()) return nullptr;
  nlohmann::ordered_json json = {{"value", time.value}, {"timescale", time.timescale}};
  if (time.isNumeric()) {
    json["seconds"] = time.seconds();
  } else {
    json["seconds"] = nullptr;
    json["kind"] = time.isPositiveInfinity()   ? "+infinity"
                   : time.isNegativeInfinity() ? "-infinity"
                                               : "indefinite";
  }
  return json;
}

nlohmann::ordered_json timeRangeJson(const TimeRange& range) {
  return {{"start", mediaTimeJson(range.start)}, {"duration", mediaTimeJson(range.duration)}};
}

nlohmann::ordered_json sizeJson(Size size) {
  return nlohmann::ordered_json::array({number(size.width), number(size.height)});
}

nlohmann::ordered_json transformJson(const AffineTransform& t) {
  return nlohmann::ordered_json::array(
      {number(t.a), number(t.b), number(t.c), number(t.d), number(t.tx), number(t.ty)});
}

}  // namespace reelcraft
