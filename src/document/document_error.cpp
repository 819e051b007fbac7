#include "document/document_error.h"

#include <filesystem>
#include <utility>

namespace reelcraft {

Error makeSaveError(DocumentErrorCode code, const std::string& destination,
                    const std::string& reason, std::string recoverySuggestion) {
  Error error;
  error.domain = std::string(kDocumentErrorDomain);
  error.code = static_cast<int>(code);
  const std::string name = std::filesystem::path(destination).filename().string();
  error.description = "The document “" + name + "” couldn’t be saved: " + reason;
  if (!error.description.ends_with('.')) error.description += '.';
  if (recoverySuggestion.empty()) {
    switch (code) {
      case DocumentErrorCode::NothingToSave:
        recoverySuggestion = "Insert or paste some video or sound into the movie first.";
        break;
      case DocumentErrorCode::FolderNotWritable:
        recoverySuggestion = "Choose a folder that exists and that you can write to.";
        break;
      case DocumentErrorCode::WriteFailed:
      case DocumentErrorCode::ReplaceFailed:
        recoverySuggestion =
            "Make sure the disk has enough free space and the folder can be written to, then "
            "try again.";
        break;
    }
  }
  error.recoverySuggestion = std::move(recoverySuggestion);
  return error;
}

}  // namespace reelcraft
