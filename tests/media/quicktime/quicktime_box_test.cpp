#include "media/quicktime/quicktime_box.h"

#include <gtest/gtest.h>

#include "media/quicktime/quicktime_headers.h"

namespace reelcraft {
namespace {

QuickTimeBox leaf(const std::string& type, std::vector<uint8_t> payload) {
  return QuickTimeBox{type, std::move(payload), {}, false};
}

// A movie box with a version 0 movie header (timescale 1000, duration 5000) and one track.
QuickTimeBox sampleMovie() {
  std::vector<uint8_t> mvhd(100, 0);
  writeBigEndian(mvhd.data() + 12, 1000, 4);
  writeBigEndian(mvhd.data() + 16, 5000, 4);
  std::vector<uint8_t> tkhd(84, 0);
  writeBigEndian(tkhd.data() + 12, 7, 4);  // track id
  writeBigEndian(tkhd.data() + 20, 5000, 4);
  QuickTimeBox mdia{"mdia", {}, {leaf("mdhd", std::vector<uint8_t>(24, 0))}, true};
  QuickTimeBox trak{"trak", {}, {leaf("tkhd", tkhd), mdia}, true};
  return QuickTimeBox{"moov", {}, {leaf("mvhd", mvhd), trak}, true};
}

TEST(QuickTimeBox, ParsesWhatItWritesWithContainersOpened) {
  const std::vector<uint8_t> bytes = serializeQuickTimeBox(sampleMovie());
  EXPECT_EQ(readBigEndian(bytes.data(), 4), bytes.size());
  QuickTimeBox parsed = parseQuickTimeBox(bytes.data(), bytes.size());
  ASSERT_NE(parsed.find("trak/mdia/mdhd"), nullptr);
  EXPECT_EQ(parsed.find("trak/mdia/mdhd")->payload.size(), 24u);
  EXPECT_EQ(parsed.find("trak/minf"), nullptr);
  EXPECT_EQ(serializeQuickTimeBox(parsed), bytes);

  std::vector<uint8_t> broken = bytes;
  writeBigEndian(broken.data() + 8, 4000, 4);  // the movie header claims more than there is
  EXPECT_THROW(parseQuickTimeBox(broken.data(), broken.size()), std::runtime_error);
}

TEST(QuickTimeBox, HeadersWidenToVersionOneOnlyWhenValuesNeedIt) {
  QuickTimeBox moov = sampleMovie();
  QuickTimeBox& mvhdBox = *moov.child("mvhd");
  MovieHeader mvhd = MovieHeader::read(mvhdBox);
  EXPECT_EQ(mvhd.timescale, 1000u);
  EXPECT_EQ(mvhd.duration, 5000u);
  mvhd.timescale = 384000;
  mvhd.duration = 384000ull * 20000;  // over 32 bits
  mvhd.writeTo(mvhdBox);
  EXPECT_EQ(mvhdBox.payload[0], 1);
  EXPECT_EQ(mvhdBox.payload.size(), 112u);
  const MovieHeader reread = MovieHeader::read(mvhdBox);
  EXPECT_EQ(reread.duration, mvhd.duration);
  EXPECT_EQ(reread.rest, mvhd.rest);

  QuickTimeBox& tkhdBox = *moov.find("trak/tkhd");
  TrackHeader tkhd = TrackHeader::read(tkhdBox);
  EXPECT_EQ(tkhd.trackID, 7u);
  tkhd.setMatrix({0, 65536, 0, -65536, 0, 0, 240 << 16, 0, 1 << 30});
  tkhd.duration = 123;
  tkhd.writeTo(tkhdBox);
  EXPECT_EQ(tkhdBox.payload[0], 0);
  const TrackHeader turned = TrackHeader::read(tkhdBox);
  EXPECT_EQ(turned.matrix()[3], -65536);
  EXPECT_EQ(turned.matrix()[6], 240 << 16);
  EXPECT_EQ(turned.duration, 123u);
  EXPECT_EQ(turned.trackID, 7u);
}

TEST(QuickTimeBox, EditListsKeepEmptyEditsAndWidenForLongValues) {
  const std::vector<EditListEntry> entries{{500, -1}, {1000, 2048}, {3000, 0}};
  const QuickTimeBox edts = makeEditBox(entries);
  ASSERT_EQ(edts.type, "edts");
  const QuickTimeBox& elst = *edts.child("elst");
  EXPECT_EQ(elst.payload[0], 0);
  const auto read = readEditList(elst);
  ASSERT_EQ(read.size(), 3u);
  EXPECT_EQ(read[0].mediaTime, -1);
  EXPECT_EQ(read[1].segmentDuration, 1000u);
  EXPECT_EQ(read[1].mediaTime, 2048);

  const QuickTimeBox wide = makeEditBox({{1ull << 33, 5}});
  EXPECT_EQ(wide.child("elst")->payload[0], 1);
  EXPECT_EQ(readEditList(*wide.child("elst"))[0].segmentDuration, 1ull << 33);
}

}  // namespace
}  // namespace reelcraft
