#include "mediagen/frame_code.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "media/ffmpeg/av_handles.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace reelcraft::testmedia {
namespace {

constexpr int kN = kFrameCodeGridSize;
constexpr int kInner = kN - 2;
constexpr int kIndexBits = 16;
constexpr int kCrcBits = 8;

using CellGrid = std::array<std::array<bool, kN>, kN>;  // [row][column], true = white

uint8_t crc8(int index) {
  uint8_t crc = 0xff;
  for (uint8_t byte : {static_cast<uint8_t>(index & 0xff), static_cast<uint8_t>(index >> 8)}) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 0x80) ? static_cast<uint8_t>((crc << 1) ^ 0x07) : static_cast<uint8_t>(crc << 1);
    }
  }
  return crc;
}

bool isMarkerCell(int row, int column) {
  return row == 0 && (column == 0 || column == 1);
}
bool isRingCell(int row, int column) {
  return row == 0 || column == 0 || row == kN - 1 || column == kN - 1;
}

CellGrid canonicalGrid(int index) {
  CellGrid grid{};
  const uint32_t payload = static_cast<uint32_t>(index) | (uint32_t{crc8(index)} << kIndexBits) |
                           (1u << (kIndexBits + kCrcBits));
  for (int row = 0; row < kN; ++row) {
    for (int column = 0; column < kN; ++column) {
      if (isRingCell(row, column)) {
        grid[row][column] = !isMarkerCell(row, column);
      } else {
        const int bit = (row - 1) * kInner + (column - 1);
        grid[row][column] = (payload >> bit) & 1u;
      }
    }
  }
  return grid;
}

// Where canonical cell (row, column) appears after mirroring and quarter turns clockwise.
std::pair<int, int> transformedCell(int row, int column, int quarterTurns, bool mirrored) {
  if (mirrored) column = kN - 1 - column;
  for (int turn = 0; turn < quarterTurns; ++turn) {
    const int newRow = column;
    column = kN - 1 - row;
    row = newRow;
  }
  return {row, column};
}

std::optional<int> decodeGrid(const CellGrid& seen, int quarterTurns, bool mirrored) {
  uint32_t payload = 0;
  for (int row = 0; row < kN; ++row) {
    for (int column = 0; column < kN; ++column) {
      const auto [r, c] = transformedCell(row, column, quarterTurns, mirrored);
      const bool white = seen[r][c];
      if (isRingCell(row, column)) {
        if (white == isMarkerCell(row, column)) return std::nullopt;
      } else if (white) {
        payload |= 1u << ((row - 1) * kInner + (column - 1));
      }
    }
  }
  const int index = static_cast<int>(payload & 0xffff);
  const uint32_t crc = (payload >> kIndexBits) & 0xff;
  const bool lastCellWhite = (payload >> (kIndexBits + kCrcBits)) & 1u;
  if (crc != crc8(index) || !lastCellWhite) return std::nullopt;
  return index;
}

int cellEdge(int cell, int extent) {
  return static_cast<int>(int64_t{cell} * extent / kN);
}

}  // namespace

void drawFrameCode(int index, uint8_t* luma, int width, int height, std::ptrdiff_t stride,
                   uint8_t black, uint8_t white) {
  if (index < 0 || index > kMaxFrameCodeIndex) {
    throw std::invalid_argument("frame index out of the frame code's range");
  }
  const CellGrid grid = canonicalGrid(index);
  for (int row = 0; row < kN; ++row) {
    for (int y = cellEdge(row, height); y < cellEdge(row + 1, height); ++y) {
      uint8_t* line = luma + y * stride;
      for (int column = 0; column < kN; ++column) {
        std::fill(line + cellEdge(column, width), line + cellEdge(column + 1, width),
                  grid[row][column] ? white : black);
      }
    }
  }
}

