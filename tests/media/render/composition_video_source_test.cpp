#include "media/render/composition_video_source.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "media/base/media_error.h"
#include "media/support/composition_reading.h"
#include "media/support/picture_checks.h"
#include "media/support/reference_timeline.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

using reading::frameRange;
using reading::frames;
using reading::openVariant;
using reference::Rational;
using reference::Timeline;

// A second source that tells itself apart by its size and rate: 160×120 (or the size given) at
// 25 fps, 2 s, with short GOPs and B-frames.
std::shared_ptr<const FileAsset> smallMovie(int width = 160, int height = 120) {
  testmedia::MovieRecipe recipe;
  recipe.videoTracks = {testmedia::VideoTrackRecipe{}};
  recipe.videoTracks[0].width = width;
  recipe.videoTracks[0].height = height;
  recipe.videoTracks[0].frameRate = {25, 1};
  recipe.videoTracks[0].frameCount = 50;
  recipe.videoTracks[0].gopSize = 12;
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  return FileAsset::open(reading::writtenMovie("small-" + size + "-25fps.mov", recipe));
}

// What a frame shows: the frame code and the width of the picture it sits in, or black.
struct Shown {
  int index = -1;
  int width = 0;
  friend bool operator==(const Shown&, const Shown&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Shown& shown) {
    return out << "frame " << shown.index << " of a " << shown.width << " px wide picture";
  }
};

Shown shownIn(const AVFrame& frame) {
  return Shown{pictures::frameIndexOf(frame), pictures::brightExtent(frame).width};
}

int64_t floorOf(const Rational& r) {
  auto k = static_cast<int64_t>(std::floor(r.value()));
  while (!(r < Rational(k + 1))) ++k;
  while (r < Rational(k)) --k;
  return k;
}

// What the model says is shown at t: the topmost video track with media decides, and frame n
// of a source covers [n, n + 1) frame durations; a track's own pictures are drawn at the origin
// unscaled, those of a source of another size fitted into the 320×240 frame of every
// composition here.
Shown expectedAt(const reference::Edited& edited, const Rational& t) {
  const Size frame{320, 240};
  for (const Timeline::Track& track : edited.model.tracks) {
    const reference::Sample sample = track.at(t);
    if (track.mediaType != MediaType::Video || !sample.source) continue;
    const Size own = sample.source->naturalSize;
    const bool fitted = edited.composition->trackWithID(track.trackID)->naturalSize != own;
    const double scale = std::min(frame.width / own.width, frame.height / own.height);
    return Shown{
        static_cast<int>(floorOf(sample.time / Rational::of(sample.source->minFrameDuration))),
        static_cast<int>(std::lround(fitted ? own.width * scale : own.width))};
  }
  return Shown{};
}

std::unique_ptr<CompositionVideoSource> sourceFor(std::shared_ptr<const Asset> composition,
                                                  CompositionVideoSource::Options options = {}) {
  const VideoComposition video = VideoComposition::withPropertiesOfAsset(*composition);
  return CompositionVideoSource::create(std::move(composition), video, options);
}

