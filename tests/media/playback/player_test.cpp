#include "media/playback/player.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <mutex>
#include <vector>

#include "media/support/composition_reading.h"
#include "media/model/file_asset.h"
#include "media/base/main_queue.h"
#include "media/audio/null_audio_sink.h"
#include "mediagen/frame_code.h"
#include "mediagen/position_signal.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

using namespace std::chrono_literals;
using reading::append;
using reading::compositionOf;
using reading::frameRange;
using reading::frames;
using reading::openVariant;
using WallClock = std::chrono::steady_clock;

constexpr auto kPatience = 10s;

struct ShownFrame {
  MediaTime time;
  int index = -1;  // the frame code read from the picture
};

class RecordingVideoSink : public VideoSink {
 public:
  void showFrame(const VideoFrame& frame) override {
    const auto code = testmedia::readFrameCode(*frame.frame);
    shown.push_back({frame.time, code ? code->index : -1});
  }
  std::vector<ShownFrame> shown;
};

// Keeps the sound it is given (written on the player's audio thread).
class RecordingAudioSink : public NullAudioSink {
 public:
  size_t write(const float* samples, size_t frames) override {
    const size_t taken = NullAudioSink::write(samples, frames);
    std::lock_guard lock(mutex_);
    written_.insert(written_.end(), samples, samples + taken * kChannels);
    return taken;
  }
  std::vector<float> written() const {
    std::lock_guard lock(mutex_);
    return written_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<float> written_;
};

struct Report {
  MediaTime time;
  WallClock::time_point wall;
};

// The 90-frame, 30 fps test movie with B-frames and 25-frame GOPs.
std::shared_ptr<const FileAsset> movie() {
  static const auto asset = openVariant("h264-aac-mov");
  return asset;
}

MediaTime seconds(double s) {
  return MediaTime::fromSeconds(s, 600);
}

class PlayerTest : public ::testing::Test {
 protected:
  void open(std::shared_ptr<const Composition> composition) {
    player = Player::create(std::move(composition), loop);
    player->setVideoSink(&video);
    player->addPeriodicTimeObserver(MediaTime::make(1, 40), [this](MediaTime t) {
      reports.push_back({t, WallClock::now()});
    });
    player->setEndHandler([this] { ++ends; });
    player->setFailureHandler([this](const Error& error) { failures.push_back(error); });
  }

  bool seekAndWait(MediaTime t) {
    bool done = false;
    bool finished = false;
    player->seek(t, [&](bool result) {
      done = true;
      finished = result;
    });
    EXPECT_TRUE(loop.runUntil([&] { return done; }, kPatience)) << "seek to " << t.seconds();
    return finished;
  }

