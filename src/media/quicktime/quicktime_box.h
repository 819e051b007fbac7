#pragma once

// A small reader and writer of QuickTime (ISO base media) boxes: enough to load a movie's
// `moov` box, change its headers and edit lists, and put it back.

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace reelcraft {

struct QuickTimeBox {
  std::string type;                    // four characters
  std::vector<uint8_t> payload;        // the contents of a leaf box
  std::vector<QuickTimeBox> children;  // the boxes inside a container box
  bool isContainer = false;

  // The first direct child of `childType`, or null.
  QuickTimeBox* child(const std::string& childType);
  const QuickTimeBox* child(const std::string& childType) const;
  // All direct children of `childType`.
  std::vector<QuickTimeBox*> childrenOfType(const std::string& childType);
  // The box at a path of child types ("mdia/mdhd"), or null.
  QuickTimeBox* find(const std::string& path);
};

// Parses the box that starts at `data` and fills exactly `size` bytes. Boxes that only hold
// other boxes (moov, trak, mdia, minf, stbl, edts) are parsed into children; all others keep their
// bytes. Throws std::runtime_error when the sizes are inconsistent.
QuickTimeBox parseQuickTimeBox(const uint8_t* data, size_t size);

// The box with its header (a 64-bit size only when needed).
std::vector<uint8_t> serializeQuickTimeBox(const QuickTimeBox& box);

// Where a top-level box lies in a file.
struct QuickTimeBoxLocation {
  std::string type;
  uint64_t offset = 0;
  uint64_t size = 0;  // header included
};

// The top-level boxes of an open file, in file order. Throws std::runtime_error when the file
// cannot be read or a box runs past the end of the file.
std::vector<QuickTimeBoxLocation> listTopLevelQuickTimeBoxes(std::FILE* file);

// Big-endian helpers for box payloads.
uint64_t readBigEndian(const uint8_t* data, int bytes);
void writeBigEndian(uint8_t* data, uint64_t value, int bytes);
void appendBigEndian(std::vector<uint8_t>& out, uint64_t value, int bytes);

}  // namespace reelcraft
