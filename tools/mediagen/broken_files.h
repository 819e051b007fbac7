#pragma once

#include <string>
#include <string_view>

namespace reelcraft::testmedia {

enum class BrokenFileKind {
  Empty,        // zero bytes
  Truncated,    // the first half of a valid QuickTime movie (its index is missing)
  RandomBytes,  // 64 KiB of deterministic pseudo-random bytes
  Text,         // a short plain text file
};

std::string_view brokenFileKindName(BrokenFileKind kind);

// Writes a file that is not a usable movie. Throws std::runtime_error on failure.
void writeBrokenFile(const std::string& path, BrokenFileKind kind);

}  // namespace reelcraft::testmedia
