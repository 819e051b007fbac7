#include "media/quicktime/quicktime_headers.h"

#include <stdexcept>

namespace reelcraft {
namespace {

void requireSize(const QuickTimeBox& box, size_t size) {
  if (box.payload.size() < size) throw std::runtime_error(box.type + " box is too short");
}

bool fits32(uint64_t value) {
  return value <= UINT32_MAX;
}

constexpr size_t kTrackHeaderRestSize = 8 + 2 + 2 + 2 + 2 + 36 + 4 + 4;
constexpr size_t kMatrixOffsetInRest = 16;

}  // namespace

MovieHeader MovieHeader::read(const QuickTimeBox& mvhd) {
  requireSize(mvhd, 4);
  const uint8_t* p = mvhd.payload.data();
  MovieHeader header;
  if (p[0] == 1) {
    requireSize(mvhd, 32);
    header.creationTime = readBigEndian(p + 4, 8);
    header.modificationTime = readBigEndian(p + 12, 8);
    header.timescale = static_cast<uint32_t>(readBigEndian(p + 20, 4));
    header.duration = readBigEndian(p + 24, 8);
    header.rest.assign(p + 32, p + mvhd.payload.size());
  } else {
    requireSize(mvhd, 20);
    header.creationTime = readBigEndian(p + 4, 4);
    header.modificationTime = readBigEndian(p + 8, 4);
    header.timescale = static_cast<uint32_t>(readBigEndian(p + 12, 4));
    header.duration = readBigEndian(p + 16, 4);
    header.rest.assign(p + 20, p + mvhd.payload.size());
  }
  return header;
}

void MovieHeader::writeTo(QuickTimeBox& mvhd) const {
  const bool wide = !fits32(creationTime) || !fits32(modificationTime) || !fits32(duration);
  std::vector<uint8_t> out;
  appendBigEndian(out, wide ? 1u << 24 : 0, 4);
  const int width = wide ? 8 : 4;
  appendBigEndian(out, creationTime, width);
  appendBigEndian(out, modificationTime, width);
  appendBigEndian(out, timescale, 4);
  appendBigEndian(out, duration, width);
  out.insert(out.end(), rest.begin(), rest.end());
  mvhd.payload = std::move(out);
}

TrackHeader TrackHeader::read(const QuickTimeBox& tkhd) {
  requireSize(tkhd, 4);
  const uint8_t* p = tkhd.payload.data();
  TrackHeader header;
  header.flags = static_cast<uint32_t>(readBigEndian(p + 1, 3));
  size_t restOffset = 0;
  if (p[0] == 1) {
    requireSize(tkhd, 36 + kTrackHeaderRestSize);
    header.creationTime = readBigEndian(p + 4, 8);
    header.modificationTime = readBigEndian(p + 12, 8);
    header.trackID = static_cast<uint32_t>(readBigEndian(p + 20, 4));
    header.duration = readBigEndian(p + 28, 8);
    restOffset = 36;
  } else {
    requireSize(tkhd, 24 + kTrackHeaderRestSize);
    header.creationTime = readBigEndian(p + 4, 4);
    header.modificationTime = readBigEndian(p + 8, 4);
    header.trackID = static_cast<uint32_t>(readBigEndian(p + 12, 4));
    header.duration = readBigEndian(p + 20, 4);
    restOffset = 24;
  }
  header.rest.assign(p + restOffset, p + tkhd.payload.size());
  return header;
}

void TrackHeader::writeTo(QuickTimeBox& tkhd) const {
  const bool wide = !fits32(creationTime) || !fits32(modificationTime) || !fits32(duration);
  std::vector<uint8_t> out;
  appendBigEndian(out, (wide ? 1u << 24 : 0) | (flags & 0xffffff), 4);
  const int width = wide ? 8 : 4;
  appendBigEndian(out, creationTime, width);
  appendBigEndian(out, modificationTime, width);
  appendBigEndian(out, trackID, 4);
  appendBigEndian(out, 0, 4);
  appendBigEndian(out, duration, width);
  out.insert(out.end(), rest.begin(), rest.end());
  tkhd.payload = std::move(out);
}

std::array<int32_t, 9> TrackHeader::matrix() const {
  std::array<int32_t, 9> matrix{};
  for (int i = 0; i < 9; ++i) {
    matrix[i] = static_cast<int32_t>(
        static_cast<uint32_t>(readBigEndian(rest.data() + kMatrixOffsetInRest + 4 * i, 4)));
  }
  return matrix;
}

void TrackHeader::setMatrix(const std::array<int32_t, 9>& matrix) {
  for (int i = 0; i < 9; ++i) {
    writeBigEndian(rest.data() + kMatrixOffsetInRest + 4 * i, static_cast<uint32_t>(matrix[i]), 4);
  }
}

MediaHeader MediaHeader::read(const QuickTimeBox& mdhd) {
  requireSize(mdhd, 4);
  const uint8_t* p = mdhd.payload.data();
  MediaHeader header;
  if (p[0] == 1) {
    requireSize(mdhd, 32);
    header.timescale = static_cast<uint32_t>(readBigEndian(p + 20, 4));
    header.duration = readBigEndian(p + 24, 8);
  } else {
    requireSize(mdhd, 20);
    header.timescale = static_cast<uint32_t>(readBigEndian(p + 12, 4));
    header.duration = readBigEndian(p + 16, 4);
  }
  return header;
}

QuickTimeBox makeEditBox(const std::vector<EditListEntry>& entries) {
  bool wide = false;
  for (const EditListEntry& entry : entries) {
    if (!fits32(entry.segmentDuration) || entry.mediaTime > INT32_MAX) wide = true;
  }
  QuickTimeBox elst{"elst", {}, {}, false};
  std::vector<uint8_t>& out = elst.payload;
  appendBigEndian(out, wide ? 1u << 24 : 0, 4);
  appendBigEndian(out, entries.size(), 4);
  const int width = wide ? 8 : 4;
  for (const EditListEntry& entry : entries) {
    appendBigEndian(out, entry.segmentDuration, width);
    appendBigEndian(out, static_cast<uint64_t>(entry.mediaTime), width);
    appendBigEndian(out, 0x00010000, 4);  // rate 1.0
  }
  QuickTimeBox edts{"edts", {}, {std::move(elst)}, true};
  return edts;
}

std::vector<EditListEntry> readEditList(const QuickTimeBox& elst) {
  requireSize(elst, 8);
  const uint8_t* p = elst.payload.data();
  const bool wide = p[0] == 1;
  const uint64_t count = readBigEndian(p + 4, 4);
  const size_t entrySize = wide ? 20 : 12;
  requireSize(elst, 8 + count * entrySize);
  std::vector<EditListEntry> entries;
  for (uint64_t i = 0; i < count; ++i) {
    const uint8_t* e = p + 8 + i * entrySize;
    EditListEntry entry;
    if (wide) {
      entry.segmentDuration = readBigEndian(e, 8);
      entry.mediaTime = static_cast<int64_t>(readBigEndian(e + 8, 8));
    } else {
      entry.segmentDuration = readBigEndian(e, 4);
      entry.mediaTime = static_cast<int32_t>(static_cast<uint32_t>(readBigEndian(e + 4, 4)));
    }
    entries.push_back(entry);
  }
  return entries;
}

}  // namespace reelcraft
