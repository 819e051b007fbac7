#include "media/render/composition_video_source.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "media/support/composition_reading.h"
#include "media/model/composition.h"
#include "media/base/error.h"
#include "media/model/file_asset.h"
#include "media/base/media_error.h"
#include "mediagen/movie_recipe.h"
#include "media/support/picture_checks.h"
#include "media/support/reference_timeline.h"
#include "media/support/turned_composition.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

using reading::frameRange;
using reading::frames;
using reading::openVariant;
using reference::Int128;
using reference::Rational;
using reference::Timeline;

// A second source that tells itself apart by its size and rate: 160×120 at 25 fps, 2 s, with
// short GOPs and B-frames.
std::shared_ptr<const FileAsset> smallMovie() {
  testmedia::VideoTrackRecipe video;
  video.width = 160;
  video.height = 120;
  video.frameRate = {25, 1};
  video.frameCount = 50;
  video.gopSize = 12;
  testmedia::MovieRecipe recipe;
  recipe.videoTracks = {video};
  return FileAsset::open(reading::writtenMovie("small-160x120-25fps.mov", recipe));
}

// Two video tracks: 320×240 for the first second on top of 160×120 for two seconds.
std::shared_ptr<const FileAsset> layeredMovie() {
  testmedia::VideoTrackRecipe top;
  top.frameCount = 30;
  testmedia::VideoTrackRecipe below;
  below.width = 160;
  below.height = 120;
  below.frameCount = 60;
  testmedia::MovieRecipe recipe;
  recipe.videoTracks = {top, below};
  return FileAsset::open(reading::writtenMovie("layered-video.mov", recipe));
}

// What a frame should show: the frame code and the width of the picture it sits in, or black.
struct Shown {
  int index = -1;
  int width = 0;
  friend bool operator==(const Shown&, const Shown&) = default;
};

std::ostream& operator<<(std::ostream& out, const Shown& shown) {
  if (shown.index < 0 && shown.width == 0) return out << "black";
  return out << "frame " << shown.index << " of the " << shown.width << " px wide picture";
}

Shown shownIn(const AVFrame& frame) {
  const pictures::Extent extent = pictures::brightExtent(frame);
  return Shown{pictures::frameIndexOf(frame), extent.width};
}

int64_t floorOf(const Rational& r) {
  auto k = static_cast<int64_t>(std::floor(r.value()));
  while (!(r < Rational(k + 1))) ++k;
  while (r < Rational(k)) --k;
  return k;
}

// The sources a test composition is made of, and what the model says its video shows.
class Expectation {
 public:
  void addSource(const FileAsset& asset, int framesPerSecond, int displayedWidth) {
    for (const auto& track : asset.sourceTracks()) {
      if (track->mediaType == MediaType::Video) {
        sources_[track.get()] = Source{framesPerSecond, displayedWidth};
      }
    }
  }

  // The topmost video track with media at t decides; a frame n of a source covers
  // [n / rate, (n + 1) / rate).
  Shown at(const Timeline& model, const Rational& t) const {
    for (const Timeline::Track& track : model.tracks) {
      if (track.mediaType != MediaType::Video) continue;
      const reference::Sample sample = track.at(t);
      if (!sample.source) continue;
      const Source& source = sources_.at(sample.source);
      return Shown{static_cast<int>(floorOf(sample.time * Rational(source.framesPerSecond))),
                   source.width};
    }
    return Shown{};
  }

 private:
  struct Source {
    int framesPerSecond = 0;
    int width = 0;
  };
  std::map<const SourceTrack*, Source> sources_;
};

Rational rationalOf(MediaTime t) {
  return Rational::of(t);
}

std::unique_ptr<CompositionVideoSource> sourceFor(std::shared_ptr<const Asset> composition,
                                                  CompositionVideoSource::Options options = {}) {
  const VideoComposition video = VideoComposition::withPropertiesOfAsset(*composition);
  return CompositionVideoSource::create(std::move(composition), video, options);
}

// Reads every frame in order and compares each with the model at the frame's time.
void expectSequenceShowsModel(CompositionVideoSource& source, const Timeline& model,
                              const Expectation& expectation) {
  const MediaTime d = source.frameDuration();
  int64_t k = 0;
  while (std::optional<VideoFrame> frame = source.nextFrame()) {
    const MediaTime t = MediaTime::make(d.value * k, d.timescale);
    ASSERT_EQ(frame->time, t) << "frame " << k;
    EXPECT_EQ(frame->duration, minimum(d, subtract(source.duration(), t))) << "frame " << k;
    EXPECT_EQ(shownIn(*frame->frame), expectation.at(model, rationalOf(t)))
        << "at " << t.debugString();
    ++k;
  }
  const Rational slots = rationalOf(source.duration()) / rationalOf(d);
  EXPECT_EQ(k, floorOf(slots) + (Rational(floorOf(slots)) == slots ? 0 : 1));
}

