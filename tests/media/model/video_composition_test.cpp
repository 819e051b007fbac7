#include "media/model/video_composition.h"

#include <gtest/gtest.h>

#include <numbers>

#include "media/support/composition_reading.h"
#include "media/model/composition.h"
#include "media/model/picture_orientation.h"
#include "media/support/synthetic_asset.h"
#include "media/support/turned_composition.h"

namespace reelcraft {
namespace {

constexpr double kQuarter = std::numbers::pi / 2;

using turning::rotate;

std::shared_ptr<MutableComposition> wholeMovie(const std::string& variant) {
  const auto asset = reading::openVariant(variant);
  return reading::compositionOf(*asset, TimeRange::make(MediaTime::zero(), asset->duration()));
}

TEST(VideoComposition, TakesTheSizeAndCadenceOfAPlainMovie) {
  const auto asset = reading::openVariant("h264-aac-mov");
  const auto composition = wholeMovie("h264-aac-mov");
  for (const Asset* source :
       {static_cast<const Asset*>(asset.get()), static_cast<const Asset*>(composition.get())}) {
    const VideoComposition video = VideoComposition::withPropertiesOfAsset(*source);
    EXPECT_EQ(video.renderSize, (Size{320, 240}));
    EXPECT_TRUE(isIdentical(video.frameDuration, MediaTime::make(1, 30)))
        << video.frameDuration.debugString();
  }
}

TEST(VideoComposition, KeepsTheNtscCadenceExact) {
  const VideoComposition video =
      VideoComposition::withPropertiesOfAsset(*wholeMovie("ntsc-h264-aac-mov"));
  EXPECT_EQ(video.frameDuration, MediaTime::make(1001, 30000));
}

TEST(VideoComposition, RendersAMovieStoredTurnedAsItIsDisplayed) {
  const auto asset = reading::openVariant("rotated-mov");
  EXPECT_EQ(VideoComposition::withPropertiesOfAsset(*asset).renderSize, (Size{240, 320}));
  EXPECT_EQ(VideoComposition::withPropertiesOfAsset(*wholeMovie("rotated-mov")).renderSize,
            (Size{240, 320}));
}

TEST(VideoComposition, FollowsRotationsOfTheComposition) {
  const auto composition = wholeMovie("h264-aac-mov");
  const auto renderSize = [&] {
    return VideoComposition::withPropertiesOfAsset(*composition).renderSize;
  };
  rotate(*composition, /*left=*/false);
  EXPECT_EQ(renderSize(), (Size{240, 320}));
  rotate(*composition, /*left=*/false);
  EXPECT_EQ(renderSize(), (Size{320, 240}));
  rotate(*composition, /*left=*/true);
  EXPECT_EQ(renderSize(), (Size{240, 320}));
  rotate(*composition, /*left=*/true);
  rotate(*composition, /*left=*/true);
  EXPECT_EQ(renderSize(), (Size{240, 320}));
}

TEST(VideoComposition, BoundsEveryVideoTrackAndTakesTheShortestFrame) {
  auto wide = std::make_shared<SourceTrack>(*synthetic::sourceTrack(
      MediaType::Video, 1, TimeRange::make(MediaTime::zero(), MediaTime::make(10, 1))));
  auto tall = std::make_shared<SourceTrack>(*wide);
  tall->trackID = 2;
  tall->naturalSize = Size{640, 480};
  tall->preferredTransform = AffineTransform{0, 1, -1, 0, 480, 0};
  tall->minFrameDuration = MediaTime::make(1, 60);
  auto sound = synthetic::sourceTrack(MediaType::Audio, 3,
                                      TimeRange::make(MediaTime::zero(), MediaTime::make(10, 1)));
  const synthetic::SourceAsset asset({wide, tall, sound});

  const VideoComposition video = VideoComposition::withPropertiesOfAsset(asset);
  EXPECT_EQ(video.renderSize, (Size{1920, 1080}));
  EXPECT_EQ(video.frameDuration, MediaTime::make(1, 60));

  wide->naturalSize = Size{320, 240};
  const VideoComposition smaller =
      VideoComposition::withPropertiesOfAsset(synthetic::SourceAsset({wide, tall}));
  EXPECT_EQ(smaller.renderSize, (Size{480, 640}));
}

TEST(VideoComposition, HasNoPictureWithoutVideo) {
  const VideoComposition video =
      VideoComposition::withPropertiesOfAsset(*reading::openVariant("audio-only-m4a"));
  EXPECT_TRUE(video.renderSize.isEmpty());
  EXPECT_EQ(video.frameDuration, MediaTime::make(1, 30));

  // A new movie's empty video track has no size either.
  auto empty = MutableComposition::create();
  empty->addMutableTrack(MediaType::Video);
  empty->insertEmptyTimeRange(TimeRange::make(MediaTime::zero(), MediaTime::make(10, 1)));
  EXPECT_TRUE(VideoComposition::withPropertiesOfAsset(*empty).renderSize.isEmpty());
}

TEST(PictureOrientation, IsTheNearestQuarterTurnAndMirror) {
  struct Case {
    AffineTransform transform;
    int quarterTurns;
    bool mirrored;
  };
  const Case cases[] = {
      {AffineTransform::identity(), 0, false},
      {AffineTransform::rotation(kQuarter), 1, false},
      {AffineTransform::rotation(-kQuarter), 3, false},
      {AffineTransform::rotation(3 * kQuarter), 3, false},
      {AffineTransform::rotation(2 * kQuarter), 2, false},
      {AffineTransform::rotation(0.4), 0, false},
      {AffineTransform::rotation(1.0), 1, false},
      {{2, 0, 0, 2, 5, 5}, 0, false},
      {{-1, 0, 0, 1, 0, 0}, 0, true},
      {{1, 0, 0, -1, 0, 0}, 2, true},
      {{0, 1, 1, 0, 0, 0}, 3, true},
      {{0, -1, -1, 0, 0, 0}, 1, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.transform.debugString());
    const PictureOrientation orientation = PictureOrientation::nearestTo(c.transform);
    EXPECT_EQ(orientation.quarterTurnsClockwise, c.quarterTurns);
    EXPECT_EQ(orientation.mirrored, c.mirrored);
  }
}

TEST(PictureOrientation, DisplayedSizesAreWholeAfterManyTurns) {
  AffineTransform transform;
  for (int turn = 1; turn <= 9; ++turn) {
    transform = transform.rotated(kQuarter);
    const Size size = displayedSize(Size{1920, 1080}, transform);
    EXPECT_EQ(size, (turn % 2 ? Size{1080, 1920} : Size{1920, 1080})) << turn;
  }
  EXPECT_EQ(displayedSize(Size{320, 240}, {0.5, 0, 0, 2, 0, 0}), (Size{160, 480}));
}

}  // namespace
}  // namespace reelcraft
