#include "media/decode/track_segment_reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <vector>

#include "media/support/composition_reading.h"
#include "media/base/error.h"
#include "media/base/media_error.h"
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

std::vector<int> codesOf(const std::vector<ReadFrame>& frames) {
  std::vector<int> codes;
  for (const ReadFrame& frame : frames) codes.push_back(frame.code);
  return codes;
}

std::vector<int> run(int first, int count) {
  std::vector<int> codes;
  for (int i = 0; i < count; ++i) codes.push_back(first + i);
  return codes;
}

std::vector<int> concat(std::initializer_list<std::vector<int>> parts) {
  std::vector<int> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

const AssetTrack& videoTrack(const Asset& asset) {
  return *asset.tracksWithMediaType(MediaType::Video).at(0);
}

// The frames of a track tile its media time: each starts where the previous one ended.
void expectContiguousFrom(const std::vector<ReadFrame>& frames, MediaTime start) {
  MediaTime expected = start;
  for (size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].time, expected) << "frame " << i << " (code " << frames[i].code << ")";
    expected = add(frames[i].time, frames[i].duration);
  }
}

class WholeMovie : public testing::TestWithParam<std::string> {};

TEST_P(WholeMovie, GivesEveryFrameOnceAtItsOwnTime) {
  const auto asset = openVariant(GetParam());
  const auto composition =
      compositionOf(*asset, TimeRange::make(MediaTime::zero(), asset->duration()));
  TrackSegmentReader reader(videoTrack(*composition));
  const auto decoded = readAll(reader);
  EXPECT_EQ(codesOf(decoded), run(0, 90));
  for (size_t i = 0; i < decoded.size(); ++i) {
    EXPECT_EQ(decoded[i].time, frames(static_cast<int64_t>(i))) << i;
    EXPECT_EQ(decoded[i].duration, frames(1)) << i;
  }
  EXPECT_FALSE(reader.next());
}

INSTANTIATE_TEST_SUITE_P(QuickTimeAndMpeg4, WholeMovie,
                         testing::Values("h264-aac-mov", "h264-aac-mp4"));

TEST(TrackSegmentReaderVideo, CutsInsideGroupsOfPicturesGiveExactlyTheEditedFrames) {
  // 25-frame GOPs with B-frames: every cut below starts and ends away from a keyframe.
  const auto asset = openVariant("h264-aac-mov");
  auto composition = compositionOf(*asset, frameRange(10, 30));
  append(*composition, *asset, frameRange(70, 10));
  append(*composition, *asset, frameRange(3, 2));
  append(*composition, *asset, frameRange(51, 3));
  // Frames just before keyframes, whose keyframe by decode time is the next one.
  append(*composition, *asset, frameRange(24, 3));
  append(*composition, *asset, frameRange(49, 1));
  append(*composition, *asset, frameRange(74, 2));
  TrackSegmentReader reader(videoTrack(*composition));
  const auto decoded = readAll(reader);
  EXPECT_EQ(codesOf(decoded), concat({run(10, 30), run(70, 10), run(3, 2), run(51, 3), run(24, 3),
                                      run(49, 1), run(74, 2)}));
  expectContiguousFrom(decoded, MediaTime::zero());
  EXPECT_EQ(decoded.back().time, frames(50));
}

TEST(TrackSegmentReaderVideo, RemovedRangesAreLeftOut) {
  const auto asset = openVariant("h264-aac-mp4");
  auto composition = compositionOf(*asset, frameRange(0, 90));
  composition->removeTimeRange(frameRange(61, 20));
  composition->removeTimeRange(frameRange(13, 35));
  TrackSegmentReader reader(videoTrack(*composition));
  const auto decoded = readAll(reader);
  EXPECT_EQ(codesOf(decoded), concat({run(0, 13), run(48, 13), run(81, 9)}));
  expectContiguousFrom(decoded, MediaTime::zero());
}