  bool waitForFirstFrame() {
    return loop.runUntil([&] { return player->displayedFrame() != nullptr; }, kPatience);
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

  int shownIndex() const { return video.shown.empty() ? -1 : video.shown.back().index; }

  EventLoop loop;
  RecordingVideoSink video;
  std::unique_ptr<Player> player;
  std::vector<Report> reports;
  std::vector<Error> failures;
  int ends = 0;
};

TEST_F(PlayerTest, ShowsTheFirstFrameOnItsOwnAndMakesNoVideoForSound) {
  open(compositionOf(*movie(), frameRange(0, 90)));
  ASSERT_TRUE(player->videoComposition().has_value());
  EXPECT_EQ(player->videoComposition()->frameDuration, frames(1));
  EXPECT_EQ(player->duration(), frames(90));
  ASSERT_TRUE(waitForFirstFrame());
  EXPECT_EQ(shownIndex(), 0);
  EXPECT_EQ(player->currentTime(), MediaTime::zero());
  EXPECT_EQ(player->rate(), 0.0);
  EXPECT_EQ(player->statistics().framesPresented, 1);

  // A sink that comes later is shown the picture on show at once.
  RecordingVideoSink later;
  player->setVideoSink(&later);
  ASSERT_EQ(later.shown.size(), 1u);
  EXPECT_EQ(later.shown[0].index, 0);
}

TEST_F(PlayerTest, SeeksExactlyAndReportsTheTimeSought) {
  open(compositionOf(*movie(), frameRange(0, 90)));
  struct Case {
    MediaTime t;
    int frame;
  };
  const std::vector<Case> cases = {
      {frames(10), 10},                   // on a frame's start
      {MediaTime::make(1001, 1200), 25},  // inside the frame that opens the second GOP
      {frames(24), 24},                   // the last frame of the first GOP, from later
      {MediaTime::make(2999, 1000), 89},  // inside the last frame
      {MediaTime::make(31, 1000), 0},     // inside the first frame
      {frames(51), 51},                   // forward across a GOP
      {frames(50), 50},                   // one frame back, before a GOP start
      {frames(90), 89},                   // the end shows the last frame
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(seekAndWait(c.t));
    EXPECT_EQ(shownIndex(), c.frame) << "after seeking to " << c.t.debugString();
    EXPECT_EQ(player->currentTime(), c.t);
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back().time, c.t);
  }
  // Times outside the movie are kept within it.
  EXPECT_TRUE(seekAndWait(seconds(-1)));
  EXPECT_EQ(player->currentTime(), MediaTime::zero());
  EXPECT_EQ(shownIndex(), 0);
  EXPECT_TRUE(seekAndWait(seconds(50)));
  EXPECT_EQ(player->currentTime(), frames(90));
  EXPECT_EQ(shownIndex(), 89);
}

TEST_F(PlayerTest, ALaterSeekTakesThePlaceOfAnEarlierOne) {
  open(compositionOf(*movie(), frameRange(0, 90)));
  std::vector<std::pair<int, bool>> completions;
  player->seek(seconds(1), [&](bool finished) { completions.push_back({1, finished}); });
  player->seek(seconds(2), [&](bool finished) { completions.push_back({2, finished}); });
  ASSERT_TRUE(loop.runUntil([&] { return completions.size() == 2; }, kPatience));
  EXPECT_EQ(completions[0], std::make_pair(1, false));
  EXPECT_EQ(completions[1], std::make_pair(2, true));
  EXPECT_EQ(shownIndex(), 60);
  EXPECT_EQ(player->currentTime(), seconds(2));

  bool invalidFinished = true;
  bool invalidDone = false;
  player->seek(MediaTime::invalid(), [&](bool finished) {
    invalidDone = true;
    invalidFinished = finished;
  });
  ASSERT_TRUE(loop.runUntil([&] { return invalidDone; }, kPatience));
  EXPECT_FALSE(invalidFinished);
  EXPECT_EQ(player->currentTime(), seconds(2));
}

TEST_F(PlayerTest, StepsLandOnTheRightFramesAcrossJoinsAndGops) {
  // Composition frames 0-14 show source frames 20-34 (a GOP starts at 25), 15-24 show 50-59
  // and 25-34 show 5-14.
  auto composition = compositionOf(*movie(), frameRange(20, 15));
  append(*composition, *movie(), frameRange(50, 10));
  append(*composition, *movie(), frameRange(5, 10));
  auto sourceFrame = [](int k) { return k < 15 ? 20 + k : k < 25 ? 50 + k - 15 : 5 + k - 25; };
  open(composition);
  ASSERT_TRUE(seekAndWait(frames(2)));

  struct Step {
    int count;
    int landsOn;
  };
  const std::vector<Step> steps = {
      {1, 3},   {1, 4},   {1, 5},   // over the source's GOP start
      {-1, 4},  {5, 9},   {5, 14},  //
      {1, 15},  {-1, 14},           // over the first join
      {5, 19},  {5, 24},  {1, 25},  // over the second join, to an earlier source GOP
      {-5, 20}, {-1, 19}, {9, 28},  //
      {10, 34}, {1, 34},            // the last frame stays
      {-40, 0}, {-1, 0},            // and so does the first
  };
  for (const Step& step : steps) {
    stepAndWait(step.count);
    EXPECT_EQ(player->currentTime(), frames(step.landsOn)) << "step " << step.count;
    EXPECT_EQ(shownIndex(), sourceFrame(step.landsOn)) << "step " << step.count;
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

TEST_P(PlayerRateTest, PlaysToTheEndInStepWithTheClockAndStops) {
  const double rate = GetParam();
  // Half a second of playing, whatever the rate.
  const int frameCount = static_cast<int>(15 * rate);
  open(compositionOf(*movie(), frameRange(30, frameCount)));
  ASSERT_TRUE(waitForFirstFrame());
  const size_t firstReport = reports.size();
  ASSERT_TRUE(playToEnd(rate));

  EXPECT_EQ(player->rate(), 0.0);
  EXPECT_EQ(player->currentTime(), player->duration());
  EXPECT_EQ(ends, 1);
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

  for (size_t i = 1; i < video.shown.size(); ++i) {
    EXPECT_GT(video.shown[i].index, video.shown[i - 1].index);
  }
  EXPECT_EQ(shownIndex(), 30 + frameCount - 1) << "the last frame is on show at the end";
  const PlayerStatistics statistics = player->statistics();
  EXPECT_EQ(statistics.framesPresented, static_cast<int64_t>(video.shown.size()));
  EXPECT_GT(statistics.framesPresented, 1);
}

INSTANTIATE_TEST_SUITE_P(Rates, PlayerRateTest, ::testing::Values(0.5, 1.0, 2.0));

TEST_F(PlayerTest, PlayingAgainFromTheEndStartsOver) {
  open(compositionOf(*movie(), frameRange(0, 6)));
  ASSERT_TRUE(playToEnd(1.0));
  ASSERT_TRUE(playToEnd(1.0));
  EXPECT_EQ(ends, 2);
  EXPECT_EQ(video.shown.front().index, 0);
  EXPECT_EQ(shownIndex(), 5);
  int restarts = 0;
  for (size_t i = 1; i < video.shown.size(); ++i) restarts += video.shown[i].index == 0;
  EXPECT_EQ(restarts, 1);
}

TEST_F(PlayerTest, PlaysBackwardsThroughEarlierGops) {
  open(compositionOf(*movie(), frameRange(0, 90)));
  ASSERT_TRUE(seekAndWait(frames(32)));
  const size_t fromSeek = video.shown.size() - 1;
  ASSERT_TRUE(playToEnd(-2.0));
  EXPECT_EQ(player->rate(), 0.0);
  EXPECT_EQ(player->currentTime(), MediaTime::zero());
  for (size_t i = fromSeek + 1; i < video.shown.size(); ++i) {
    EXPECT_LT(video.shown[i].index, video.shown[i - 1].index) << "frame " << i;
  }
  EXPECT_EQ(shownIndex(), 0);
  EXPECT_GT(video.shown.size() - fromSeek, 3u);
}

TEST_F(PlayerTest, SeeksWhilePlayingAndPlaysOnFromThere) {
  open(compositionOf(*movie(), frameRange(0, 90)));
  player->play();
  ASSERT_TRUE(loop.runUntil([&] { return reports.size() > 3; }, kPatience));
  const size_t beforeSeek = video.shown.size();
  EXPECT_TRUE(seekAndWait(frames(80)));
  EXPECT_EQ(player->rate(), 1.0);
  EXPECT_EQ(video.shown.at(beforeSeek).index, 80);
  ASSERT_TRUE(loop.runUntil([&] { return ends == 1; }, kPatience));
  for (size_t i = beforeSeek + 1; i < video.shown.size(); ++i) {
    EXPECT_GT(video.shown[i].index, video.shown[i - 1].index);
  }
  EXPECT_EQ(shownIndex(), 89);
}

TEST_F(PlayerTest, SoundStartsWhereThePlayingStarts) {
  auto sink = std::make_shared<RecordingAudioSink>();
  open(compositionOf(*movie(), frameRange(0, 90)));
  player->setAudioSink(sink);
  ASSERT_TRUE(seekAndWait(seconds(1.5)));
  player->play();
  constexpr size_t kBlock = 4096;
  ASSERT_TRUE(loop.runUntil([&] { return sink->written().size() >= 2 * kBlock; }, kPatience));
  player->pause();
  const std::vector<float> written = sink->written();
  std::vector<float> left(kBlock);
  for (size_t i = 0; i < kBlock; ++i) left[i] = written[2 * i];
  const auto location = testmedia::locatePositionSignal(left.data(), kBlock, 48000, 1.5);
  ASSERT_TRUE(location.has_value());
  EXPECT_NEAR(location->seconds, 1.5, 0.002);
  EXPECT_EQ(player->statistics().audioUnderruns, 0);
}

TEST_F(PlayerTest, VolumeReachesTheSinkAndStaysWithinRange) {
  open(compositionOf(*movie(), frameRange(0, 90)));
  player->setVolume(0.25);
  EXPECT_EQ(player->volume(), 0.25);
  EXPECT_EQ(player->audioSink()->volume(), 0.25);
  auto sink = std::make_shared<NullAudioSink>();
  player->setAudioSink(sink);
  EXPECT_EQ(sink->volume(), 0.25);
  player->setVolume(3);
  EXPECT_EQ(player->volume(), 1.0);
  EXPECT_EQ(sink->volume(), 1.0);
  player->setVolume(-1);
  EXPECT_EQ(sink->volume(), 0.0);
}

TEST_F(PlayerTest, RemovedObserversHearNothingMore) {
  open(compositionOf(*movie(), frameRange(0, 30)));
  int calls = 0;
  const auto token =
      player->addPeriodicTimeObserver(MediaTime::make(1, 100), [&](MediaTime) { ++calls; });
  EXPECT_TRUE(seekAndWait(frames(3)));
  EXPECT_EQ(calls, 1);
  player->removeTimeObserver(token);
  EXPECT_TRUE(seekAndWait(frames(4)));
  EXPECT_EQ(calls, 1);
  EXPECT_THROW(player->addPeriodicTimeObserver(MediaTime::zero(), [](MediaTime) {}),
               std::invalid_argument);
}

TEST_F(PlayerTest, SoundOnlyPlaysWithoutPictures) {
  auto sound = openVariant("audio-only-m4a");
  open(compositionOf(*sound, reading::secondsRange(0, 0.3)));
  EXPECT_FALSE(player->videoComposition().has_value());
  ASSERT_TRUE(playToEnd(1.0));
  EXPECT_EQ(player->rate(), 0.0);
  EXPECT_EQ(player->currentTime(), player->duration());
  EXPECT_TRUE(video.shown.empty());
  EXPECT_EQ(player->displayedFrame(), nullptr);
  EXPECT_TRUE(seekAndWait(seconds(0.1)));
  EXPECT_EQ(player->currentTime(), seconds(0.1));
  player->stepByCount(1);
  EXPECT_EQ(player->currentTime(), seconds(0.1));
  EXPECT_TRUE(failures.empty());
}

TEST_F(PlayerTest, AnEmptyCompositionEndsAtOnce) {
  open(MutableComposition::create());
  EXPECT_EQ(player->duration(), MediaTime::zero());
  EXPECT_FALSE(player->videoComposition().has_value());
  ASSERT_TRUE(playToEnd(1.0));
  EXPECT_EQ(player->rate(), 0.0);
  EXPECT_TRUE(seekAndWait(seconds(1)));
  EXPECT_EQ(player->currentTime(), MediaTime::zero());
  player->stepByCount(-1);
  player->setRate(-1);
  loop.runFor(10ms);
  EXPECT_TRUE(video.shown.empty());
  EXPECT_TRUE(failures.empty());
}

TEST_F(PlayerTest, DestroyingItMidPlaybackOrMidSeekIsQuietAndClean) {
  open(compositionOf(*movie(), frameRange(0, 90)));
  player->play();
  ASSERT_TRUE(loop.runUntil([&] { return video.shown.size() > 3; }, kPatience));
  player.reset();
  const size_t reportCount = reports.size();
  const size_t shownCount = video.shown.size();
  loop.runFor(50ms);
  EXPECT_EQ(reports.size(), reportCount);
  EXPECT_EQ(video.shown.size(), shownCount);

  bool completed = false;
  open(compositionOf(*movie(), frameRange(0, 90)));
  player->seek(seconds(2.5), [&](bool) { completed = true; });
  player->play();
  player.reset();
  loop.runFor(50ms);
  EXPECT_FALSE(completed);
  EXPECT_EQ(loop.pendingCount(), 0u);
}

TEST_F(PlayerTest, AnUnreadableFileIsReportedAsAnError) {
  namespace fs = std::filesystem;
  const fs::path copy = fs::path(testmedia::testMediaDirectory()) / "player-vanishing.mov";
  fs::copy_file(movie()->path(), copy, fs::copy_options::overwrite_existing);
  auto asset = FileAsset::open(copy.string());
  fs::resize_file(copy, 0);  // emptied in place: the asset still holds the file itself
  open(compositionOf(*asset, frameRange(0, 90)));
  bool finished = true;
  bool done = false;
  player->seek(seconds(1), [&](bool result) {
    done = true;
    finished = result;
  });
  player->play();
  ASSERT_TRUE(loop.runUntil([&] { return done && !failures.empty(); }, kPatience));
  EXPECT_FALSE(finished);
  EXPECT_FALSE(failures[0].description.empty());
  EXPECT_TRUE(player->error().has_value());
  EXPECT_EQ(player->rate(), 0.0);
}

}  // namespace
}  // namespace reelcraft
