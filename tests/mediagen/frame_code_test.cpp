#include "mediagen/frame_code.h"

#include <gtest/gtest.h>

#include <vector>

namespace reelcraft::testmedia {
namespace {

struct Image {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;
  uint8_t& at(int x, int y) { return pixels[static_cast<size_t>(y) * width + x]; }
  uint8_t at(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
};

Image drawn(int index, int width = 320, int height = 240) {
  Image image{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height)};
  drawFrameCode(index, image.pixels.data(), width, height, width, 16, 235);
  return image;
}

Image turnedClockwise(const Image& image) {
  Image turned{image.height, image.width, std::vector<uint8_t>(image.pixels.size())};
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) turned.at(image.height - 1 - y, x) = image.at(x, y);
  }
  return turned;
}

Image mirrored(const Image& image) {
  Image flipped = image;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) flipped.at(image.width - 1 - x, y) = image.at(x, y);
  }
  return flipped;
}

std::optional<FrameCode> read(const Image& image) {
  return readFrameCode(image.pixels.data(), image.width, image.height, image.width);
}

TEST(FrameCode, ReadsBackEveryIndexAsDrawnWithItsQuarterTurnsAndMirroring) {
  for (int index : {0, 1, 2, 89, 255, 256, 1000, 30000, kMaxFrameCodeIndex}) {
    for (bool flip : {false, true}) {
      Image image = flip ? mirrored(drawn(index)) : drawn(index);
      for (int turns = 0; turns < 4; ++turns, image = turnedClockwise(image)) {
        const auto code = read(image);
        ASSERT_TRUE(code) << index << ", " << turns << " turns, mirrored " << flip;
        EXPECT_EQ(code->index, index);
        EXPECT_EQ(code->quarterTurnsClockwise, turns);
        EXPECT_EQ(code->mirrored, flip);
      }
    }
  }
}

TEST(FrameCode, FindsNothingInPicturesWithoutACode) {
  Image gray{320, 240, std::vector<uint8_t>(320 * 240, 128)};
  EXPECT_FALSE(read(gray));

  Image stripes = gray;
  for (int y = 0; y < 240; ++y) {
    for (int x = 0; x < 320; ++x) stripes.at(x, y) = (x / 20) % 2 ? 235 : 16;
  }
  EXPECT_FALSE(read(stripes));

  // A single wrong cell breaks the checksum rather than giving another index.
  Image damaged = drawn(500);
  for (int y = 3 * 240 / 7; y < 4 * 240 / 7; ++y) {
    for (int x = 3 * 320 / 7; x < 4 * 320 / 7; ++x) damaged.at(x, y) ^= 0xff;
  }
  EXPECT_FALSE(read(damaged));
}

}  // namespace
}  // namespace reelcraft::testmedia
