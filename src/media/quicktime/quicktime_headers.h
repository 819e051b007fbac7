#pragma once

// The fields of the QuickTime header boxes that a saved movie's layout depends on: the movie
// header (mvhd), track header (tkhd), media header (mdhd) and the edit list (elst). Each is
// read from and written back into a QuickTimeBox payload; version 0 or 1 is chosen on writing
// by whether the values fit in 32 bits.

#include <array>
#include <cstdint>
#include <vector>

#include "media/quicktime/quicktime_box.h"

namespace reelcraft {

struct MovieHeader {
  uint64_t creationTime = 0;
  uint64_t modificationTime = 0;
  uint32_t timescale = 0;
  uint64_t duration = 0;
  std::vector<uint8_t> rest;  // rate, volume, matrix, ..., next track id: kept as they are

  static MovieHeader read(const QuickTimeBox& mvhd);
  void writeTo(QuickTimeBox& mvhd) const;
};

struct TrackHeader {
  uint32_t flags = 0;
  uint64_t creationTime = 0;
  uint64_t modificationTime = 0;
  uint32_t trackID = 0;
  uint64_t duration = 0;  // in the movie's timescale
  // After the duration: reserved (8), layer, alternate group, volume, reserved (2 each), the
  // matrix (36), width and height (4 each).
  std::vector<uint8_t> rest;

  static TrackHeader read(const QuickTimeBox& tkhd);
  void writeTo(QuickTimeBox& tkhd) const;

  // The matrix a, b, u, c, d, v, x, y, w: a b c d x y in 16.16 fixed point, u v w in 2.30.
  std::array<int32_t, 9> matrix() const;
  void setMatrix(const std::array<int32_t, 9>& matrix);
};

struct MediaHeader {
  uint32_t timescale = 0;
  uint64_t duration = 0;

  static MediaHeader read(const QuickTimeBox& mdhd);
};

struct EditListEntry {
  uint64_t segmentDuration = 0;  // in the movie's timescale
  int64_t mediaTime = -1;        // in the media's timescale; -1 for empty time
};

// An `edts` box holding an `elst` with `entries`, all at rate 1.
QuickTimeBox makeEditBox(const std::vector<EditListEntry>& entries);
// The entries of an `elst` box.
std::vector<EditListEntry> readEditList(const QuickTimeBox& elst);

}  // namespace reelcraft