// A composition of two movies edited at frames inside B-frame GOPs, with a gap, and its
// model. The cadence is the main movie's 1/30 s; the pasted movie runs at 25 fps.
struct EditedMovie {
  std::shared_ptr<MutableComposition> composition;
  Timeline model;
  Expectation expectation;
};

EditedMovie editedMovie() {
  const auto main = openVariant("h264-aac-mov");
  const auto small = smallMovie();
  EditedMovie edited;
  edited.expectation.addSource(*main, 30, 320);
  edited.expectation.addSource(*small, 25, 160);
  const Timeline mainModel = Timeline::ofSources(main->sourceTracks());
  const Timeline smallModel = Timeline::ofSources(small->sourceTracks());
  const auto r = [](MediaTime t) { return Rational::of(t); };

  edited.composition = reading::compositionOf(*main, frameRange(0, 90));
  edited.model.insert(mainModel, 0, r(frames(90)), 0);

  // Frames 37 to 47 go (inside the GOP that starts at 25).
  edited.composition->removeTimeRange(frameRange(37, 11));
  edited.model.remove(r(frames(37)), r(frames(11)));

  // 20 frames of the small movie from its frame 5 go in after frame 13, in the first GOP.
  const TimeRange pasted = frameRange(5, 20, {25, 1});
  edited.composition->insertTimeRange(pasted, *small, frames(13));
  edited.model.insert(smallModel, r(pasted.start), r(pasted.duration), r(frames(13)));

  // Ten frames of nothing.
  edited.composition->insertEmptyTimeRange(frameRange(60, 10));
  edited.model.insertEmpty(r(frames(60)), r(frames(10)));

  // Trim to the part from frame 3 to four frames before the end: the tail goes first.
  const MediaTime end = subtract(edited.composition->duration(), frames(4));
  edited.composition->removeTimeRange(TimeRange::fromStartEnd(end, edited.composition->duration()));
  edited.model.remove(r(end), r(edited.composition->duration()) - r(end));
  edited.composition->removeTimeRange(frameRange(0, 3));
  edited.model.remove(0, r(frames(3)));
  return edited;
}

