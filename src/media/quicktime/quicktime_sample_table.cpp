#include "media/quicktime/quicktime_sample_table.h"

#include <algorithm>
#include <stdexcept>

namespace reelcraft {
namespace {

const QuickTimeBox& requiredChild(const QuickTimeBox& stbl, const char* type) {
  const QuickTimeBox* box = stbl.child(type);
  if (!box) throw std::runtime_error(std::string("a sample table without ") + type);
  return *box;
}

// The entry count of a full box whose entries of `entryBytes` follow the count, checked
// against the payload's length.
uint32_t entryCount(const QuickTimeBox& box, size_t headerBytes, size_t entryBytes) {
  if (box.payload.size() < headerBytes) throw std::runtime_error("a short " + box.type + " box");
  const uint32_t count =
      static_cast<uint32_t>(readBigEndian(box.payload.data() + headerBytes - 4, 4));
  if ((box.payload.size() - headerBytes) / entryBytes < count) {
    throw std::runtime_error("a short " + box.type + " box");
  }
  return count;
}

std::vector<uint32_t> readSampleSizes(const QuickTimeBox& stsz) {
  const uint32_t constantSize =
      stsz.payload.size() >= 8 ? static_cast<uint32_t>(readBigEndian(stsz.payload.data() + 4, 4))
                               : 0;
  if (constantSize != 0) {
    if (stsz.payload.size() < 12) throw std::runtime_error("a short stsz box");
    return std::vector<uint32_t>(readBigEndian(stsz.payload.data() + 8, 4), constantSize);
  }
  const uint32_t count = entryCount(stsz, 12, 4);
  std::vector<uint32_t> sizes(count);
  for (uint32_t i = 0; i < count; ++i) {
    sizes[i] = static_cast<uint32_t>(readBigEndian(stsz.payload.data() + 12 + 4 * i, 4));
  }
  return sizes;
}

std::vector<uint64_t> readChunkOffsets(const QuickTimeBox& stbl) {
  const QuickTimeBox* box = stbl.child("co64");
  const int width = box ? 8 : 4;
  if (!box) box = &requiredChild(stbl, "stco");
  const uint32_t count = entryCount(*box, 8, width);
  std::vector<uint64_t> offsets(count);
  for (uint32_t i = 0; i < count; ++i) {
    offsets[i] = readBigEndian(box->payload.data() + 8 + static_cast<size_t>(width) * i, width);
  }
  return offsets;
}

QuickTimeBox fullBox(const char* type, uint32_t count) {
  QuickTimeBox box{type, std::vector<uint8_t>(4, 0), {}, false};  // version 0, no flags
  appendBigEndian(box.payload, count, 4);
  return box;
}

}  // namespace

std::vector<SampleLocation> readSampleLocations(const QuickTimeBox& stbl) {
  const std::vector<uint32_t> sizes = readSampleSizes(requiredChild(stbl, "stsz"));
  const std::vector<uint64_t> chunkOffsets = readChunkOffsets(stbl);
  const QuickTimeBox& stsc = requiredChild(stbl, "stsc");
  const uint32_t runs = entryCount(stsc, 8, 12);

  std::vector<SampleLocation> locations;
  locations.reserve(sizes.size());
  for (uint32_t run = 0; run < runs; ++run) {
    const uint8_t* entry = stsc.payload.data() + 8 + 12 * run;
    const uint64_t firstChunk = readBigEndian(entry, 4);
    const uint64_t samplesPerChunk = readBigEndian(entry + 4, 4);
    const uint32_t description = static_cast<uint32_t>(readBigEndian(entry + 8, 4));
    const uint64_t endChunk =
        run + 1 < runs ? readBigEndian(entry + 12, 4) : chunkOffsets.size() + 1;
    if (firstChunk == 0 || endChunk < firstChunk || endChunk > chunkOffsets.size() + 1) {
      throw std::runtime_error("a sample-to-chunk table that does not fit its chunks");
    }
    for (uint64_t chunk = firstChunk; chunk < endChunk; ++chunk) {
      uint64_t offset = chunkOffsets[chunk - 1];
      for (uint64_t i = 0; i < samplesPerChunk; ++i) {
        if (locations.size() == sizes.size()) {
          throw std::runtime_error("chunks that hold more samples than the track has");
        }
        const uint32_t size = sizes[locations.size()];
        locations.push_back({offset, size, description});
        offset += size;
      }
    }
  }
  if (locations.size() != sizes.size()) {
    throw std::runtime_error("chunks that hold fewer samples than the track has");
  }
  return locations;
}

void writeSampleLocations(QuickTimeBox& stbl, const std::vector<SampleLocation>& locations) {
  QuickTimeBox stsz = fullBox("stsz", 0);  // the count is the constant size: 0, sizes follow
  appendBigEndian(stsz.payload, locations.size(), 4);

  std::vector<uint64_t> chunkOffsets;
  std::vector<uint8_t> stscEntries;
  uint32_t stscCount = 0;
  uint64_t lastSamplesPerChunk = 0;
  uint32_t lastDescription = 0;
  size_t i = 0;
  while (i < locations.size()) {
    // A chunk: samples that follow each other in the file, with the same description.
    size_t end = i + 1;
    while (end < locations.size() &&
           locations[end].offset == locations[end - 1].offset + locations[end - 1].size &&
           locations[end].descriptionIndex == locations[i].descriptionIndex) {
      ++end;
    }
    chunkOffsets.push_back(locations[i].offset);
    const uint64_t samplesPerChunk = end - i;
    if (samplesPerChunk != lastSamplesPerChunk ||
        locations[i].descriptionIndex != lastDescription) {
      appendBigEndian(stscEntries, chunkOffsets.size(), 4);
      appendBigEndian(stscEntries, samplesPerChunk, 4);
      appendBigEndian(stscEntries, locations[i].descriptionIndex, 4);
      ++stscCount;
      lastSamplesPerChunk = samplesPerChunk;
      lastDescription = locations[i].descriptionIndex;
    }
    for (size_t s = i; s < end; ++s) appendBigEndian(stsz.payload, locations[s].size, 4);
    i = end;
  }
  QuickTimeBox stsc = fullBox("stsc", stscCount);
  stsc.payload.insert(stsc.payload.end(), stscEntries.begin(), stscEntries.end());

  const bool wide = !chunkOffsets.empty() &&
                    *std::max_element(chunkOffsets.begin(), chunkOffsets.end()) > UINT32_MAX;
  QuickTimeBox offsets =
      fullBox(wide ? "co64" : "stco", static_cast<uint32_t>(chunkOffsets.size()));
  for (uint64_t offset : chunkOffsets) appendBigEndian(offsets.payload, offset, wide ? 8 : 4);

  // In place of the old boxes, where the old chunk offsets were.
  std::vector<QuickTimeBox> children;
  for (QuickTimeBox& child : stbl.children) {
    if (child.type == "stsz" || child.type == "stz2") {
      children.push_back(std::move(stsz));
      stsz.type.clear();  // written once
    } else if (child.type == "stsc") {
      children.push_back(std::move(stsc));
      stsc.type.clear();
    } else if (child.type == "stco" || child.type == "co64") {
      children.push_back(std::move(offsets));
      offsets.type.clear();
    } else {
      children.push_back(std::move(child));
    }
  }
  for (QuickTimeBox* missing : {&stsz, &stsc, &offsets}) {
    if (!missing->type.empty()) children.push_back(std::move(*missing));
  }
  std::erase_if(children, [](const QuickTimeBox& box) { return box.type.empty(); });
  stbl.children = std::move(children);
}

}  // namespace reelcraft
