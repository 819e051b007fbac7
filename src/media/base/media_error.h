#pragma once

#include <string>

#include "media/base/error.h"
#include "media/base/media_error_codes.h"

namespace reelcraft {

// An error in kMediaErrorDomain whose description names the file (by its file name) and says
// why it could not be opened, with a suggestion of what to do.
Error makeMediaError(MediaErrorCode code, const std::string& path);

[[noreturn]] void throwMediaError(MediaErrorCode code, const std::string& path);

}  // namespace reelcraft
