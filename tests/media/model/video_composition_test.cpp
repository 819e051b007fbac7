#include "media/model/video_composition.h"

#include <gtest/gtest.h>

#include <numbers>

#include "media/model/composition.h"
#include "media/model/picture_orientation.h"
#include "media/support/synthetic_asset.h"

namespace reelcraft {
namespace {

constexpr double kQuarter = std::numbers::pi / 2;

TEST(VideoComposition, BoundsEveryVideoTrackAndTakesTheShortestFrame) {
  auto wide = std::make_shared<SourceTrack>(*synthetic::sourceTrack(
      MediaType::Video, 1, TimeRange::make(MediaTime::zero(), MediaTime::make(10, 1))));
  auto tall = std::make_shared<SourceTrack>(*wide);
  tall->trackID = 2;
  tall->naturalSize = Size{640, 480};
  tall->preferredTransform = AffineTransform{0, 1, -1, 0, 480, 0};
  tall->minFrameDuration = MediaTime::make(1, 60);
  auto sound = synthetic::sourceTrack(MediaType::Audio, 3, wide->timeRange);
  const VideoComposition video =
      VideoComposition::withPropertiesOfAsset(synthetic::SourceAsset({wide, tall, sound}));
  EXPECT_EQ(video.renderSize, (Size{1920, 1080}));
  EXPECT_EQ(video.frameDuration, MediaTime::make(1, 60));

  wide->naturalSize = Size{320, 240};
  EXPECT_EQ(
      VideoComposition::withPropertiesOfAsset(synthetic::SourceAsset({wide, tall})).renderSize,
      (Size{480, 640}));

  // A new movie's empty video track has no size.
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
  // Turns and mirrors as files carry them are drawn in the frame renderer's tests.
  const Case cases[] = {
      {AffineTransform::rotation(3 * kQuarter), 3, false},
      {AffineTransform::rotation(0.4), 0, false},
      {AffineTransform::rotation(1.0), 1, false},
      {{2, 0, 0, 2, 5, 5}, 0, false},
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
