#include "media/render/frame_renderer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <numbers>

#include "media/base/media_error.h"
#include "media/model/video_composition.h"
#include "media/support/composition_reading.h"
#include "media/support/picture_checks.h"

namespace reelcraft {
namespace {

using pictures::brightExtent;
using pictures::codePicture;
using pictures::Extent;

constexpr double kQuarter = std::numbers::pi / 2;
constexpr int kWidth = 112;
constexpr int kHeight = 84;

// `count` quarter turns to the right piled up as a composition track does: no translation,
// rounding in cos π/2.
AffineTransform turnedRight(int count) {
  AffineTransform transform;
  for (int i = 0; i < std::abs(count); ++i)
    transform = transform.rotated(count < 0 ? -kQuarter : kQuarter);
  return transform;
}

// Renders the frame code picture `index` of `width` × `height`, and checks that the picture
// given is left unchanged, that its code can be read back and that it fills `extent`.
std::shared_ptr<AVFrame> expectRendered(FrameRenderer& renderer, int index, Size natural,
                                        const AffineTransform& transform, const Extent& extent,
                                        int width = kWidth, int height = kHeight,
                                        AVPixelFormat format = AV_PIX_FMT_YUV420P) {
  const auto picture = codePicture(index, width, height, format);
  const std::vector<uint8_t> before = pictures::lumaOf(*picture);
  auto drawn = renderer.render(*picture, natural, transform);
  EXPECT_EQ(pictures::lumaOf(*picture), before);
  EXPECT_EQ(pictures::frameIndexOf(*drawn), index);
  EXPECT_EQ(brightExtent(*drawn), extent);
  return drawn;
}

struct TurnCase {
  std::string name;
  AffineTransform transform;
  int quarterTurnsClockwise;
  bool mirrored;
  friend void PrintTo(const TurnCase& c, std::ostream* out) { *out << c.name; }
};

class RenderedTurn : public testing::TestWithParam<TurnCase> {};

TEST_P(RenderedTurn, ShowsThePictureTurnedAtTheOriginFillingTheArea) {
  const TurnCase& turn = GetParam();
  const Size area = displayedSize({kWidth, kHeight}, turn.transform);
  FrameRenderer renderer(area, area, AV_PIX_FMT_YUV420P);
  const auto drawn = expectRendered(renderer, 1234, {kWidth, kHeight}, turn.transform,
                                    {0, 0, int(area.width), int(area.height)});
  EXPECT_EQ(drawn->width, int(area.width));
  const auto code = testmedia::readFrameCode(*drawn);
  ASSERT_TRUE(code.has_value());
  EXPECT_EQ(code->quarterTurnsClockwise, turn.quarterTurnsClockwise);
  EXPECT_EQ(code->mirrored, turn.mirrored);
}

INSTANTIATE_TEST_SUITE_P(
    Transforms, RenderedTurn,
    testing::Values(
        TurnCase{"Identity", AffineTransform::identity(), 0, false},
        // As file tracks carry them: turned, then moved back to the origin.
        TurnCase{"QuarterClockwise", {0, 1, -1, 0, kHeight, 0}, 1, false},
        TurnCase{"HalfTurn", {-1, 0, 0, -1, kWidth, kHeight}, 2, false},
        TurnCase{"QuarterCounterClockwise", {0, -1, 1, 0, 0, kWidth}, 3, false},
        TurnCase{"RotatedLeft", turnedRight(-1), 3, false},
        TurnCase{"RotatedRightFiveTimes", turnedRight(5), 1, false},
        TurnCase{"MirroredLeftRight", {-1, 0, 0, 1, kWidth, 0}, 0, true},
        TurnCase{"MirroredTopBottom", {1, 0, 0, -1, 0, kHeight}, 2, true},
        TurnCase{"MirroredThenTurnedClockwise", {0, -1, -1, 0, kHeight, kWidth}, 1, true},
        TurnCase{"Transposed", {0, 1, 1, 0, 0, 0}, 3, true},
        // Angles between quarter turns are drawn as the nearest quarter turn.
        TurnCase{"EightyDegrees", AffineTransform::rotation(80 * std::numbers::pi / 180), 1, false},
        TurnCase{"MinusHundredDegrees", AffineTransform::rotation(-100 * std::numbers::pi / 180), 3,
                 false}),
    [](const testing::TestParamInfo<TurnCase>& info) { return info.param.name; });

TEST(FrameRenderer, PlacesPicturesAtTheOriginWithBlackAroundAndCutsOffWhatLiesOutside) {
  // Translations are not followed: the picture goes to the area's corner.
  FrameRenderer renderer(Size{300, 200}, Size{300, 200}, AV_PIX_FMT_YUV420P);
  const auto plain = expectRendered(renderer, 5, {kWidth, kHeight}, {1, 0, 0, 1, 120, 50},
                                    {0, 0, kWidth, kHeight});
  EXPECT_EQ(brightExtent(*plain, 21), (Extent{0, 0, kWidth, kHeight}));
  const auto turned = expectRendered(renderer, 6, {kWidth, kHeight}, {0, 1, -1, 0, 250, 40},
                                     {0, 0, kHeight, kWidth});
  EXPECT_EQ(brightExtent(*turned, 21), (Extent{0, 0, kHeight, kWidth}));

  // The white ring along the top and the left edge of the code shows; no code can be read from
  // half a picture.
  FrameRenderer half(Size{kWidth / 2, kHeight}, Size{kWidth / 2, kHeight}, AV_PIX_FMT_YUV420P);
  const auto drawn = half.render(*codePicture(9, kWidth, kHeight), {kWidth, kHeight}, {});
  EXPECT_EQ(brightExtent(*drawn), (Extent{0, 0, kWidth / 2, kHeight}));
  EXPECT_FALSE(testmedia::readFrameCode(*drawn).has_value());
}

TEST(FrameRenderer, DrawsPicturesOfChangingSizeAndFormatWithOneRenderer) {
  FrameRenderer renderer(Size{kWidth, kHeight}, Size{kWidth, kHeight}, AV_PIX_FMT_YUV420P);
  const Extent whole{0, 0, kWidth, kHeight};
  expectRendered(renderer, 100, {kWidth, kHeight}, {}, whole);
  expectRendered(renderer, 101, {}, {}, {0, 0, kWidth / 2, kHeight / 2}, kWidth / 2, kHeight / 2);
  expectRendered(renderer, 102, {kWidth, kHeight}, {}, whole, kWidth, kHeight, AV_PIX_FMT_YUVJ420P);
  // Non-square pixels: 84 coded columns shown 112 wide.
  expectRendered(renderer, 103, {kWidth, kHeight}, {}, whole, kHeight, kHeight);
  expectRendered(renderer, 104, {kWidth, kHeight}, {}, whole);
}

TEST(FrameRenderer, DrawsInItsFormatAndSizeWithOneSharedBlackFrame) {
  for (AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_BGRA, AV_PIX_FMT_RGBA}) {
    FrameRenderer renderer(Size{kWidth, kHeight}, Size{2 * kWidth, 2 * kHeight}, format);
    const auto drawn =
        renderer.render(*codePicture(42, kWidth, kHeight), {kWidth, kHeight}, {-1, 0, 0, 1, 0, 0});
    const auto black = renderer.blackFrame();
    EXPECT_EQ(black, renderer.blackFrame());
    for (const auto& frame : {drawn, black}) {
      ASSERT_EQ(frame->format, format);
      EXPECT_EQ(std::make_pair(frame->width, frame->height),
                std::make_pair(2 * kWidth, 2 * kHeight));
    }
    const auto code = testmedia::readFrameCode(*drawn);
    ASSERT_TRUE(code.has_value());
    EXPECT_EQ(code->index, 42);
    EXPECT_TRUE(code->mirrored);
    EXPECT_EQ(brightExtent(*black, 21), Extent{});
    if (format == AV_PIX_FMT_YUV420P) {
      EXPECT_EQ(black->data[1][0], 128);
      continue;
    }
    // Opaque, for the desktop.
    for (const auto& frame : {drawn, black}) {
      for (int y = 0; y < frame->height; ++y) {
        for (int x = 0; x < frame->width; ++x) {
          ASSERT_EQ(frame->data[0][y * frame->linesize[0] + 4 * x + 3], 255) << x << ", " << y;
        }
      }
    }
  }
}

TEST(FrameRenderer, RefusesEmptySizesAndUnknownPixelFormats) {
  const Error error = reading::errorOf([] {
    FrameRenderer(Size{0, 240}, Size{}, AV_PIX_FMT_YUV420P);
  });
  EXPECT_EQ(error.domain, kMediaErrorDomain);
  EXPECT_EQ(error.code, static_cast<int>(VideoCompositionError::NoVideo));
  EXPECT_FALSE(error.recoverySuggestion.empty());
  EXPECT_THROW(FrameRenderer(Size{320, 240}, Size{0.2, 0.2}, AV_PIX_FMT_YUV420P), ErrorException);
  EXPECT_THROW(FrameRenderer(Size{320, 240}, Size{320, 240}, AV_PIX_FMT_NONE),
               std::invalid_argument);
}

}  // namespace
}  // namespace reelcraft
