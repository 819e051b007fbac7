#pragma once

// Test media made on demand: each test program writes the variants it uses into its own
// temporary directory, once, and removes the directory when it exits.

#include <string>
#include <string_view>

#include "mediagen/broken_files.h"

namespace reelcraft::testmedia {

// The path of the standard variant `name` (see standardVariants()), written on first use.
// Throws std::runtime_error for an unknown name or when writing fails. Thread-safe.
std::string testMediaPath(std::string_view variantName);

// The path of a broken file of `kind`, written on first use. Thread-safe.
std::string brokenMediaPath(BrokenFileKind kind);

// This program's temporary directory; new files that tests make belong here.
std::string testMediaDirectory();

}  // namespace reelcraft::testmedia
