#pragma once

// A picture that carries its own frame number and survives lossy coding, scaling (also
// non-uniform), letter- or pillarboxing, quarter-turn rotations and mirroring.
//
// The picture is a 7×7 grid of black and white cells filling the frame. The outer ring is
// white except two cells at the top-left corner (the orientation marker). The 25 inner
// cells, row by row, hold the 16 bits of the index (least significant first), a CRC-8 of it
// and one white cell. A reader finds the bright bounding box (black bars fall away), samples
// the middle of every cell, and tries the eight orientations of the grid.

#include <cstddef>
#include <cstdint>
#include <optional>

struct AVFrame;

namespace reelcraft::testmedia {

constexpr int kFrameCodeGridSize = 7;
constexpr int kMaxFrameCodeIndex = 0xffff;

struct FrameCode {
  int index = -1;
  // How the picture was turned relative to how it was drawn: the drawn picture was first
  // mirrored left to right when `mirrored`, then turned clockwise by quarterTurns × 90°.
  int quarterTurnsClockwise = 0;
  bool mirrored = false;
};

// Draws the code of `index` (0...kMaxFrameCodeIndex) into an 8-bit luma plane.
void drawFrameCode(int index, uint8_t* luma, int width, int height, std::ptrdiff_t stride,
                   uint8_t black, uint8_t white);

// The code shown in an 8-bit luma image, or nothing when no valid code can be seen.
std::optional<FrameCode> readFrameCode(const uint8_t* luma, int width, int height,
                                       std::ptrdiff_t stride);
// The same for a decoded frame of any pixel format.
std::optional<FrameCode> readFrameCode(const AVFrame& frame);

}  // namespace reelcraft::testmedia
