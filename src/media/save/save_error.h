#pragma once

#include <string>

#include "media/base/media_error_codes.h"

namespace reelcraft {

// Throws the SaveError `code` for the movie being saved at `path`, its description naming the
// file and giving `reason` (the cause, may be empty where the code has no cause to give).
[[noreturn]] void throwSaveError(SaveError code, const std::string& path,
                                 const std::string& reason);

// Throws SaveError::CannotReencode for a part of the movie: `description` says which part could
// not be re-encoded and why.
[[noreturn]] void throwCannotReencode(std::string description);

}  // namespace reelcraft
