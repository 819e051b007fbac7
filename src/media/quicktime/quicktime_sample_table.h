#pragma once
// Where the samples of a track lie in a QuickTime file: read from and written back into the
// sample size (stsz), sample-to-chunk (stsc) and chunk offset (stco or co64) boxes of the
// track's sample table (stbl).

#include <cstdint>
#include <vector>

#include "media/quicktime/quicktime_box.h"

namespace reelcraft {

struct SampleLocation {
  uint64_t offset = 0;  // from the start of the file
  uint32_t size = 0;
  uint32_t descriptionIndex = 1;  // the sample description (stsd entry), from 1

  bool operator==(const SampleLocation&) const = default;
};

// The location of every sample of `stbl`, in decode order. Throws std::runtime_error when the
// boxes are missing or disagree with each other.
std::vector<SampleLocation> readSampleLocations(const QuickTimeBox& stbl);

// Replaces the size, sample-to-chunk and chunk offset boxes of `stbl` with ones that put the
// samples at `locations`: a chunk for each run of samples that follow each other in the file
// with one description, 64-bit offsets only when needed.
void writeSampleLocations(QuickTimeBox& stbl, const std::vector<SampleLocation>& locations);

}  // namespace reelcraft
