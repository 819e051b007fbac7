#include "media/decode/track_segment_reader.h"

#include <gtest/gtest.h>

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

struct ReadFrame {
  int code = -1;
  MediaTime time;
  MediaTime duration;
};

// Reads the composition's video and checks that it shows the frames of `runs` ({first, count}
// each) and that they tile the time from `start` to the composition's end.
std::vector<ReadFrame> expectRuns(const Composition& composition,
                                  const std::vector<std::pair<int, int>>& runs,
                                  MediaTime start = MediaTime::zero()) {
  TrackSegmentReader reader(*composition.tracksWithMediaType(MediaType::Video).at(0));
  std::vector<ReadFrame> decoded;
  std::vector<int> expected, codes;
  while (auto frame = reader.next()) {
    const auto code = testmedia::readFrameCode(*frame->frame);
    decoded.push_back({code ? code->index : -1, frame->time, frame->duration});
    codes.push_back(decoded.back().code);
  }
  for (auto [first, count] : runs) {
    for (int i = 0; i < count; ++i) expected.push_back(first + i);
  }
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

TEST(TrackSegmentReaderVideo, EdgesBetweenFrameTimesShowOnlyThePartInsideTheEdit) {
  // From the middle of frame 10 to the middle of frame 15.
  const auto decoded =
      expectRuns(*compositionOf(*openVariant("h264-aac-mov"),
                                TimeRange::make(MediaTime::make(21, 60), frames(5))),
                 {{10, 6}});
  EXPECT_EQ(decoded.front().duration, MediaTime::make(1, 60));
  EXPECT_EQ(decoded.back().duration, MediaTime::make(1, 60));
}

}  // namespace
}  // namespace reelcraft
