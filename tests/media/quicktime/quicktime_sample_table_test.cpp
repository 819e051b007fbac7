#include "media/quicktime/quicktime_sample_table.h"

#include <gtest/gtest.h>

namespace reelcraft {
namespace {

QuickTimeBox fullBox(const std::string& type, std::vector<uint64_t> fields, int width = 4) {
  QuickTimeBox box{type, std::vector<uint8_t>(4, 0), {}, false};
  for (uint64_t field : fields) appendBigEndian(box.payload, field, width);
  return box;
}

// Five samples: two in a chunk at 1000, three in a chunk at 5000.
QuickTimeBox sampleTable() {
  QuickTimeBox stbl{"stbl", {}, {}, true};
  stbl.children.push_back(fullBox("stsd", {0}));
  stbl.children.push_back(fullBox("stsz", {0, 5, 10, 20, 30, 40, 50}));
  stbl.children.push_back(fullBox("stsc", {2, 1, 2, 1, 2, 3, 1}));
  stbl.children.push_back(fullBox("stco", {2, 1000, 5000}));
  return stbl;
}

TEST(QuickTimeSampleTable, ReadsWhereEachSampleLies) {
  const std::vector<SampleLocation> expected{
      {1000, 10, 1}, {1010, 20, 1}, {5000, 30, 1}, {5030, 40, 1}, {5070, 50, 1}};
  EXPECT_EQ(readSampleLocations(sampleTable()), expected);

  QuickTimeBox constantSizes = sampleTable();
  *constantSizes.child("stsz") = fullBox("stsz", {8, 5});
  const auto locations = readSampleLocations(constantSizes);
  ASSERT_EQ(locations.size(), 5u);
  EXPECT_EQ(locations[4].offset, 5016u);
  EXPECT_EQ(locations[4].size, 8u);

  QuickTimeBox tooFewChunks = sampleTable();
  *tooFewChunks.child("stco") = fullBox("stco", {1, 1000});
  EXPECT_THROW(readSampleLocations(tooFewChunks), std::runtime_error);
  QuickTimeBox noSizes = sampleTable();
  noSizes.children.erase(noSizes.children.begin() + 1);
  EXPECT_THROW(readSampleLocations(noSizes), std::runtime_error);
}

TEST(QuickTimeSampleTable, WritesChunksForRunsOfAdjacentSamples) {
  QuickTimeBox stbl = sampleTable();
  std::vector<SampleLocation> locations = readSampleLocations(stbl);
  locations[3] = locations[0];  // shares the first sample's bytes
  writeSampleLocations(stbl, locations);
  EXPECT_EQ(readSampleLocations(stbl), locations);
  ASSERT_EQ(stbl.children.size(), 4u);
  EXPECT_EQ(stbl.children[0].type, "stsd") << "the other boxes stay where they were";
  EXPECT_EQ(stbl.children[3].type, "stco");
  // Chunks: {0, 1}, {2}, {3}, {4}.
  EXPECT_EQ(readBigEndian(stbl.children[3].payload.data() + 4, 4), 4u);

  locations[4].offset = 5'000'000'000;  // past 4 GB: 64-bit offsets
  writeSampleLocations(stbl, locations);
  EXPECT_NE(stbl.child("co64"), nullptr);
  EXPECT_EQ(stbl.child("stco"), nullptr);
  EXPECT_EQ(readSampleLocations(stbl), locations);
}

}  // namespace
}  // namespace reelcraft
