#include "export/export_identifiers.h"

#include <array>
#include <utility>

namespace reelcraft {

std::string fileNameExtensionForFileType(std::string_view fileType) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 7> extensions{{
      {file_type::kQuickTimeMovie, "mov"},
      {file_type::kMPEG4, "mp4"},
      {file_type::kCoreAudioFormat, "caf"},
      {file_type::kAIFF, "aiff"},
      {file_type::kWAVE, "wav"},
      {file_type::kMPEGLayer3, "mp3"},
      {file_type::kAC3, "ac3"},
  }};
  for (const auto& [type, extension] : extensions) {
    if (type == fileType) return std::string(extension);
  }
  return {};
}

}  // namespace reelcraft
