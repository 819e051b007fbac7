#pragma once

#include <optional>
#include <string_view>

#include "media/base/media_time.h"

namespace reelcraft {

// A time given on the command line, exactly: seconds with an optional decimal fraction
// ("5.2", "12"), clock text as the time display shows it ("0:00:05.20", "1:05.5"), or a
// fraction of seconds ("156/30"). Decimals finer than a nanosecond are rounded to the nearest
// one. Nothing when the text is none of these or does not fit.
// Negative times are not accepted.
std::optional<MediaTime> parseTimeArgument(std::string_view text);

}  // namespace reelcraft