TEST(TrackSegmentReaderVideo, NtscFramesAreCutExactly) {
  const testmedia::Rational ntsc{30000, 1001};
  const auto asset = openVariant("ntsc-h264-aac-mov");
  auto composition = compositionOf(*asset, frameRange(7, 26, ntsc));
  append(*composition, *asset, frameRange(41, 12, ntsc));
  TrackSegmentReader reader(videoTrack(*composition));
  const auto decoded = readAll(reader);
  EXPECT_EQ(codesOf(decoded), concat({run(7, 26), run(41, 12)}));
  for (size_t i = 0; i < decoded.size(); ++i) {
    EXPECT_EQ(decoded[i].time, frames(static_cast<int64_t>(i), ntsc)) << i;
    EXPECT_EQ(decoded[i].duration, frames(1, ntsc)) << i;
  }
}

TEST(TrackSegmentReaderVideo, TwoSourcesPastedTogetherKeepTheirOwnFrameRates) {
  const auto h264 = openVariant("h264-aac-mov");
  const auto mjpeg = openVariant("mjpeg-pcm-mov");  // 24 fps
  auto composition = compositionOf(*h264, frameRange(20, 30));
  append(*composition, *mjpeg, frameRange(5, 12, {24, 1}));
  append(*composition, *h264, frameRange(50, 5));
  TrackSegmentReader reader(videoTrack(*composition));
  const auto decoded = readAll(reader);
  EXPECT_EQ(codesOf(decoded), concat({run(20, 30), run(5, 12), run(50, 5)}));
  expectContiguousFrom(decoded, MediaTime::zero());
  EXPECT_EQ(decoded[30].time, MediaTime::make(1, 1));
  EXPECT_EQ(decoded[30].duration, MediaTime::make(1, 24));
  EXPECT_EQ(decoded[42].time, MediaTime::make(3, 2));
}

TEST(TrackSegmentReaderVideo, EdgesBetweenFrameTimesShowOnlyThePartInsideTheEdit) {
  const auto asset = openVariant("h264-aac-mov");
  // From the middle of frame 10 to the middle of frame 15.
  const auto composition =
      compositionOf(*asset, TimeRange::make(MediaTime::make(21, 60), frames(5)));
  TrackSegmentReader reader(videoTrack(*composition));
  const auto decoded = readAll(reader);
  EXPECT_EQ(codesOf(decoded), run(10, 6));
  expectContiguousFrom(decoded, MediaTime::zero());
  EXPECT_EQ(decoded.front().duration, MediaTime::make(1, 60));
  EXPECT_EQ(decoded.back().duration, MediaTime::make(1, 60));
}

TEST(TrackSegmentReaderVideo, ScaledRangesStretchTheirFramesAndEmptyTimeHasNone) {
  const auto asset = openVariant("h264-aac-mov");
  auto composition = compositionOf(*asset, frameRange(30, 30));
  composition->scaleTimeRange(frameRange(0, 10), frames(20));  // half speed
  composition->scaleTimeRange(frameRange(25, 10), frames(5));  // double speed
  composition->insertEmptyTimeRange(frameRange(0, 6));
  TrackSegmentReader reader(videoTrack(*composition));
  const auto decoded = readAll(reader);
  EXPECT_EQ(codesOf(decoded), run(30, 30));
  expectContiguousFrom(decoded, frames(6));
  EXPECT_EQ(decoded[0].duration, frames(2));
  EXPECT_EQ(decoded[9].time, frames(6 + 18));
  EXPECT_EQ(decoded[10].duration, frames(1));
  EXPECT_EQ(decoded[15].duration, MediaTime::make(1, 60));
  EXPECT_EQ(decoded[25].duration, frames(1));
}