// Reads every frame in order and compares each with the model at the frame's time.
void expectSequenceShowsModel(const reference::Edited& edited) {
  const auto source = sourceFor(edited.composition->copy());
  const MediaTime d = source->frameDuration();
  int64_t k = 0;
  while (std::optional<VideoFrame> frame = source->nextFrame()) {
    const MediaTime t = MediaTime::make(d.value * k++, d.timescale);
    ASSERT_EQ(frame->time, t);
    EXPECT_EQ(frame->duration, minimum(d, subtract(source->duration(), t))) << t.debugString();
    EXPECT_EQ(frame->frame->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(shownIn(*frame->frame), expectedAt(edited, Rational::of(t))) << t.debugString();
  }
  const Rational slots = Rational::of(source->duration()) / Rational::of(d);
  EXPECT_EQ(k, floorOf(slots) + (Rational(floorOf(slots)) == slots ? 0 : 1));
}

// Two movies edited at frames inside B-frame GOPs, with a gap and a slowed range. The cadence is
// the main movie's 1/30 s; the pasted movie runs at 25 fps.
reference::Edited editedMovie() {
  reference::Edited edited;
  edited.insert(*openVariant("h264-aac-mov"), frameRange(0, 90), MediaTime::zero());
  // Frames 37 to 47 go (inside the GOP that starts at 25).
  edited.remove(frameRange(37, 11));
  // 20 frames of the small movie from its frame 5 go in after frame 13, in the first GOP.
  edited.insert(*smallMovie(), frameRange(5, 20, {25, 1}), frames(13));
  edited.insertEmpty(frameRange(60, 10));
  edited.scale(frameRange(80, 12), frames(18));  // two thirds of the speed
  // Trim to the part from frame 3 to four frames before the end: the tail goes first.
  const MediaTime end = subtract(edited.composition->duration(), frames(4));
  edited.remove(TimeRange::fromStartEnd(end, edited.composition->duration()));
  edited.remove(frameRange(0, 3));
  return edited;
}

TEST(CompositionVideoSource, ReadsAnEditedCompositionAsTheModelShowsIt) {
  expectSequenceShowsModel(editedMovie());
}

TEST(CompositionVideoSource, ShowsEachFrameOfScaledRangesForItsStretchedInterval) {
  reference::Edited edited;
  edited.insert(*openVariant("h264-aac-mov"), frameRange(0, 90), MediaTime::zero());
  // Frames 10 to 19 play at half speed, then (in the new timeline) 20 frames from frame 50
  // at double speed, and 9 frames from 75 at a third of their length.
  edited.scale(frameRange(10, 10), frames(20));
  edited.scale(frameRange(50, 20), frames(10));
  edited.scale(frameRange(75, 9), frames(3));
  expectSequenceShowsModel(edited);
}

TEST(CompositionVideoSource, GivesTheTopmostTrackWithMediaAndBlackWhereThereIsNone) {
  // 320×240 for the first second on top of 160×120 for two seconds.
  testmedia::MovieRecipe recipe;
  recipe.videoTracks = {testmedia::VideoTrackRecipe{}, testmedia::VideoTrackRecipe{}};
  recipe.videoTracks[0].frameCount = 30;
  recipe.videoTracks[1].width = 160;
  recipe.videoTracks[1].height = 120;
  recipe.videoTracks[1].frameCount = 60;
  reference::Edited edited;
  edited.insert(*FileAsset::open(reading::writtenMovie("layered-video.mov", recipe)),
                frameRange(0, 60), MediaTime::zero());
  edited.insertEmpty(frameRange(60, 15));
  EXPECT_EQ(sourceFor(edited.composition->copy())->renderSize(), (Size{320, 240}));
  expectSequenceShowsModel(edited);
}

TEST(CompositionVideoSource, FitsAPictureOfAnotherAspectRatioIntoTheFrameCentred) {
  auto composition = reading::wholeOf(*openVariant("h264-aac-mov"));
  composition->insertTimeRange(frameRange(0, 25, {25, 1}), *smallMovie(192, 108), frames(10));
  const auto source = sourceFor(composition->copy());
  const VideoFrame inserted = source->frameAt(frames(15));  // 1/6 s into the 25 fps movie
  EXPECT_EQ(pictures::frameIndexOf(*inserted.frame), 4);
  // 16:9 in 4:3: full width, 180 rows high, 30 black rows above and below.
  EXPECT_EQ(pictures::brightExtent(*inserted.frame), (pictures::Extent{0, 30, 320, 180}));
  const VideoFrame own = source->frameAt(frames(45));
  EXPECT_EQ(pictures::frameIndexOf(*own.frame), 15);
  EXPECT_EQ(pictures::brightExtent(*own.frame), (pictures::Extent{0, 0, 320, 240}));
}

struct TurnCase {
  std::string name;
  std::string variant;
  std::vector<bool> turnsLeft;
  int quarterTurnsClockwise;
  CompositionVideoSource::Options options = {};
  friend void PrintTo(const TurnCase& c, std::ostream* out) { *out << c.name; }
};

class CompositionVideoSourceTurned : public testing::TestWithParam<TurnCase> {};

TEST_P(CompositionVideoSourceTurned, ShowsThePictureTurnedFillingTheOutput) {
  const TurnCase& turn = GetParam();
  auto composition = reading::wholeOf(*openVariant(turn.variant));
  for (bool left : turn.turnsLeft) reading::rotate(*composition, left);
  const auto source = sourceFor(composition->copy(), turn.options);
  const Size turned = turn.quarterTurnsClockwise % 2 ? Size{240, 320} : Size{320, 240};
  ASSERT_EQ(source->renderSize(), turned);
  const Size output = turn.options.outputSize.isEmpty() ? turned : turn.options.outputSize;
  ASSERT_EQ(source->outputSize(), output);
  for (int k : {0, 1, 26, 44, 59}) {
    const VideoFrame frame = source->frameAt(frames(k));
    EXPECT_EQ(frame.frame->format, turn.options.pixelFormat);
    EXPECT_EQ(pictures::brightExtent(*frame.frame),
              (pictures::Extent{0, 0, int(output.width), int(output.height)}));
    const auto code = testmedia::readFrameCode(*frame.frame);
    ASSERT_TRUE(code.has_value()) << k;
    EXPECT_EQ(code->index, k);
    EXPECT_EQ(code->quarterTurnsClockwise, turn.quarterTurnsClockwise);
    EXPECT_FALSE(code->mirrored);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rotations, CompositionVideoSourceTurned,
    testing::Values(TurnCase{"Right", "h264-aac-mov", {false}, 1},
                    TurnCase{"Left", "h264-aac-mov", {true}, 3},
                    TurnCase{"LeftTwice", "h264-aac-mov", {true, true}, 2},
                    TurnCase{"RightFourTimes", "h264-aac-mov", {false, false, false, false}, 0},
                    TurnCase{"StoredTurned", "rotated-mov", {}, 1},
                    TurnCase{"StoredTurnedInBgraAtHalfSize",
                             "rotated-mov",
                             {},
                             1,
                             {AV_PIX_FMT_BGRA, Size{120, 160}}}),
    [](const auto& info) { return info.param.name; });

TEST(CompositionVideoSource, SeeksExactlyToRandomTimes) {
  const reference::Edited edited = editedMovie();
  const auto source = sourceFor(edited.composition->copy());
  const MediaTime d = source->frameDuration();
  // On a 90 kHz clock; every third time lies on the edge of a 1/30 s or 1/25 s frame.
  const int64_t ticks = floorOf(Rational::of(source->duration()) * Rational(90000));
  std::mt19937_64 random(20240611);
  for (int i = 0; i < 100; ++i) {
    int64_t tick = static_cast<int64_t>(random() % ticks);
    if (i % 3 == 1) tick -= tick % 3000;
    if (i % 3 == 2) tick -= tick % 3600;
    const MediaTime at = MediaTime::make(tick, 90000);
    SCOPED_TRACE("at " + at.debugString());
    const VideoFrame frame = source->frameAt(at);
    const int64_t slot = floorOf(Rational::of(at) / Rational::of(d));
    EXPECT_EQ(frame.time, MediaTime::make(d.value * slot, d.timescale));
    EXPECT_EQ(shownIn(*frame.frame), expectedAt(edited, Rational::of(at)));
  }
}

TEST(CompositionVideoSource, StepsBackAndForthAcrossGopsAndJoins) {
  const reference::Edited edited = editedMovie();
  const auto source = sourceFor(edited.composition->copy());
  const MediaTime d = source->frameDuration();
  const int64_t last = floorOf(Rational::of(source->duration()) / Rational::of(d));
  const auto check = [&](int64_t k) {
    const MediaTime t = MediaTime::make(d.value * k, d.timescale);
    const VideoFrame frame = source->frameAt(t);
    EXPECT_EQ(frame.time, t);
    EXPECT_EQ(shownIn(*frame.frame), expectedAt(edited, Rational::of(t))) << "frame " << k;
  };
  // From the middle back to the start, on to the end, and back again, one frame at a time.
  for (int64_t k = 70; k >= 0; --k) check(k);
  for (int64_t k = 1; k < last; ++k) check(k);
  for (int64_t k = last - 1; k >= last - 60; --k) check(k);
  // A step back after a long jump, and a step forward after a step back.
  for (int64_t k : {20, 19, 20, 21, 5, 4}) check(k);
}

TEST(CompositionVideoSource, KeepsTheNtscCadenceExact) {
  reference::Edited edited;
  edited.insert(*openVariant("ntsc-h264-aac-mov"), frameRange(0, 60, {30000, 1001}),
                MediaTime::zero());
  expectSequenceShowsModel(edited);
  const auto source = sourceFor(edited.composition->copy());
  ASSERT_EQ(source->frameDuration(), MediaTime::make(1001, 30000));

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

TEST(CompositionVideoSource, ShowsTheLastFrameAtTheEndAndRefusesTimesOutside) {
  // 50 frames at 25 fps, with the last 1/100 s cut off.
  auto composition = reading::wholeOf(*openVariant("video-only-mp4"));
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
    SCOPED_TRACE(outside.debugString());
    const Error error = reading::errorOf([&] { source->frameAt(outside); });
    EXPECT_EQ(error.domain, kMediaErrorDomain);
    EXPECT_EQ(error.code, static_cast<int>(VideoCompositionError::TimeOutsideMovie));
    EXPECT_NE(error.description.find("1.99 s"), std::string::npos) << error.description;
  }
}

TEST(CompositionVideoSource, RefusesCompositionsWithoutPictures) {
  auto newMovie = MutableComposition::create();
  newMovie->addMutableTrack(MediaType::Video);
  newMovie->insertEmptyTimeRange(TimeRange::make(MediaTime::zero(), MediaTime::make(10, 1)));
  for (const auto& composition : {reading::wholeOf(*openVariant("audio-only-m4a")), newMovie}) {
    EXPECT_EQ(reading::errorOf([&] { sourceFor(composition->copy()); }).code,
              static_cast<int>(VideoCompositionError::NoVideo));
  }
}

TEST(CompositionVideoSource, IsMadeOnOneThreadAndUsedOnAnother) {
  const reference::Edited edited = editedMovie();
  auto source = sourceFor(edited.composition->copy());
  std::vector<Shown> shown;
  std::thread worker([&] {
    for (int k = 0; k < 20; ++k) shown.push_back(shownIn(*source->nextFrame()->frame));
    source.reset();
  });
  worker.join();
  ASSERT_EQ(shown.size(), 20u);
  for (int k = 0; k < 20; ++k) EXPECT_EQ(shown[k], expectedAt(edited, Rational(k, 30))) << k;
}

}  // namespace
}  // namespace reelcraft