std::optional<FrameCode> readFrameCode(const uint8_t* luma, int width, int height,
                                       std::ptrdiff_t stride) {
  if (width < kN * 2 || height < kN * 2) return std::nullopt;

  int darkest = 255, brightest = 0;
  for (int y = 0; y < height; ++y) {
    const auto [low, high] = std::minmax_element(luma + y * stride, luma + y * stride + width);
    darkest = std::min<int>(darkest, *low);
    brightest = std::max<int>(brightest, *high);
  }
  if (brightest - darkest < 64) return std::nullopt;
  const int threshold = (darkest + brightest) / 2;

  // The bright bounding box: rows and columns where a fair share of pixels is bright. Every
  // row and column of the grid crosses at least two white ring cells.
  std::vector<int> brightInRow(height, 0), brightInColumn(width, 0);
  for (int y = 0; y < height; ++y) {
    const uint8_t* line = luma + y * stride;
    for (int x = 0; x < width; ++x) {
      if (line[x] > threshold) {
        ++brightInRow[y];
        ++brightInColumn[x];
      }
    }
  }
  auto firstAndLast = [](const std::vector<int>& counts, int minimum) {
    const auto isBright = [minimum](int count) { return count >= minimum; };
    const auto first = std::find_if(counts.begin(), counts.end(), isBright);
    const auto last = std::find_if(counts.rbegin(), counts.rend(), isBright);
    return std::pair<int, int>(static_cast<int>(first - counts.begin()),
                               static_cast<int>(counts.rend() - last));
  };
  const auto [top, bottom] = firstAndLast(brightInRow, std::max(2, width / 20));
  const auto [left, right] = firstAndLast(brightInColumn, std::max(2, height / 20));
  const int boxWidth = right - left;
  const int boxHeight = bottom - top;
  if (boxWidth < kN * 2 || boxHeight < kN * 2) return std::nullopt;

  // Mean of the middle of every cell, away from blurred edges.
  CellGrid seen{};
  for (int row = 0; row < kN; ++row) {
    const int y0 = top + (4 * row + 1) * boxHeight / (4 * kN);
    const int y1 = std::max(y0 + 1, top + (4 * row + 3) * boxHeight / (4 * kN));
    for (int column = 0; column < kN; ++column) {
      const int x0 = left + (4 * column + 1) * boxWidth / (4 * kN);
      const int x1 = std::max(x0 + 1, left + (4 * column + 3) * boxWidth / (4 * kN));
      int64_t sum = 0;
      for (int y = y0; y < y1; ++y) {
        for (int x = x0; x < x1; ++x) sum += luma[y * stride + x];
      }
      seen[row][column] = sum > int64_t{threshold} * (y1 - y0) * (x1 - x0);
    }
  }

  for (bool mirrored : {false, true}) {
    for (int quarterTurns = 0; quarterTurns < 4; ++quarterTurns) {
      if (const auto index = decodeGrid(seen, quarterTurns, mirrored)) {
        return FrameCode{*index, quarterTurns, mirrored};
      }
    }
  }
  return std::nullopt;
}

std::optional<FrameCode> readFrameCode(const AVFrame& frame) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
  if (!descriptor || frame.width <= 0 || frame.height <= 0) return std::nullopt;

  // Planar YUV and gray formats with 8-bit luma in the first plane are read in place.
  const bool lumaInPlace =
      !(descriptor->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL |
                             AV_PIX_FMT_FLAG_BITSTREAM)) &&
      descriptor->comp[0].plane == 0 && descriptor->comp[0].step == 1 &&
      descriptor->comp[0].depth == 8 && descriptor->comp[0].shift == 0;
  if (lumaInPlace) {
    return readFrameCode(frame.data[0], frame.width, frame.height, frame.linesize[0]);
  }

  ScalerPtr scaler(sws_getContext(frame.width, frame.height, format, frame.width, frame.height,
                                  AV_PIX_FMT_GRAY8, SWS_POINT, nullptr, nullptr, nullptr));
  if (!scaler) return std::nullopt;
  std::vector<uint8_t> gray(static_cast<size_t>(frame.width) * frame.height);
  uint8_t* planes[4] = {gray.data(), nullptr, nullptr, nullptr};
  int strides[4] = {frame.width, 0, 0, 0};
  if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides) <= 0) {
    return std::nullopt;
  }
  return readFrameCode(gray.data(), frame.width, frame.height, frame.width);
}

}  // namespace reelcraft::testmedia
