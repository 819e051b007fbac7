#pragma once

#include <string>
#include <string_view>

#include "media/base/error.h"

namespace reelcraft {

inline constexpr std::string_view kMediaErrorDomain = "ReelcraftMediaErrorDomain";

enum class MediaErrorCode {
  FileNotFound = 1,
  PermissionDenied = 2,
  UnrecognizedFormat = 3,  // not a movie or sound file, or a kind Reelcraft does not open
  NoPlayableTracks = 4,    // a movie file with neither video nor audio
  Damaged = 5,             // recognised, but damaged or incomplete
  UnsupportedCodec = 6,    // every video and audio track is in a codec that cannot be decoded
};

// An error in kMediaErrorDomain whose description names the file (by its file name) and says
// why it could not be opened, with a suggestion of what to do.
Error makeMediaError(MediaErrorCode code, const std::string& path);

[[noreturn]] void throwMediaError(MediaErrorCode code, const std::string& path);

}  // namespace reelcraft
