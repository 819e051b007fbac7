#pragma once

#include <string>

#include "media/base/error.h"
#include "media/base/media_error_codes.h"

namespace reelcraft {

// An error whose description names the file (by its file name) where there is one, states
// `detail` (a sentence without final period) and suggests what to do.
Error makeWriterError(WriterErrorCode code, const std::string& path, const std::string& detail);

[[noreturn]] void throwWriterError(WriterErrorCode code, const std::string& path,
                                   const std::string& detail);

}  // namespace reelcraft
