#include "qt_media/qt_audio_sink.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

#include <QMediaDevices>
#include <QTest>

#include "media/playback/player.h"
#include "media/support/composition_reading.h"
#include "mediagen/test_media.h"
#include "qt_media/qt_main_queue.h"

namespace reelcraft {
namespace {

TEST(QtAudioSinkTest, WithoutADeviceLetsThePlayerKeepTimeOnItsOwn) {
  if (!QMediaDevices::audioOutputs().isEmpty()) GTEST_SKIP() << "this machine has audio output";
  auto sink = std::make_shared<QtAudioSink>();
  EXPECT_FALSE(sink->hasOutputDevice());
  EXPECT_FALSE(sink->start(48000));
  EXPECT_EQ(sink->playedFrames(), 0);

  QtMainQueue queue;
  auto player = Player::create(reading::wholeOf(*reading::openVariant("h264-aac-mov")), queue);
  std::optional<Error> failure;
  player->setFailureHandler([&](const Error& error) { failure = error; });
  player->setAudioSink(sink);
  bool ended = false;
  player->setEndHandler([&] { ended = true; });
  player->play();
  ASSERT_TRUE(QTest::qWaitFor([&] { return ended; }, 10'000));
  EXPECT_EQ(player->currentTime(), player->duration());
  EXPECT_GT(player->statistics().framesPresented, 45);
  EXPECT_FALSE(failure.has_value());
}

// Runs where there is an audio output (a sound server with a null sink will do).
TEST(QtAudioSinkTest, CountsWhatHasBeenPlayedOfEachRun) {
  if (QMediaDevices::audioOutputs().isEmpty()) GTEST_SKIP() << "no audio output";
  QtAudioSink sink(48000);
  ASSERT_TRUE(sink.start(48000));
  const std::vector<float> silence(2 * 24000, 0.0f);
  ASSERT_EQ(sink.write(silence.data(), 24000), 24000u);
  sink.endOfStream();  // a run shorter than the device's buffer still plays out
  int64_t last = 0;
  bool monotonic = true;
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        const int64_t played = sink.playedFrames();
        monotonic = monotonic && played >= last;
        last = played;
        return played >= 24000 * 9 / 10;
      },
      10'000));
  EXPECT_TRUE(monotonic);
  EXPECT_LE(last, 24000);

  sink.stop();
  EXPECT_EQ(sink.playedFrames(), 0);
  ASSERT_TRUE(sink.start(44100));  // a new run counts from zero
  ASSERT_EQ(sink.write(silence.data(), 4410), 4410u);
  sink.endOfStream();
  ASSERT_TRUE(QTest::qWaitFor([&] { return sink.playedFrames() > 0; }, 10'000));
  EXPECT_LE(sink.playedFrames(), 4410);
}

}  // namespace
}  // namespace reelcraft
