#pragma once

#include <array>
#include <string_view>

#include "media/base/error.h"

namespace reelcraft {

inline constexpr std::string_view kPlayerErrorDomain = "ReelcraftPlayerErrorDomain";

// The codes of kPlayerErrorDomain. Failures while playing keep the media error that the player
// reports.
enum class PlayerErrorCode {
  CannotPlay = 1,  // no player could be made for the movie
};

inline constexpr std::array kPlayerErrorCodes = errorCodeValues(PlayerErrorCode::CannotPlay);

}  // namespace reelcraft
