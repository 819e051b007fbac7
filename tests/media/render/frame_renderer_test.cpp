#include "media/render/frame_renderer.h"

#include <gtest/gtest.h>

#include <numbers>
#include <stdexcept>
#include <string>

#include "media/base/error.h"
#include "media/base/media_error.h"
#include "media/model/video_composition.h"
#include "media/support/picture_checks.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

using pictures::brightestOutside;
using pictures::brightExtent;
using pictures::codePicture;
using pictures::Extent;
using pictures::lumaOf;

constexpr double kQuarter = std::numbers::pi / 2;
constexpr int kWidth = 112;
constexpr int kHeight = 84;

struct TurnCase {
  std::string name;
  AffineTransform transform;
  int quarterTurnsClockwise;
  bool mirrored;
};

class RenderedTurn : public testing::TestWithParam<TurnCase> {};

TEST_P(RenderedTurn, ShowsThePictureTurnedAtTheOriginFillingTheArea) {
  const TurnCase& turn = GetParam();
  const Size natural{kWidth, kHeight};
  const Size area = displayedSize(natural, turn.transform);
  FrameRenderer renderer(area, area, AV_PIX_FMT_YUV420P);

  const auto drawn = renderer.render(*codePicture(1234, kWidth, kHeight), natural, turn.transform);

  ASSERT_EQ(drawn->width, static_cast<int>(area.width));
  ASSERT_EQ(drawn->height, static_cast<int>(area.height));
  const auto code = testmedia::readFrameCode(*drawn);
  ASSERT_TRUE(code.has_value());
  EXPECT_EQ(code->index, 1234);
  EXPECT_EQ(code->quarterTurnsClockwise, turn.quarterTurnsClockwise);
  EXPECT_EQ(code->mirrored, turn.mirrored);
  EXPECT_EQ(brightExtent(*drawn), (Extent{0, 0, drawn->width, drawn->height}));
}

INSTANTIATE_TEST_SUITE_P(
    Transforms, RenderedTurn,
    testing::Values(
        TurnCase{"Identity", AffineTransform::identity(), 0, false},
        // As file tracks carry them: turned, then moved back to the origin.
        TurnCase{"QuarterClockwise", {0, 1, -1, 0, kHeight, 0}, 1, false},
        TurnCase{"HalfTurn", {-1, 0, 0, -1, kWidth, kHeight}, 2, false},
        TurnCase{"QuarterCounterClockwise", {0, -1, 1, 0, 0, kWidth}, 3, false},
        // As rotations pile up on a composition track: no translation, rounding in cos π/2.
        TurnCase{"RotatedRight", AffineTransform::identity().rotated(kQuarter), 1, false},
        TurnCase{"RotatedLeft", AffineTransform::identity().rotated(-kQuarter), 3, false},
        TurnCase{"RotatedRightTwice",
                 AffineTransform::identity().rotated(kQuarter).rotated(kQuarter), 2, false},
        TurnCase{"RotatedRightFiveTimes",
                 AffineTransform::identity()
                     .rotated(kQuarter)
                     .rotated(kQuarter)
                     .rotated(kQuarter)
                     .rotated(kQuarter)
                     .rotated(kQuarter),
                 1, false},
        TurnCase{"MirroredLeftRight", {-1, 0, 0, 1, kWidth, 0}, 0, true},
        TurnCase{"MirroredTopBottom", {1, 0, 0, -1, 0, kHeight}, 2, true},
        TurnCase{"MirroredThenTurnedClockwise", {0, -1, -1, 0, kHeight, kWidth}, 1, true},
        TurnCase{"Transposed", {0, 1, 1, 0, 0, 0}, 3, true},
        // Angles between quarter turns are drawn as the nearest quarter turn.
        TurnCase{"EightyDegrees", AffineTransform::rotation(80 * std::numbers::pi / 180), 1, false},
        TurnCase{"MinusHundredDegrees", AffineTransform::rotation(-100 * std::numbers::pi / 180), 3,
                 false}),
    [](const testing::TestParamInfo<TurnCase>& info) { return info.param.name; });

