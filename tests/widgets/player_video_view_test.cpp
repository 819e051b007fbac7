#include "qt_media/player_video_view.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include <QImage>
#include <QTest>

#include "app_fixture.h"
#include "media/playback/player.h"
#include "media/support/composition_reading.h"
#include "mediagen/test_media.h"
#include "qt_media/qt_main_queue.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

bool allBlack(const QImage& image, const QRect& rect) {
  for (int y = rect.top(); y <= rect.bottom(); ++y) {
    for (int x = rect.left(); x <= rect.right(); ++x) {
      if (qGray(image.pixel(x, y)) > 12) return false;
    }
  }
  return true;
}

// A real player of the 320×240, 30 fps test movie drawing into the view.
class PlayerVideoViewTest : public ::testing::Test {
 protected:
  void SetUp() override {
    player = Player::create(reading::wholeOf(*reading::openVariant("h264-aac-mov")), queue);
    player->setVideoSink(&view);
    view.show();
  }
  void seekAndWait(MediaTime t) {
    bool done = false;
    player->seek(t, [&](bool) { done = true; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return done; }, kPatienceMs));
  }

  QtMainQueue queue;
  PlayerVideoView view;
  std::unique_ptr<Player> player;
};

TEST_F(PlayerVideoViewTest, ShowsThePictureAtItsShapeWithBlackBars) {
  view.resize(400, 200);
  seekAndWait(MediaTime::make(30, 30));
  EXPECT_EQ(view.pictureRect(), QRect(66, 0, 267, 200));  // 4:3, centred
  EXPECT_EQ(frameCodeShownBy(view), 30);
  const QImage image = view.grab().toImage();
  EXPECT_TRUE(allBlack(image, QRect(0, 0, 64, 200)));
  EXPECT_TRUE(allBlack(image, QRect(335, 0, 65, 200)));
  // The picture's outer ring is white but for its two top-left cells.
  EXPECT_GT(qGray(image.pixel(320, 190)), 200);
  EXPECT_GT(qGray(image.pixel(200, 190)), 200);

  view.resize(200, 300);  // bars above and below
  seekAndWait(MediaTime::make(45, 30));
  EXPECT_EQ(view.pictureRect(), QRect(0, 75, 200, 150));
  EXPECT_EQ(frameCodeShownBy(view), 45);
  EXPECT_TRUE(allBlack(view.grab().toImage(), QRect(0, 0, 200, 73)));

  view.clear();
  EXPECT_TRUE(allBlack(view.grab().toImage(), view.rect()));
}

TEST(PlayerVideoViewShapeTest, WidensPicturesOfWidePixels) {
  PlayerVideoView view;
  view.resize(400, 400);
  std::shared_ptr<AVFrame> picture(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
  picture->width = 200;
  picture->height = 200;
  picture->sample_aspect_ratio = AVRational{2, 1};
  view.showFrame(VideoFrame{picture, MediaTime::zero(), MediaTime::make(1, 30)});
  EXPECT_EQ(view.pictureRect(), QRect(0, 100, 400, 200));
}

}  // namespace
}  // namespace reelcraft