TEST(CompositionVideoSource, ReadsAWholeMovieFrameByFrame) {
  const auto asset = openVariant("h264-aac-mov");
  const auto source = sourceFor(reading::compositionOf(*asset, frameRange(0, 90)));
  EXPECT_EQ(source->renderSize(), (Size{320, 240}));
  EXPECT_EQ(source->outputSize(), (Size{320, 240}));
  EXPECT_EQ(source->duration(), MediaTime::make(3, 1));
  for (int k = 0; k < 90; ++k) {
    const auto frame = source->nextFrame();
    ASSERT_TRUE(frame.has_value()) << k;
    EXPECT_EQ(frame->time, frames(k));
    EXPECT_EQ(frame->duration, frames(1));
    EXPECT_EQ(frame->frame->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(pictures::frameIndexOf(*frame->frame), k);
  }
  EXPECT_FALSE(source->nextFrame().has_value());
  EXPECT_FALSE(source->nextFrame().has_value());
}

TEST(CompositionVideoSource, ReadsAnEditedCompositionAsTheModelShowsIt) {
  EditedMovie edited = editedMovie();
  const auto source = sourceFor(edited.composition->copy());
  expectSequenceShowsModel(*source, edited.model, edited.expectation);
}

TEST(CompositionVideoSource, ShowsEachFrameOfScaledRangesForItsStretchedInterval) {
  const auto main = openVariant("h264-aac-mov");
  Expectation expectation;
  expectation.addSource(*main, 30, 320);
  auto composition = reading::compositionOf(*main, frameRange(0, 90));
  Timeline model;
  model.insert(Timeline::ofSources(main->sourceTracks()), 0, Rational(3), 0);

  // Frames 10 to 19 play at half speed, then (in the new timeline) 20 frames from frame 50
  // at double speed, and 9 frames from 75 at a third of their length.
  composition->scaleTimeRange(frameRange(10, 10), frames(20));
  model.scale(Rational(10, 30), Rational(10, 30), Rational(20, 30));
  composition->scaleTimeRange(frameRange(50, 20), frames(10));
  model.scale(Rational(50, 30), Rational(20, 30), Rational(10, 30));
  composition->scaleTimeRange(frameRange(75, 9), frames(3));
  model.scale(Rational(75, 30), Rational(9, 30), Rational(3, 30));

  const auto source = sourceFor(composition->copy());
  expectSequenceShowsModel(*source, model, expectation);

  // Slowed down, frame 10 stays for two frames of the cadence.
  EXPECT_EQ(pictures::frameIndexOf(*source->frameAt(frames(10)).frame), 10);
  EXPECT_EQ(pictures::frameIndexOf(*source->frameAt(frames(11)).frame), 10);
  EXPECT_EQ(pictures::frameIndexOf(*source->frameAt(frames(12)).frame), 11);
}

TEST(CompositionVideoSource, GivesTheTopmostTrackWithMediaAndBlackWhereThereIsNone) {
  const auto layered = layeredMovie();
  auto composition = reading::compositionOf(*layered, frameRange(0, 60));
  composition->insertEmptyTimeRange(frameRange(60, 15));
  const auto source = sourceFor(composition->copy());
  EXPECT_EQ(source->renderSize(), (Size{320, 240}));

  for (int k = 0; k < 75; ++k) {
    const auto frame = source->nextFrame();
    ASSERT_TRUE(frame.has_value());
    const Shown expected = k < 30 ? Shown{k, 320} : k < 60 ? Shown{k, 160} : Shown{};
    EXPECT_EQ(shownIn(*frame->frame), expected) << "frame " << k;
  }
  EXPECT_FALSE(source->nextFrame().has_value());
}

struct TurnCase {
  std::vector<bool> turnsLeft;
  int quarterTurnsClockwise;
};

class TurnedComposition : public testing::TestWithParam<TurnCase> {};

TEST_P(TurnedComposition, ShowsThePictureTurnedFillingTheRenderArea) {
  const auto main = openVariant("h264-aac-mov");
  auto composition = reading::compositionOf(*main, frameRange(0, 90));
  for (bool left : GetParam().turnsLeft) turning::rotate(*composition, left);
  const int quarterTurns = GetParam().quarterTurnsClockwise;
  const Size expectedSize = quarterTurns % 2 ? Size{240, 320} : Size{320, 240};

  const auto source = sourceFor(composition->copy());
  ASSERT_EQ(source->renderSize(), expectedSize);
  for (int k : {0, 1, 26, 50, 89}) {
    const VideoFrame frame = source->frameAt(frames(k));
    ASSERT_EQ(frame.frame->width, expectedSize.width);
    ASSERT_EQ(frame.frame->height, expectedSize.height);
    const auto code = testmedia::readFrameCode(*frame.frame);
    ASSERT_TRUE(code.has_value()) << k;
    EXPECT_EQ(code->index, k);
    EXPECT_EQ(code->quarterTurnsClockwise, quarterTurns);
    EXPECT_FALSE(code->mirrored);
    EXPECT_EQ(pictures::brightExtent(*frame.frame),
              (pictures::Extent{0, 0, static_cast<int>(expectedSize.width),
                                static_cast<int>(expectedSize.height)}));
  }
}

INSTANTIATE_TEST_SUITE_P(Rotations, TurnedComposition,
                         testing::Values(TurnCase{{false}, 1}, TurnCase{{true}, 3},
                                         TurnCase{{false, false}, 2}, TurnCase{{true, true}, 2},
                                         TurnCase{{true, false}, 0},
                                         TurnCase{{false, false, false, false}, 0}));

TEST(CompositionVideoSource, DrawsAMovieStoredTurnedAsItIsDisplayed) {
  const auto rotated = openVariant("rotated-mov");
  const auto source = sourceFor(reading::compositionOf(*rotated, frameRange(0, 60)));
  ASSERT_EQ(source->renderSize(), (Size{240, 320}));
  int k = 0;
  while (const auto frame = source->nextFrame()) {
    const auto code = testmedia::readFrameCode(*frame->frame);
    ASSERT_TRUE(code.has_value()) << k;
    EXPECT_EQ(code->index, k);
    EXPECT_EQ(code->quarterTurnsClockwise, 1);
    if (k % 15 == 0) {
      EXPECT_EQ(pictures::brightExtent(*frame->frame), (pictures::Extent{0, 0, 240, 320}));
    }
    ++k;
  }
  EXPECT_EQ(k, 60);
}

TEST(CompositionVideoSource, SeeksExactlyToRandomTimes) {
  EditedMovie edited = editedMovie();
  const auto source = sourceFor(edited.composition->copy());
  // On a 90 kHz clock; every third time lies on the edge of a 1/30 s or 1/25 s frame.
  const int64_t ticks = floorOf(rationalOf(source->duration()) * Rational(90000));
  std::mt19937_64 random(20240611);
  for (int i = 0; i < 100; ++i) {
    int64_t tick = static_cast<int64_t>(random() % ticks);
    if (i % 3 == 1) tick -= tick % 3000;
    if (i % 3 == 2) tick -= tick % 3600;
    const MediaTime at = MediaTime::make(tick, 90000);
    const VideoFrame frame = source->frameAt(at);
    const MediaTime d = source->frameDuration();
    const int64_t slot = floorOf(rationalOf(at) / rationalOf(d));
    EXPECT_EQ(frame.time, MediaTime::make(d.value * slot, d.timescale)) << at.debugString();
    EXPECT_EQ(shownIn(*frame.frame), edited.expectation.at(edited.model, rationalOf(at)))
        << "at " << at.debugString() << " (request " << i << ")";
  }
}

TEST(CompositionVideoSource, StepsBackAndForthAcrossGopsAndJoins) {
  EditedMovie edited = editedMovie();
  const auto source = sourceFor(edited.composition->copy());
  const MediaTime d = source->frameDuration();
  const int64_t last = floorOf(rationalOf(source->duration()) / rationalOf(d));
  const auto check = [&](int64_t k) {
    const MediaTime t = MediaTime::make(d.value * k, d.timescale);
    const VideoFrame frame = source->frameAt(t);
    EXPECT_EQ(frame.time, t);
    EXPECT_EQ(shownIn(*frame.frame), edited.expectation.at(edited.model, rationalOf(t)))
        << "at frame " << k;
  };
  // From the middle back to the start, on to the end, and back again, one frame at a time.
  for (int64_t k = 70; k >= 0; --k) check(k);
  for (int64_t k = 1; k < last; ++k) check(k);
  for (int64_t k = last - 1; k >= last - 60; --k) check(k);
  // A step back after a long jump, and a step forward after a step back.
  check(20);
  check(19);
  check(20);
  check(21);
  check(5);
  check(4);
}

TEST(CompositionVideoSource, KeepsTheNtscCadenceExact) {
  const auto ntsc = openVariant("ntsc-h264-aac-mov");
  const auto source = sourceFor(reading::compositionOf(*ntsc, frameRange(0, 60, {30000, 1001})));
  ASSERT_EQ(source->frameDuration(), MediaTime::make(1001, 30000));
  for (int k = 0; k < 60; ++k) {
    const auto frame = source->nextFrame();
    ASSERT_TRUE(frame.has_value());
    EXPECT_EQ(frame->time, MediaTime::make(1001 * k, 30000));
    EXPECT_EQ(pictures::frameIndexOf(*frame->frame), k);
  }
  EXPECT_FALSE(source->nextFrame().has_value());

  // The last tick of a frame still shows it; the next tick shows the next frame.
  for (int k : {59, 3, 31, 30, 0}) {
    const VideoFrame before = source->frameAt(MediaTime::make(1001 * (k + 1) - 1, 30000));
    EXPECT_EQ(pictures::frameIndexOf(*before.frame), k);
    EXPECT_EQ(before.time, MediaTime::make(1001 * k, 30000));
    if (k < 59) {
      const VideoFrame after = source->frameAt(MediaTime::make(1001 * (k + 1), 30000));
      EXPECT_EQ(pictures::frameIndexOf(*after.frame), k + 1);
    }
  }
  // Seconds on another clock.
  EXPECT_EQ(pictures::frameIndexOf(*source->frameAt(MediaTime::make(1, 1)).frame), 29);
  EXPECT_EQ(pictures::frameIndexOf(*source->frameAt(MediaTime::make(48048, 48000)).frame), 30);
}

TEST(CompositionVideoSource, SeeksTheSequenceToTheFrameThatContainsATime) {
  const auto main = openVariant("h264-aac-mov");
  const auto source = sourceFor(reading::compositionOf(*main, frameRange(0, 90)));
  source->seek(MediaTime::make(1001, 1000));  // inside frame 30
  for (int k = 30; k < 34; ++k) {
    const auto frame = source->nextFrame();
    ASSERT_TRUE(frame.has_value());
    EXPECT_EQ(frame->time, frames(k));
    EXPECT_EQ(pictures::frameIndexOf(*frame->frame), k);
  }
  source->seek(frames(2));
  EXPECT_EQ(pictures::frameIndexOf(*source->nextFrame()->frame), 2);
  source->seek(MediaTime::make(-5, 1));
  EXPECT_EQ(source->nextFrame()->time, MediaTime::zero());
  source->seek(frames(89));
  EXPECT_EQ(pictures::frameIndexOf(*source->nextFrame()->frame), 89);
  EXPECT_FALSE(source->nextFrame().has_value());
  source->seek(MediaTime::make(3, 1));
  EXPECT_FALSE(source->nextFrame().has_value());
}

TEST(CompositionVideoSource, DrawsInTheChosenFormatAndSize) {
  const auto rotated = openVariant("rotated-mov");
  CompositionVideoSource::Options options;
  options.pixelFormat = AV_PIX_FMT_BGRA;
  options.outputSize = Size{120, 160};
  const auto source = sourceFor(reading::compositionOf(*rotated, frameRange(0, 60)), options);
  EXPECT_EQ(source->renderSize(), (Size{240, 320}));
  EXPECT_EQ(source->outputSize(), (Size{120, 160}));
  const VideoFrame frame = source->frameAt(frames(44));
  EXPECT_EQ(frame.frame->format, AV_PIX_FMT_BGRA);
  EXPECT_EQ(frame.frame->width, 120);
  EXPECT_EQ(frame.frame->height, 160);
  const auto code = testmedia::readFrameCode(*frame.frame);
  ASSERT_TRUE(code.has_value());
  EXPECT_EQ(code->index, 44);
  EXPECT_EQ(code->quarterTurnsClockwise, 1);
}

TEST(CompositionVideoSource, ShowsTheLastFrameAtTheEndAndRefusesTimesOutside) {
  const auto movie = openVariant("video-only-mp4");  // 50 frames at 25 fps
  auto composition = reading::compositionOf(*movie, frameRange(0, 50, {25, 1}));
  composition->removeTimeRange(TimeRange::make(MediaTime::make(199, 100), frames(1, {25, 1})));
  const auto source = sourceFor(composition->copy());
  ASSERT_EQ(source->duration(), MediaTime::make(199, 100));
  // The last cadence frame, 49, lasts 3/100 s.
  const VideoFrame end = source->frameAt(source->duration());
  EXPECT_EQ(end.time, frames(49, {25, 1}));
  EXPECT_EQ(end.duration, MediaTime::make(3, 100));
  EXPECT_EQ(pictures::frameIndexOf(*end.frame), 49);

  for (MediaTime outside : {MediaTime::make(-1, 30), MediaTime::make(1991, 1000),
                            MediaTime::positiveInfinity(), MediaTime::invalid()}) {
    try {
      source->frameAt(outside);
      ADD_FAILURE() << outside.debugString() << " was accepted";
    } catch (const ErrorException& error) {
      EXPECT_EQ(error.error().domain, kMediaErrorDomain);
      EXPECT_EQ(error.error().code, static_cast<int>(VideoCompositionError::TimeOutsideMovie));
      EXPECT_NE(error.error().description.find("1.99 s"), std::string::npos)
          << error.error().description;
    }
  }
}

TEST(CompositionVideoSource, RefusesCompositionsWithoutPictures) {
  const auto sound = openVariant("audio-only-m4a");
  auto soundOnly =
      reading::compositionOf(*sound, TimeRange::make(MediaTime::zero(), sound->duration()));
  auto newMovie = MutableComposition::create();
  newMovie->addMutableTrack(MediaType::Video);
  newMovie->insertEmptyTimeRange(TimeRange::make(MediaTime::zero(), MediaTime::make(10, 1)));
  for (const auto& composition : {soundOnly, newMovie}) {
    try {
      sourceFor(composition->copy());
      ADD_FAILURE() << "a source without pictures was made";
    } catch (const ErrorException& error) {
      EXPECT_EQ(error.error().code, static_cast<int>(VideoCompositionError::NoVideo));
    }
  }
}

TEST(CompositionVideoSource, IsMadeOnOneThreadAndUsedOnAnother) {
  EditedMovie edited = editedMovie();
  auto source = sourceFor(edited.composition->copy());
  std::vector<Shown> shown;
  std::thread worker([&] {
    for (int k = 0; k < 20; ++k) shown.push_back(shownIn(*source->nextFrame()->frame));
    source.reset();
  });
  worker.join();
  ASSERT_EQ(shown.size(), 20u);
  for (int k = 0; k < 20; ++k) {
    EXPECT_EQ(shown[k], edited.expectation.at(edited.model, Rational(k, 30))) << k;
  }
}

}  // namespace
}  // namespace reelcraft
