#include "media/decode/track_segment_reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "media/base/media_error.h"
#include "media/support/composition_reading.h"
#include "mediagen/frame_code.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

using reading::append;
using reading::compositionOf;
using reading::frameRange;
using reading::frames;
using reading::openVariant;

const testmedia::Rational kNtsc{30000, 1001};

struct ReadFrame {
  int code = -1;
  MediaTime time;
  MediaTime duration;
};

ReadFrame describe(const DecodedFrame& frame) {
  const auto code = testmedia::readFrameCode(*frame.frame);
  return {code ? code->index : -1, frame.time, frame.duration};
}

std::vector<ReadFrame> readAll(TrackSegmentReader& reader) {
  std::vector<ReadFrame> result;
  while (auto frame = reader.next()) result.push_back(describe(*frame));
  return result;
}

TrackSegmentReader videoReader(const Composition& composition) {
  return TrackSegmentReader(*composition.tracksWithMediaType(MediaType::Video).at(0));
}

// Reads the composition's video and checks that it shows the frames of `runs` ({first, count}
// each) and that they tile the time from `start` to the composition's end.
std::vector<ReadFrame> expectRuns(const Composition& composition,
                                  const std::vector<std::pair<int, int>>& runs,
                                  MediaTime start = MediaTime::zero()) {
  TrackSegmentReader reader = videoReader(composition);
  const std::vector<ReadFrame> decoded = readAll(reader);
  std::vector<int> expected, codes;
  for (auto [first, count] : runs) {
    for (int i = 0; i < count; ++i) expected.push_back(first + i);
  }
  for (const ReadFrame& frame : decoded) codes.push_back(frame.code);
  EXPECT_EQ(codes, expected);
  MediaTime end = start;
  for (size_t i = 0; i < decoded.size(); ++i) {
    EXPECT_EQ(decoded[i].time, end) << "frame " << i << " (code " << decoded[i].code << ")";
    end = add(decoded[i].time, decoded[i].duration);
  }
  EXPECT_EQ(end, composition.duration());
  EXPECT_FALSE(reader.next());
  return decoded;
}

class WholeMovie : public testing::TestWithParam<std::string> {};

TEST_P(WholeMovie, GivesEveryFrameOnceAtItsOwnTime) {
  const auto asset = openVariant(GetParam());
  for (const ReadFrame& frame : expectRuns(*reading::wholeOf(*asset), {{0, 90}})) {
    EXPECT_EQ(frame.duration, frames(1)) << frame.code;
  }
}

INSTANTIATE_TEST_SUITE_P(QuickTimeAndMpeg4, WholeMovie,
                         testing::Values("h264-aac-mov", "h264-aac-mp4"));

TEST(TrackSegmentReaderVideo, CutsInsideGroupsOfPicturesGiveExactlyTheEditedFrames) {
  // 25-frame GOPs with B-frames: every cut below starts and ends away from a keyframe, and
  // 24, 49 and 74 are frames just before keyframes, whose keyframe by decode time is the next.
  const auto asset = openVariant("h264-aac-mov");
  const std::vector<std::pair<int, int>> runs{{10, 30}, {70, 10}, {3, 2}, {51, 3},
                                              {24, 3},  {49, 1},  {74, 2}};
  auto composition = MutableComposition::create();
  for (auto [first, count] : runs) append(*composition, *asset, frameRange(first, count));
  expectRuns(*composition, runs);

  composition = reading::wholeOf(*openVariant("h264-aac-mp4"));
  composition->removeTimeRange(frameRange(61, 20));
  composition->removeTimeRange(frameRange(13, 35));
  expectRuns(*composition, {{0, 13}, {48, 13}, {81, 9}});
}

TEST(TrackSegmentReaderVideo, SourcesOfOtherRatesKeepTheirOwnFrameTimes) {
  const auto h264 = openVariant("h264-aac-mov");
  auto composition = compositionOf(*h264, frameRange(20, 30));
  append(*composition, *openVariant("mjpeg-pcm-mov"), frameRange(5, 12, {24, 1}));
  append(*composition, *h264, frameRange(50, 5));
  const auto decoded = expectRuns(*composition, {{20, 30}, {5, 12}, {50, 5}});
  EXPECT_EQ(decoded[30].time, MediaTime::make(1, 1));
  EXPECT_EQ(decoded[30].duration, MediaTime::make(1, 24));
  EXPECT_EQ(decoded[42].time, MediaTime::make(3, 2));

  const auto ntsc = openVariant("ntsc-h264-aac-mov");
  composition = compositionOf(*ntsc, frameRange(7, 26, kNtsc));
  append(*composition, *ntsc, frameRange(41, 12, kNtsc));
  for (const ReadFrame& frame : expectRuns(*composition, {{7, 26}, {41, 12}})) {
    EXPECT_EQ(frame.duration, frames(1, kNtsc)) << frame.code;
  }
}

TEST(TrackSegmentReaderVideo, EdgesBetweenFrameTimesShowOnlyThePartInsideTheEdit) {
  // From the middle of frame 10 to the middle of frame 15.
  const auto decoded =
      expectRuns(*compositionOf(*openVariant("h264-aac-mov"),
                                TimeRange::make(MediaTime::make(21, 60), frames(5))),
                 {{10, 6}});
  EXPECT_EQ(decoded.front().duration, MediaTime::make(1, 60));
  EXPECT_EQ(decoded.back().duration, MediaTime::make(1, 60));
}

