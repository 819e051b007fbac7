#include "media/playback/player.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <mutex>

#include "media/audio/null_audio_sink.h"
#include "media/base/main_queue.h"
#include "media/support/composition_reading.h"
#include "media/support/picture_checks.h"
#include "media/support/sound_checks.h"

namespace reelcraft {
namespace {

using namespace std::chrono_literals;
using reading::compositionOf;
using reading::frameRange;
using reading::frames;
using WallClock = std::chrono::steady_clock;

constexpr auto kPatience = 10s;

class RecordingVideoSink : public VideoSink {
 public:
  void showFrame(const VideoFrame& frame) override {
    shown.push_back(pictures::frameIndexOf(*frame.frame));
  }
  std::vector<int> shown;  // the frame codes read from the pictures
};

// Keeps the left channel of the sound it is given (written on the player's audio thread).
class RecordingAudioSink : public NullAudioSink {
 public:
  size_t write(const float* samples, size_t frames) override {
    const size_t taken = NullAudioSink::write(samples, frames);
    std::lock_guard lock(mutex_);
    for (size_t i = 0; i < taken; ++i) left_.push_back(samples[i * kChannels]);
    return taken;
  }
  std::vector<float> left() const {
    std::lock_guard lock(mutex_);
    return left_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<float> left_;
};

struct Report {
  MediaTime time;
  WallClock::time_point wall;
};

// The 90-frame, 30 fps test movie with B-frames and 25-frame GOPs.
std::shared_ptr<const FileAsset> movie() {
  static const auto asset = reading::openVariant("h264-aac-mov");
  return asset;
}

MediaTime seconds(double s) {
  return MediaTime::fromSeconds(s, 600);
}

class PlayerTest : public ::testing::Test {
 protected:
  void open(std::shared_ptr<const Composition> composition = compositionOf(*movie(),
                                                                           frameRange(0, 90))) {
    player = Player::create(std::move(composition), loop);
    player->setVideoSink(&video);
    player->addPeriodicTimeObserver(MediaTime::make(1, 40), [this](MediaTime t) {
      reports.push_back({t, WallClock::now()});
    });
    player->setEndHandler([this] { ++ends; });
    player->setFailureHandler([this](const Error& error) { failures.push_back(error); });
  }

  // Whether the seek finished (rather than being taken over).
  bool seekAndWait(MediaTime t) {
    std::optional<bool> finished;
    player->seek(t, [&](bool result) { finished = result; });
    EXPECT_TRUE(loop.runUntil([&] { return finished.has_value(); }, kPatience)) << t.seconds();
    return finished.value_or(false);
  }

  bool playToEnd(double rate) {
    const int endsBefore = ends;
    player->setRate(rate);
    return loop.runUntil([&] { return ends > endsBefore; }, kPatience);
  }

  // A step completes with a report of the time it landed on.
  void stepAndWait(int count) {
    const size_t before = reports.size();
    player->stepByCount(count);
    ASSERT_TRUE(loop.runUntil([&] { return reports.size() > before; }, kPatience));
  }

  int shownIndex() const { return video.shown.empty() ? -1 : video.shown.back(); }

  void expectShownInOrderFrom(size_t first, int direction) const {
    for (size_t i = first + 1; i < video.shown.size(); ++i) {
      EXPECT_GT(direction * (video.shown[i] - video.shown[i - 1]), 0) << "frame " << i;
    }
  }

