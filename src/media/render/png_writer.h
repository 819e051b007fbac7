#pragma once

#include <string>

struct AVFrame;

namespace reelcraft {

// Writes `picture` (any pixel format that can be converted to RGB) to `path` as a PNG file,
// replacing a file that is there. Throws ErrorException (kMediaErrorDomain) naming the file
// when it cannot be written.
void writePng(const AVFrame& picture, const std::string& path);

}  // namespace reelcraft
