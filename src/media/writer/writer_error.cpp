#include "media/writer/writer_error.h"

#include <filesystem>

#include "media/base/media_error.h"

namespace reelcraft {

Error makeWriterError(WriterErrorCode code, const std::string& path, const std::string& detail) {
  const std::string name = std::filesystem::path(path).filename().string();
  const std::string saved = "The file “" + name + "” couldn’t be saved because ";
  Error error = mediaError(code, {}, {});
  switch (code) {
    case WriterErrorCode::UnsupportedSettings:
      error.description = "The output settings can’t be used: " + detail + ".";
      error.recoverySuggestion = "Choose another codec, frame size, sample rate or bit rate.";
      break;
    case WriterErrorCode::UnknownFileType:
      error.description = saved + detail + ".";
      error.recoverySuggestion = "Choose another file format.";
      break;
    case WriterErrorCode::FolderNotFound:
      error.description = saved + detail + ".";
      error.recoverySuggestion = "Choose a folder that exists, then try again.";
      break;
    case WriterErrorCode::PermissionDenied:
      error.description = saved + detail + ".";
      error.recoverySuggestion =
          "Choose a folder you can write to, or ask its owner for write permission.";
      break;
    case WriterErrorCode::IncompatibleInput:
      error.description = saved + detail + ".";
      error.recoverySuggestion = "Choose another file format or codec.";
      break;
    case WriterErrorCode::EncodingFailed:
      error.description = saved + "the media couldn’t be encoded: " + detail + ".";
      error.recoverySuggestion = "Try other export settings.";
      break;
    case WriterErrorCode::WritingFailed:
      error.description = saved + detail + ".";
      error.recoverySuggestion =
          "Check that the disk has free space and is writable, then try again.";
      break;
  }
  return error;
}

void throwWriterError(WriterErrorCode code, const std::string& path, const std::string& detail) {
  throw ErrorException(makeWriterError(code, path, detail));
}

}  // namespace reelcraft
