#pragma once

#include <array>
#include <string>
#include <string_view>

#include "media/base/error.h"

namespace reelcraft {

inline constexpr std::string_view kDocumentErrorDomain = "ReelcraftDocumentErrorDomain";

enum class DocumentErrorCode {
  NothingToSave = 1,      // the movie holds no video or sound
  FolderNotWritable = 2,  // no file can be made in the destination's folder
  WriteFailed = 3,        // the movie writer failed, or what it wrote is not the movie
  ReplaceFailed = 4,      // the written file could not take the destination's place
};

inline constexpr std::array kDocumentErrorCodes =
    errorCodeValues(DocumentErrorCode::NothingToSave, DocumentErrorCode::FolderNotWritable,
                    DocumentErrorCode::WriteFailed, DocumentErrorCode::ReplaceFailed);

// An error in kDocumentErrorDomain: "The document “NAME” couldn’t be saved" followed by
// `reason`, with `recoverySuggestion` or, when that is empty, one that fits `code`.
Error makeSaveError(DocumentErrorCode code, const std::string& destination,
                    const std::string& reason, std::string recoverySuggestion = {});

}  // namespace reelcraft