TEST(FrameRenderer, ScalesTheRenderAreaToTheOutputSize) {
  const Size area{kHeight, kWidth};  // the picture turned a quarter
  for (Size output : {Size{2 * kHeight, 2 * kWidth}, Size{kHeight, 2 * kWidth}}) {
    FrameRenderer renderer(area, output, AV_PIX_FMT_YUV420P);
    const auto drawn = renderer.render(*codePicture(77, kWidth, kHeight), {kWidth, kHeight},
                                       AffineTransform::rotation(kQuarter));
    EXPECT_EQ(drawn->width, output.width);
    EXPECT_EQ(drawn->height, output.height);
    EXPECT_EQ(pictures::frameIndexOf(*drawn), 77);
    EXPECT_EQ(brightExtent(*drawn), (Extent{0, 0, drawn->width, drawn->height}));
  }
}

TEST(FrameRenderer, PlacesASmallerPictureAtTheOriginWithBlackAround) {
  FrameRenderer renderer(Size{300, 200}, Size{300, 200}, AV_PIX_FMT_YUV420P);
  // Translations are not followed: the picture goes to the area's corner.
  const AffineTransform moved{1, 0, 0, 1, 120, 50};
  const AffineTransform turnedAndMoved{0, 1, -1, 0, 250, 40};

  const auto plain = renderer.render(*codePicture(5, kWidth, kHeight), {kWidth, kHeight}, moved);
  const auto turned =
      renderer.render(*codePicture(6, kWidth, kHeight), {kWidth, kHeight}, turnedAndMoved);

  EXPECT_EQ(brightExtent(*plain), (Extent{0, 0, kWidth, kHeight}));
  EXPECT_LE(brightestOutside(lumaOf(*plain), kWidth, kHeight), 20);
  EXPECT_EQ(pictures::frameIndexOf(*plain), 5);
  EXPECT_EQ(brightExtent(*turned), (Extent{0, 0, kHeight, kWidth}));
  EXPECT_LE(brightestOutside(lumaOf(*turned), kHeight, kWidth), 20);
  EXPECT_EQ(pictures::frameIndexOf(*turned), 6);
}

TEST(FrameRenderer, CutsOffWhatLiesOutsideTheArea) {
  FrameRenderer renderer(Size{kWidth / 2, kHeight}, Size{kWidth / 2, kHeight}, AV_PIX_FMT_YUV420P);
  const auto drawn = renderer.render(*codePicture(9, kWidth, kHeight), {kWidth, kHeight},
                                     AffineTransform::identity());
  EXPECT_EQ(drawn->width, kWidth / 2);
  EXPECT_EQ(drawn->height, kHeight);
  // The white ring along the top and the left edge of the code shows; no code can be read from
  // half a picture.
  EXPECT_EQ(brightExtent(*drawn), (Extent{0, 0, kWidth / 2, kHeight}));
  EXPECT_FALSE(testmedia::readFrameCode(*drawn).has_value());
}

