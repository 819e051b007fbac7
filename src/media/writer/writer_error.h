#pragma once

#include <string>

#include "media/base/error.h"

namespace reelcraft {

// Failures of writing a media file, in kMediaErrorDomain (codes after those of opening).
enum class WriterErrorCode {
  UnsupportedSettings = 101,  // output settings that no encoder here can honour
  UnknownFileType = 102,
  FolderNotFound = 103,
  PermissionDenied = 104,
  IncompatibleInput = 105,  // the file type cannot hold this track
  EncodingFailed = 106,
  WritingFailed = 107,
};

// An error whose description names the file (by its file name) where there is one, states
// `detail` (a sentence without final period) and suggests what to do.
Error makeWriterError(WriterErrorCode code, const std::string& path, const std::string& detail);

[[noreturn]] void throwWriterError(WriterErrorCode code, const std::string& path,
                                   const std::string& detail);

}  // namespace reelcraft
