#include "media/base/media_error.h"

#include <filesystem>

namespace reelcraft {

Error makeMediaError(MediaErrorCode code, const std::string& path) {
  const std::string name = std::filesystem::path(path).filename().string();
  const std::string opened = "The file “" + name + "” couldn’t be opened because ";
  Error error = mediaError(code, {}, {});
  switch (code) {
    case MediaErrorCode::FileNotFound:
      error.description = opened + "there is no such file.";
      error.recoverySuggestion = "Check the file’s name and location, then try again.";
      break;
    case MediaErrorCode::PermissionDenied:
      error.description = opened + "you don’t have permission to view it.";
      error.recoverySuggestion =
          "Ask the file’s owner for read permission, or copy the file to a folder of your own.";
      break;
    case MediaErrorCode::UnrecognizedFormat:
      error.description = opened + "it isn’t in a format that Reelcraft understands.";
      error.recoverySuggestion =
          "Choose a movie or sound file, such as a QuickTime movie or an MPEG-4 file.";
      break;
    case MediaErrorCode::NoPlayableTracks:
      error.description = opened + "it contains no video or sound.";
      error.recoverySuggestion = "Choose a file that contains video or sound.";
      break;
    case MediaErrorCode::Damaged:
      error.description = opened + "it is damaged or incomplete.";
      error.recoverySuggestion =
          "If the file was copied or downloaded, copy or download it again, then try again.";
      break;
    case MediaErrorCode::UnsupportedCodec:
      error.description = opened +
                          "its video and sound use a kind of compression that "
                          "Reelcraft can’t decode.";
      error.recoverySuggestion =
          "Convert the movie to H.264 video and AAC sound with another application, then try "
          "again.";
      break;
  }
  return error;
}

void throwMediaError(MediaErrorCode code, const std::string& path) {
  throw ErrorException(makeMediaError(code, path));
}

}  // namespace reelcraft