TEST(FrameRenderer, DrawsPicturesOfChangingSizeAndFormatWithOneRenderer) {
  FrameRenderer renderer(Size{kWidth, kHeight}, Size{kWidth, kHeight}, AV_PIX_FMT_YUV420P);
  struct Step {
    int width, height;
    AVPixelFormat format;
    Size natural;
    Extent expected;
  };
  const Step steps[] = {
      {kWidth, kHeight, AV_PIX_FMT_YUV420P, {kWidth, kHeight}, {0, 0, kWidth, kHeight}},
      {kWidth / 2, kHeight / 2, AV_PIX_FMT_YUV420P, {}, {0, 0, kWidth / 2, kHeight / 2}},
      {kWidth, kHeight, AV_PIX_FMT_YUVJ420P, {kWidth, kHeight}, {0, 0, kWidth, kHeight}},
      // Non-square pixels: 84 coded columns shown 112 wide.
      {kHeight, kHeight, AV_PIX_FMT_YUV420P, {kWidth, kHeight}, {0, 0, kWidth, kHeight}},
      {kWidth, kHeight, AV_PIX_FMT_YUV420P, {kWidth, kHeight}, {0, 0, kWidth, kHeight}},
  };
  int index = 100;
  for (const Step& step : steps) {
    SCOPED_TRACE(index);
    const auto drawn = renderer.render(*codePicture(index, step.width, step.height, step.format),
                                       step.natural, AffineTransform::identity());
    EXPECT_EQ(drawn->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(pictures::frameIndexOf(*drawn), index);
    EXPECT_EQ(brightExtent(*drawn), step.expected);
    ++index;
  }
}

TEST(FrameRenderer, LeavesTheDecodedPictureUnchanged) {
  FrameRenderer renderer(Size{kHeight, kWidth}, Size{kHeight, kWidth}, AV_PIX_FMT_YUV420P);
  const auto picture = codePicture(31, kWidth, kHeight);
  const pictures::Luma before = lumaOf(*picture);
  renderer.render(*picture, {kWidth, kHeight}, AffineTransform::rotation(kQuarter));
  EXPECT_EQ(lumaOf(*picture).values, before.values);
  EXPECT_EQ(pictures::frameIndexOf(*picture), 31);
}

TEST(FrameRenderer, DrawsOpaqueRgbForTheDesktop) {
  for (AVPixelFormat format : {AV_PIX_FMT_BGRA, AV_PIX_FMT_RGBA}) {
    FrameRenderer renderer(Size{kWidth, kHeight}, Size{kWidth, kHeight}, format);
    const auto drawn =
        renderer.render(*codePicture(42, kWidth, kHeight), {kWidth, kHeight}, {-1, 0, 0, 1, 0, 0});
    const auto black = renderer.blackFrame();
    ASSERT_EQ(drawn->format, format);
    const auto code = testmedia::readFrameCode(*drawn);
    ASSERT_TRUE(code.has_value());
    EXPECT_EQ(code->index, 42);
    EXPECT_TRUE(code->mirrored);
    for (const AVFrame* frame : {drawn.get(), black.get()}) {
      for (int y = 0; y < frame->height; ++y) {
        for (int x = 0; x < frame->width; ++x) {
          ASSERT_EQ(frame->data[0][y * frame->linesize[0] + 4 * x + 3], 255) << x << ", " << y;
        }
      }
    }
    EXPECT_EQ(black->data[0][0] + black->data[0][1] + black->data[0][2], 0);
  }
}

TEST(FrameRenderer, GivesOneSharedBlackFrameOfTheOutputSize) {
  FrameRenderer renderer(Size{320, 240}, Size{160, 120}, AV_PIX_FMT_YUV420P);
  const auto black = renderer.blackFrame();
  EXPECT_EQ(black, renderer.blackFrame());
  EXPECT_EQ(black->width, 160);
  EXPECT_EQ(black->height, 120);
  EXPECT_TRUE(pictures::isBlack(*black));
  EXPECT_EQ(black->data[1][0], 128);
}

TEST(FrameRenderer, RefusesEmptySizesAndUnknownPixelFormats) {
  try {
    FrameRenderer renderer(Size{0, 240}, Size{}, AV_PIX_FMT_YUV420P);
    FAIL() << "an empty render size was accepted";
  } catch (const ErrorException& error) {
    EXPECT_EQ(error.error().domain, kMediaErrorDomain);
    EXPECT_EQ(error.error().code, static_cast<int>(VideoCompositionError::NoVideo));
    EXPECT_FALSE(error.error().recoverySuggestion.empty());
  }
  EXPECT_THROW(FrameRenderer(Size{320, 240}, Size{0.2, 0.2}, AV_PIX_FMT_YUV420P), ErrorException);
  EXPECT_THROW(FrameRenderer(Size{320, 240}, Size{320, 240}, AV_PIX_FMT_NONE),
               std::invalid_argument);
}

}  // namespace
}  // namespace reelcraft