TEST(TrackSegmentReaderVideo, ScaledRangesStretchTheirFramesAndEmptyTimeHasNone) {
  auto composition = compositionOf(*openVariant("h264-aac-mov"), frameRange(30, 30));
  composition->scaleTimeRange(frameRange(0, 10), frames(20));  // half speed
  composition->scaleTimeRange(frameRange(25, 10), frames(5));  // double speed
  composition->insertEmptyTimeRange(frameRange(0, 6));
  const auto decoded = expectRuns(*composition, {{30, 30}}, frames(6));
  EXPECT_EQ(decoded[0].duration, frames(2));
  EXPECT_EQ(decoded[10].duration, frames(1));
  EXPECT_EQ(decoded[15].duration, MediaTime::make(1, 60));
  EXPECT_EQ(decoded[25].duration, frames(1));
}

TEST(TrackSegmentReaderVideo, SeeksLandOnTheFrameShownAtThatTime) {
  const auto h264 = openVariant("h264-aac-mov");
  auto composition = compositionOf(*h264, frameRange(12, 40));
  append(*composition, *openVariant("ntsc-h264-aac-mov"), frameRange(3, 50, kNtsc));
  append(*composition, *h264, frameRange(60, 29));
  composition->removeTimeRange(frameRange(30, 7));
  composition->scaleTimeRange(frameRange(50, 10), frames(15));
  TrackSegmentReader reader = videoReader(*composition);
  const auto sequence = readAll(reader);
  ASSERT_FALSE(sequence.empty());

  std::mt19937 random(7);
  const double duration = composition->duration().seconds();
  for (int attempt = 0; attempt < 30; ++attempt) {
    const MediaTime t =
        MediaTime::fromSeconds(std::uniform_real_distribution<double>(0, duration)(random), 90000);
    size_t expected = 0;
    while (expected + 1 < sequence.size() && compare(sequence[expected + 1].time, t) <= 0) {
      ++expected;
    }
    SCOPED_TRACE("seek to " + t.debugString());
    reader.seek(t);
    for (size_t i = expected; i < std::min(expected + 3, sequence.size()); ++i) {
      const auto frame = reader.next();
      ASSERT_TRUE(frame);
      EXPECT_EQ(describe(*frame).code, sequence[i].code);
      EXPECT_EQ(describe(*frame).time, sequence[i].time);
    }
  }
  reader.seek(composition->duration());
  EXPECT_FALSE(reader.next());
  reader.seek(MediaTime::zero());
  EXPECT_EQ(describe(*reader.next()).code, 12);
}

TEST(TrackSegmentReaderAudio, FramesCoverTheEditAndCarryTheirSourceTimes) {
  const TimeRange range = TimeRange::make(MediaTime::make(1, 2), MediaTime::make(1, 1));
  const auto composition = compositionOf(*openVariant("h264-aac-mov"), range);
  TrackSegmentReader reader(*composition->tracksWithMediaType(MediaType::Audio).at(0));
  std::vector<DecodedFrame> decoded;
  while (auto frame = reader.next()) decoded.push_back(std::move(*frame));
  ASSERT_FALSE(decoded.empty());
  EXPECT_LE(decoded.front().sourceTime, range.start);
  EXPECT_GT(add(decoded.front().sourceTime, decoded.front().sourceDuration), range.start);
  EXPECT_LT(decoded.back().sourceTime, range.end());
  EXPECT_GE(add(decoded.back().sourceTime, decoded.back().sourceDuration), range.end());
  MediaTime end = MediaTime::zero();
  for (size_t i = 0; i < decoded.size(); ++i) {
    EXPECT_EQ(decoded[i].time, end) << i;
    end = add(decoded[i].time, decoded[i].duration);
    EXPECT_EQ(decoded[i].sourceDuration, MediaTime::make(decoded[i].frame->nb_samples, 48000));
    if (i > 0) {
      EXPECT_EQ(decoded[i].sourceTime,
                add(decoded[i - 1].sourceTime, decoded[i - 1].sourceDuration));
    }
  }
  EXPECT_EQ(end, range.duration);
}

// The asset holds its file open, so removing the name changes nothing; emptying the file in
// place (as another program might) makes it unreadable.
TEST(TrackSegmentReaderFailure, ASourceThatCanNoLongerBeReadIsAMediaError) {
  const std::string path = reading::disposableCopy("h264-aac-mov", "vanishing-source.mov");
  const auto composition = compositionOf(*FileAsset::open(path), frameRange(0, 10));
  std::filesystem::remove(path);
  EXPECT_TRUE(videoReader(*composition).next().has_value())
      << "a removed name does not take the opened file away";

  reading::disposableCopy("h264-aac-mov", "vanishing-source.mov");
  const auto emptied = compositionOf(*FileAsset::open(path), frameRange(0, 10));
  std::filesystem::resize_file(path, 0);
  const Error error = reading::errorOf([&] { videoReader(*emptied).next(); });
  EXPECT_EQ(error.domain, kMediaErrorDomain);
  EXPECT_FALSE(error.description.empty());
}

}  // namespace
}  // namespace reelcraft
