#pragma once

#include <string>
#include <string_view>

#include "media/base/media_error_codes.h"

namespace reelcraft {

// Throws the SaveError `code` for the movie being saved at `path`, its description naming the
// file and giving `reason` (the cause, may be empty where the code has no cause to give).
[[noreturn]] void throwSaveError(SaveError code, const std::string& path,
                                 const std::string& reason);

// Throws SaveError::ContainerCannotHold for the movie being saved at `path`: `container` ("a
// QuickTime movie (.mov)") cannot hold `track` ("video track 1 (vp9)"), which `holder` ("an
// MPEG-4 movie (.mp4)") holds; the user is told to save with `holderExtension`.
[[noreturn]] void throwContainerCannotHold(const std::string& path, std::string_view container,
                                           const std::string& track, std::string_view holder,
                                           std::string_view holderExtension);

// Throws SaveError::CannotReencode for a part of the movie: `description` says which part could
// not be re-encoded and why.
[[noreturn]] void throwCannotReencode(std::string description);

}  // namespace reelcraft