  EventLoop loop;
  RecordingVideoSink video;
  std::unique_ptr<Player> player;
  std::vector<Report> reports;
  std::vector<Error> failures;
  int ends = 0;
};

TEST_F(PlayerTest, ShowsTheFirstFrameOnItsOwn) {
  open();
  ASSERT_TRUE(loop.runUntil([&] { return player->displayedFrame() != nullptr; }, kPatience));
  EXPECT_EQ(shownIndex(), 0);
  EXPECT_EQ(player->currentTime(), MediaTime::zero());
  EXPECT_EQ(player->statistics().framesPresented, 1);

  // A sink that comes later is shown the picture on show at once.
  RecordingVideoSink later;
  player->setVideoSink(&later);
  EXPECT_EQ(later.shown, std::vector<int>{0});
}

TEST_F(PlayerTest, SeeksExactlyAndReportsTheTimeSought) {
  open();
  int calls = 0;
  const auto token =
      player->addPeriodicTimeObserver(MediaTime::make(1, 100), [&](MediaTime) { ++calls; });
  const std::vector<std::pair<MediaTime, int>> cases = {
      {frames(10), 10},                   // on a frame's start
      {MediaTime::make(1001, 1200), 25},  // inside the frame that opens the second GOP
      {frames(24), 24},                   // the last frame of the first GOP, from later
      {MediaTime::make(2999, 1000), 89},  // inside the last frame
      {MediaTime::make(31, 1000), 0},     // inside the first frame
      {frames(51), 51},                   // forward across a GOP
      {frames(50), 50},                   // one frame back, before a GOP start
      {frames(90), 89},                   // the end shows the last frame
      {seconds(-1), 0},                   // times outside the movie are kept within it
      {seconds(50), 89},
  };
  for (const auto& [t, frame] : cases) {
    SCOPED_TRACE("after seeking to " + t.debugString());
    EXPECT_TRUE(seekAndWait(t));
    EXPECT_EQ(shownIndex(), frame);
    const MediaTime kept = maximum(MediaTime::zero(), minimum(t, frames(90)));
    EXPECT_EQ(player->currentTime(), kept);
    EXPECT_EQ(reports.back().time, kept);
  }
  EXPECT_EQ(calls, static_cast<int>(cases.size()));
  player->removeTimeObserver(token);
  EXPECT_TRUE(seekAndWait(frames(4)));
  EXPECT_EQ(calls, static_cast<int>(cases.size())) << "a removed observer hears nothing more";
  EXPECT_THROW(player->addPeriodicTimeObserver(MediaTime::zero(), [](MediaTime) {}),
               std::invalid_argument);

  // A later seek takes the place of an earlier one.
  std::vector<std::pair<int, bool>> completions;
  player->seek(seconds(1), [&](bool finished) { completions.push_back({1, finished}); });
  player->seek(seconds(2), [&](bool finished) { completions.push_back({2, finished}); });
  ASSERT_TRUE(loop.runUntil([&] { return completions.size() == 2; }, kPatience));
  EXPECT_EQ(completions, (std::vector<std::pair<int, bool>>{{1, false}, {2, true}}));
  EXPECT_EQ(shownIndex(), 60);
  EXPECT_FALSE(seekAndWait(MediaTime::invalid()));
  EXPECT_EQ(player->currentTime(), seconds(2));
}

TEST_F(PlayerTest, StepsLandOnTheRightFramesAcrossJoinsAndGops) {
  // Composition frames 0-14 show source frames 20-34 (a GOP starts at 25), 15-24 show 50-59
  // and 25-34 show 5-14.
  auto composition = compositionOf(*movie(), frameRange(20, 15));
  reading::append(*composition, *movie(), frameRange(50, 10));
  reading::append(*composition, *movie(), frameRange(5, 10));
  auto sourceFrame = [](int k) { return k < 15 ? 20 + k : k < 25 ? 50 + k - 15 : 5 + k - 25; };
  open(composition);
  ASSERT_TRUE(seekAndWait(frames(2)));

  const std::vector<std::pair<int, int>> steps = {
      {1, 3},   {1, 4},   {1, 5},   // over the source's GOP start
      {-1, 4},  {5, 9},   {5, 14},  //
      {1, 15},  {-1, 14},           // over the first join
      {5, 19},  {5, 24},  {1, 25},  // over the second join, to an earlier source GOP
      {-5, 20}, {-1, 19}, {9, 28},  //
      {10, 34}, {1, 34},            // the last frame stays
      {-40, 0}, {-1, 0},            // and so does the first
  };
  for (const auto& [count, landsOn] : steps) {
    SCOPED_TRACE("step " + std::to_string(count));
    stepAndWait(count);
    EXPECT_EQ(player->currentTime(), frames(landsOn));
    EXPECT_EQ(shownIndex(), sourceFrame(landsOn));
  }

  // Steps given one after another before any has landed add up.
  player->stepByCount(1);
  player->stepByCount(1);
  stepAndWait(5);
  EXPECT_EQ(player->currentTime(), frames(7));
  EXPECT_EQ(shownIndex(), sourceFrame(7));

  // A step pauses playback first, then steps back from the frame at the time it paused.
  player->play();
  ASSERT_TRUE(
      loop.runUntil([&] { return compare(player->currentTime(), frames(12)) > 0; }, kPatience));
  const size_t before = reports.size();
  player->stepByCount(-1);
  EXPECT_EQ(player->rate(), 0.0);
  ASSERT_EQ(reports.size(), before + 1) << "pausing reports the time at once";
  const int pausedOn = static_cast<int>(std::floor(reports.back().time.seconds() * 30));
  ASSERT_TRUE(loop.runUntil([&] { return reports.size() > before + 1; }, kPatience));
  EXPECT_EQ(player->currentTime(), frames(pausedOn - 1));
  ASSERT_NE(player->displayedFrame(), nullptr);
  EXPECT_EQ(player->displayedFrame()->time, player->currentTime());
  EXPECT_EQ(shownIndex(), sourceFrame(pausedOn - 1));
}

class PlayerRateTest : public PlayerTest, public ::testing::WithParamInterface<double> {};

TEST_P(PlayerRateTest, PlaysToTheEndInStepWithTheClockStopsAndStartsOverWhenPlayedAgain) {
  const double rate = GetParam();
  // Half a second of playing, whatever the rate.
  const int frameCount = static_cast<int>(15 * rate);
  open(compositionOf(*movie(), frameRange(30, frameCount)));
  ASSERT_TRUE(loop.runUntil([&] { return player->displayedFrame() != nullptr; }, kPatience));
  const size_t firstReport = reports.size();
  ASSERT_TRUE(playToEnd(rate));

  EXPECT_EQ(player->rate(), 0.0);
  EXPECT_EQ(player->currentTime(), player->duration());
  ASSERT_GT(reports.size(), firstReport + 2);
  for (size_t i = firstReport + 1; i < reports.size(); ++i) {
    EXPECT_GE(reports[i].time, reports[i - 1].time) << "report " << i;
  }
  EXPECT_EQ(reports.back().time, player->duration());
  // Movie time against wall time, loosely: the point is the speed, not the timing.
  const double movieSeconds = subtract(reports.back().time, reports[firstReport].time).seconds();
  const std::chrono::duration<double> wall = reports.back().wall - reports[firstReport].wall;
  EXPECT_GT(movieSeconds / wall.count(), rate * 0.5);
  EXPECT_LT(movieSeconds / wall.count(), rate * 1.5);
  expectShownInOrderFrom(0, 1);
  EXPECT_EQ(shownIndex(), 30 + frameCount - 1) << "the last frame is on show at the end";
  EXPECT_EQ(player->statistics().framesPresented, static_cast<int64_t>(video.shown.size()));
  EXPECT_GT(video.shown.size(), 1u);

  const size_t firstRun = video.shown.size();
  ASSERT_TRUE(playToEnd(rate));
  EXPECT_EQ(ends, 2);
  EXPECT_EQ(video.shown.at(firstRun), 30) << "playing again from the end starts over";
  expectShownInOrderFrom(firstRun, 1);
}

INSTANTIATE_TEST_SUITE_P(Rates, PlayerRateTest, ::testing::Values(0.5, 1.0, 2.0));

TEST_F(PlayerTest, SeeksWhilePlayingAndPlaysBackwardsThroughEarlierGops) {
  open();
  player->play();
  ASSERT_TRUE(loop.runUntil([&] { return reports.size() > 3; }, kPatience));
  size_t from = video.shown.size();
  EXPECT_TRUE(seekAndWait(frames(80)));
  EXPECT_EQ(player->rate(), 1.0);
  EXPECT_EQ(video.shown.at(from), 80);
  ASSERT_TRUE(loop.runUntil([&] { return ends == 1; }, kPatience));
  expectShownInOrderFrom(from, 1);
  EXPECT_EQ(shownIndex(), 89);

  ASSERT_TRUE(seekAndWait(frames(32)));
  from = video.shown.size() - 1;
  ASSERT_TRUE(playToEnd(-2.0));
  EXPECT_EQ(player->rate(), 0.0);
  EXPECT_EQ(player->currentTime(), MediaTime::zero());
  expectShownInOrderFrom(from, -1);
  EXPECT_EQ(shownIndex(), 0);
  EXPECT_GT(video.shown.size() - from, 3u);
}

TEST_F(PlayerTest, SoundStartsWhereThePlayingStartsAtTheVolumeSet) {
  auto sink = std::make_shared<RecordingAudioSink>();
  open();
  player->setVolume(0.25);
  player->setAudioSink(sink);
  EXPECT_EQ(sink->volume(), 0.25);
  ASSERT_TRUE(seekAndWait(seconds(1.5)));
  player->play();
  ASSERT_TRUE(loop.runUntil([&] { return sink->left().size() >= 4096; }, kPatience));
  player->pause();
  const auto location = sound::sourceSecondsOf(sink->left().data(), 4096, 48000, 1.5);
  ASSERT_TRUE(location.has_value());
  EXPECT_NEAR(*location, 1.5, 0.002);
  EXPECT_EQ(player->statistics().audioUnderruns, 0);

  player->setVolume(3);
  EXPECT_EQ(player->volume(), 1.0);
  EXPECT_EQ(sink->volume(), 1.0);
  player->setVolume(-1);
  EXPECT_EQ(sink->volume(), 0.0);
}

TEST_F(PlayerTest, SoundOnlyOrEmptyCompositionsPlayWithoutPictures) {
  const auto sound = reading::openVariant("audio-only-m4a");
  for (const auto& composition :
       {compositionOf(*sound, reading::secondsRange(0, 0.3)), MutableComposition::create()}) {
    open(composition);
    EXPECT_FALSE(player->videoComposition().has_value());
    ASSERT_TRUE(playToEnd(1.0));
    EXPECT_EQ(player->rate(), 0.0);
    EXPECT_EQ(player->currentTime(), player->duration());
    EXPECT_TRUE(seekAndWait(seconds(0.1)));
    const MediaTime t = minimum(seconds(0.1), player->duration());
    EXPECT_EQ(player->currentTime(), t);
    player->stepByCount(1);
    player->stepByCount(-1);
    EXPECT_EQ(player->currentTime(), t);
    player->setRate(-1);
    loop.runFor(10ms);
  }
  EXPECT_TRUE(video.shown.empty());
  EXPECT_EQ(player->displayedFrame(), nullptr);
  EXPECT_TRUE(failures.empty());
}

TEST_F(PlayerTest, DestroyingItMidPlaybackOrMidSeekIsQuietAndClean) {
  open();
  player->play();
  ASSERT_TRUE(loop.runUntil([&] { return video.shown.size() > 3; }, kPatience));
  player.reset();
  const size_t reportCount = reports.size();
  const size_t shownCount = video.shown.size();
  loop.runFor(50ms);
  EXPECT_EQ(reports.size(), reportCount);
  EXPECT_EQ(video.shown.size(), shownCount);

  bool completed = false;
  open();
  player->seek(seconds(2.5), [&](bool) { completed = true; });
  player->play();
  player.reset();
  loop.runFor(50ms);
  EXPECT_FALSE(completed);
  EXPECT_EQ(loop.pendingCount(), 0u);
}

TEST_F(PlayerTest, AnUnreadableFileIsReportedAsAnError) {
  const auto asset =
      FileAsset::open(reading::disposableCopy("h264-aac-mov", "player-vanishing.mov"));
  std::filesystem::resize_file(asset->path(), 0);  // the asset still holds the file itself
  open(compositionOf(*asset, frameRange(0, 90)));
  std::optional<bool> finished;
  player->seek(seconds(1), [&](bool result) { finished = result; });
  player->play();
  ASSERT_TRUE(loop.runUntil([&] { return finished && !failures.empty(); }, kPatience));
  EXPECT_FALSE(*finished);
  EXPECT_FALSE(failures[0].description.empty());
  EXPECT_TRUE(player->error().has_value());
  EXPECT_EQ(player->rate(), 0.0);
}

}  // namespace
}  // namespace reelcraft