TEST(TrackSegmentReaderVideo, SeeksLandOnTheFrameShownAtThatTime) {
  const testmedia::Rational ntsc{30000, 1001};
  const auto h264 = openVariant("h264-aac-mov");
  const auto other = openVariant("ntsc-h264-aac-mov");
  auto composition = compositionOf(*h264, frameRange(12, 40));
  append(*composition, *other, frameRange(3, 50, ntsc));
  append(*composition, *h264, frameRange(60, 29));
  composition->removeTimeRange(frameRange(30, 7));
  composition->scaleTimeRange(frameRange(50, 10), frames(15));
  TrackSegmentReader reader(videoTrack(*composition));
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
      const ReadFrame read = describe(*frame);
      EXPECT_EQ(read.code, sequence[i].code);
      EXPECT_EQ(read.time, sequence[i].time);
    }
  }
  reader.seek(composition->duration());
  EXPECT_FALSE(reader.next());
  reader.seek(MediaTime::zero());
  EXPECT_EQ(describe(*reader.next()).code, 12);
}

TEST(TrackSegmentReaderAudio, FramesCoverTheEditAndCarryTheirSourceTimes) {
  const auto asset = openVariant("h264-aac-mov");
  const TimeRange range = TimeRange::make(MediaTime::make(1, 2), MediaTime::make(1, 1));
  const auto composition = compositionOf(*asset, range);
  TrackSegmentReader reader(*composition->tracksWithMediaType(MediaType::Audio).at(0));
  std::vector<DecodedFrame> decoded;
  while (auto frame = reader.next()) decoded.push_back(std::move(*frame));
  ASSERT_FALSE(decoded.empty());
  EXPECT_LE(decoded.front().sourceTime, range.start);
  EXPECT_GT(add(decoded.front().sourceTime, decoded.front().sourceDuration), range.start);
  EXPECT_LT(decoded.back().sourceTime, range.end());
  EXPECT_GE(add(decoded.back().sourceTime, decoded.back().sourceDuration), range.end());
  for (size_t i = 1; i < decoded.size(); ++i) {
    EXPECT_EQ(decoded[i].sourceTime, add(decoded[i - 1].sourceTime, decoded[i - 1].sourceDuration));
    EXPECT_EQ(decoded[i].sourceDuration, MediaTime::make(decoded[i].frame->nb_samples, 48000));
  }
  expectContiguousFrom(
      [&] {
        std::vector<ReadFrame> frames;
        for (const auto& frame : decoded) frames.push_back({0, frame.time, frame.duration});
        return frames;
      }(),
      MediaTime::zero());
  EXPECT_EQ(add(decoded.back().time, decoded.back().duration), range.duration);
}

// The asset holds its file open, so removing the name changes nothing; emptying the file in
// place (as another program might) makes it unreadable.
TEST(TrackSegmentReaderFailure, ASourceThatCanNoLongerBeReadIsAMediaError) {
  const std::string path = testmedia::testMediaDirectory() + "/vanishing-source.mov";
  std::filesystem::copy_file(testmedia::testMediaPath("h264-aac-mov"), path,
                             std::filesystem::copy_options::overwrite_existing);
  const auto asset = FileAsset::open(path);
  const auto composition = compositionOf(*asset, frameRange(0, 10));
  std::filesystem::remove(path);
  EXPECT_TRUE(TrackSegmentReader(videoTrack(*composition)).next().has_value())
      << "a removed name does not take the opened file away";

  std::filesystem::copy_file(testmedia::testMediaPath("h264-aac-mov"), path);
  const auto emptied = FileAsset::open(path);
  std::filesystem::resize_file(path, 0);
  TrackSegmentReader reader(videoTrack(*compositionOf(*emptied, frameRange(0, 10))));
  try {
    reader.next();
    FAIL() << "reading an emptied file succeeded";
  } catch (const ErrorException& error) {
    EXPECT_EQ(error.error().domain, kMediaErrorDomain);
    EXPECT_FALSE(error.error().description.empty());
  }
}

}  // namespace
}  // namespace reelcraft
