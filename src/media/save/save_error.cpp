#include "media/save/save_error.h"

#include <filesystem>
#include <utility>

namespace reelcraft {
namespace {

constexpr const char* kExportInstead = "Export the movie instead of saving it.";

std::string fileNameOf(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

Error saveError(SaveError code, const std::string& path, const std::string& reason) {
  Error error = mediaError(code, {}, {});
  switch (code) {
    case SaveError::CannotWrite:
      error.description = "The movie \u201c" + fileNameOf(path) + "\u201d could not be saved" +
                          (reason.empty() ? "." : " (" + reason + ").");
      error.recoverySuggestion =
          "Check that the folder exists, that you are allowed to write to it and that the disk "
          "has enough free space, then try again.";
      break;
    case SaveError::NothingToSave:
      error.description = "The movie \u201c" + fileNameOf(path) +
                          "\u201d could not be saved because it contains no video or sound.";
      error.recoverySuggestion = "Add video or sound to the movie, then save it again.";
      break;
    case SaveError::CannotReencode:
      error.description = "The movie \u201c" + fileNameOf(path) +
                          "\u201d could not be saved because a track could not be re-encoded (" +
                          reason + ").";
      error.recoverySuggestion = kExportInstead;
      break;
    case SaveError::ContainerCannotHold:
      error.description = "The movie \u201c" + fileNameOf(path) +
                          "\u201d could not be saved because " + reason + ".";
      break;
  }
  return error;
}

}  // namespace

void throwSaveError(SaveError code, const std::string& path, const std::string& reason) {
  throw ErrorException(saveError(code, path, reason));
}

void throwContainerCannotHold(const std::string& path, std::string_view container,
                              const std::string& track, std::string_view holder,
                              std::string_view holderExtension) {
  Error error = saveError(SaveError::ContainerCannotHold, path,
                          std::string(container) + " can\u2019t hold the " + track + ", which " +
                              std::string(holder) + " holds");
  error.recoverySuggestion =
      "Save the movie with the extension " + std::string(holderExtension) + " instead.";
  throw ErrorException(std::move(error));
}

void throwCannotReencode(std::string description) {
  throw ErrorException(
      mediaError(SaveError::CannotReencode, std::move(description), kExportInstead));
}

}  // namespace reelcraft
