#include "media/quicktime/quicktime_box.h"

#include <array>
#include <stdexcept>

namespace reelcraft {
namespace {

bool holdsOnlyBoxes(const std::string& type) {
  return type == "moov" || type == "trak" || type == "mdia" || type == "minf" || type == "edts" ||
         type == "stbl";
}

void appendHeader(std::vector<uint8_t>& out, const std::string& type, uint64_t payloadSize) {
  const uint64_t compactSize = payloadSize + 8;
  const bool large = compactSize > UINT32_MAX;
  appendBigEndian(out, large ? 1 : compactSize, 4);
  out.insert(out.end(), type.begin(), type.end());
  if (large) appendBigEndian(out, payloadSize + 16, 8);
}

void appendBox(std::vector<uint8_t>& out, const QuickTimeBox& box) {
  if (!box.isContainer) {
    appendHeader(out, box.type, box.payload.size());
    out.insert(out.end(), box.payload.begin(), box.payload.end());
    return;
  }
  std::vector<uint8_t> inner;
  for (const QuickTimeBox& child : box.children) appendBox(inner, child);
  appendHeader(out, box.type, inner.size());
  out.insert(out.end(), inner.begin(), inner.end());
}

}  // namespace

uint64_t readBigEndian(const uint8_t* data, int bytes) {
  uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value = (value << 8) | data[i];
  return value;
}

void writeBigEndian(uint8_t* data, uint64_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) {
    data[i] = static_cast<uint8_t>(value & 0xff);
    value >>= 8;
  }
}

void appendBigEndian(std::vector<uint8_t>& out, uint64_t value, int bytes) {
  const size_t at = out.size();
  out.resize(at + bytes);
  writeBigEndian(out.data() + at, value, bytes);
}

QuickTimeBox* QuickTimeBox::child(const std::string& childType) {
  for (QuickTimeBox& box : children) {
    if (box.type == childType) return &box;
  }
  return nullptr;
}

const QuickTimeBox* QuickTimeBox::child(const std::string& childType) const {
  for (const QuickTimeBox& box : children) {
    if (box.type == childType) return &box;
  }
  return nullptr;
}

std::vector<QuickTimeBox*> QuickTimeBox::childrenOfType(const std::string& childType) {
  std::vector<QuickTimeBox*> found;
  for (QuickTimeBox& box : children) {
    if (box.type == childType) found.push_back(&box);
  }
  return found;
}

QuickTimeBox* QuickTimeBox::find(const std::string& path) {
  QuickTimeBox* box = this;
  size_t start = 0;
  while (box && start <= path.size()) {
    const size_t slash = path.find('/', start);
    box = box->child(path.substr(start, slash == std::string::npos ? slash : slash - start));
    if (slash == std::string::npos) break;
    start = slash + 1;
  }
  return box;
}

QuickTimeBox parseQuickTimeBox(const uint8_t* data, size_t size) {
  if (size < 8) throw std::runtime_error("QuickTime box shorter than its header");
  uint64_t boxSize = readBigEndian(data, 4);
  size_t headerSize = 8;
  if (boxSize == 1) {
    if (size < 16) throw std::runtime_error("QuickTime box shorter than its header");
    boxSize = readBigEndian(data + 8, 8);
    headerSize = 16;
  } else if (boxSize == 0) {
    boxSize = size;
  }
  if (boxSize != size || boxSize < headerSize) {
    throw std::runtime_error("QuickTime box size does not match its contents");
  }
  QuickTimeBox box;
  box.type.assign(reinterpret_cast<const char*>(data + 4), 4);
  const uint8_t* payload = data + headerSize;
  const size_t payloadSize = size - headerSize;
  if (!holdsOnlyBoxes(box.type)) {
    box.payload.assign(payload, payload + payloadSize);
    return box;
  }
  box.isContainer = true;
  size_t at = 0;
  while (at + 8 <= payloadSize) {
    uint64_t childSize = readBigEndian(payload + at, 4);
    if (childSize == 1 && at + 16 <= payloadSize) childSize = readBigEndian(payload + at + 8, 8);
    if (childSize == 0) childSize = payloadSize - at;
    if (childSize < 8 || childSize > payloadSize - at) {
      throw std::runtime_error("QuickTime box runs past its parent");
    }
    box.children.push_back(parseQuickTimeBox(payload + at, childSize));
    at += childSize;
  }
  return box;
}

std::vector<uint8_t> serializeQuickTimeBox(const QuickTimeBox& box) {
  std::vector<uint8_t> out;
  appendBox(out, box);
  return out;
}

std::vector<QuickTimeBoxLocation> listTopLevelQuickTimeBoxes(std::FILE* file) {
  if (std::fseek(file, 0, SEEK_END) != 0) throw std::runtime_error("cannot seek in the file");
  const long end = std::ftell(file);
  if (end < 0) throw std::runtime_error("cannot tell the file's size");
  const uint64_t fileSize = static_cast<uint64_t>(end);
  std::vector<QuickTimeBoxLocation> boxes;
  uint64_t offset = 0;
  while (offset + 8 <= fileSize) {
    std::array<uint8_t, 16> header{};
    if (std::fseek(file, static_cast<long>(offset), SEEK_SET) != 0 ||
        std::fread(header.data(), 1, 8, file) != 8) {
      throw std::runtime_error("cannot read a box header");
    }
    uint64_t size = readBigEndian(header.data(), 4);
    if (size == 1) {
      if (std::fread(header.data() + 8, 1, 8, file) != 8) {
        throw std::runtime_error("cannot read a box header");
      }
      size = readBigEndian(header.data() + 8, 8);
    } else if (size == 0) {
      size = fileSize - offset;
    }
    if (size < 8 || size > fileSize - offset) throw std::runtime_error("box runs past the file");
    boxes.push_back(
        {std::string(reinterpret_cast<const char*>(header.data() + 4), 4), offset, size});
    offset += size;
  }
  return boxes;
}

}  // namespace reelcraft
