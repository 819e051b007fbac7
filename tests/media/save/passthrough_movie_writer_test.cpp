#include "media/save/passthrough_movie_writer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <numeric>
#include <set>

#include "media/base/media_error.h"
#include "media/reader/asset_reader.h"
#include "media/support/composition_reading.h"
#include "media/support/frame_runs.h"
#include "media/support/picture_checks.h"
#include "media/support/sound_checks.h"
#include "media/support/stored_packets.h"
#include "mediagen/media_reader.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

using reading::frameRange;
using reading::frames;
using reading::openVariant;
using reading::wholeOf;
using sound::expectSourceSeconds;
using Removals = std::vector<std::pair<int, int>>;

std::string outputPath(const std::string& name) {
  return testmedia::testMediaDirectory() + "/saved-" + name;
}

std::string saved(const Composition& composition, const std::string& name) {
  writePassthroughMovie(composition, outputPath(name));
  return outputPath(name);
}

// 0..count-1 with the ranges {first, length} removed one after the other.
std::vector<int> indicesWithout(int count, const Removals& removals) {
  std::vector<int> indices(count);
  std::iota(indices.begin(), indices.end(), 0);
  for (auto [first, length] : removals) {
    indices.erase(indices.begin() + first, indices.begin() + first + length);
  }
  return indices;
}

// The frame codes our own reader draws from the saved file, one per `frameDuration`. (The
// average frame rate that FFmpeg reports for an edited file counts the samples decoded and
// dropped at each cut, so it is not the cadence.)
std::vector<int> indicesReadBack(const std::string& path,
                                 MediaTime frameDuration = MediaTime::make(1, 30)) {
  auto asset = FileAsset::open(path);
  auto output = std::make_shared<AssetReaderVideoCompositionOutput>(
      reading::tracksOf(*asset, MediaType::Video));
  VideoComposition videoComposition = VideoComposition::withPropertiesOfAsset(*asset);
  videoComposition.frameDuration = frameDuration;
  output->setVideoComposition(videoComposition);
  auto reader = AssetReader::create(asset);
  reader->addOutput(output);
  EXPECT_TRUE(reader->startReading());
  std::vector<int> indices;
  while (auto sample = output->copyNextSampleBuffer()) {
    indices.push_back(pictures::frameIndexOf(*sample->videoFrame));
  }
  return indices;
}

// Checks that plain FFmpeg decoding shows exactly `expected`, frame i at i frames of `rate`,
// and that our reader shows the same.
void expectFrames(const std::string& path, const std::vector<int>& expected,
                  testmedia::Rational rate = {30, 1}) {
  const auto decoded = testmedia::readVideoFrames(path);
  std::vector<int> indices;
  for (const auto& frame : decoded) indices.push_back(frame.frameIndex());
  EXPECT_EQ(indices, expected) << "decoded with FFmpeg";
  for (size_t i = 0; i < decoded.size(); ++i) {
    EXPECT_NEAR(decoded[i].seconds, i * double(rate.den) / rate.num, 1e-3) << "frame " << i;
  }
  EXPECT_EQ(indicesReadBack(path, MediaTime::make(rate.den, rate.num)), expected)
      << "read back with our reader";
}

// Saves `variant` with the frame ranges {first, length} removed one after the other, and
// checks that the saved movie shows exactly the frames left.
std::string savedWithCuts(const std::string& variant, const Removals& removals,
                          const std::string& name, testmedia::Rational rate = {30, 1}) {
  auto composition = wholeOf(*openVariant(variant));
  for (auto [first, length] : removals) {
    composition->removeTimeRange(frameRange(first, length, rate));
  }
  const std::string path = saved(*composition, name + ".mov");
  const auto count = testmedia::readFrameIndices(testmedia::testMediaPath(variant)).size();
  expectFrames(path, indicesWithout(static_cast<int>(count), removals), rate);
  return path;
}

struct CutCase {
  std::string name;
  std::string variant;
  Removals removals;
  testmedia::Rational rate = {30, 1};
  friend void PrintTo(const CutCase& c, std::ostream* out) { *out << c.name; }
};

class PassthroughMovieWriterCuts : public testing::TestWithParam<CutCase> {};

// The test movies have keyframes every 25 frames and B-frames.
TEST_P(PassthroughMovieWriterCuts, AreFrameExact) {
  savedWithCuts(GetParam().variant, GetParam().removals, "cut-" + GetParam().name, GetParam().rate);
}

INSTANTIATE_TEST_SUITE_P(
    Cuts, PassthroughMovieWriterCuts,
    testing::Values(CutCase{"InsideAGroupOfPictures", "h264-aac-mov", {{7, 31}}},
                    // A start on a P-frame whose B-frames follow it in decode order, and one past
                    // the first keyframe.
                    CutCase{"AfterAPFrame", "h264-aac-mov", {{1, 2}, {28, 17}}},
                    CutCase{"TrimmedToFrames26To70", "h264-aac-mov", {{71, 19}, {0, 26}}},
                    CutCase{"Ntsc", "ntsc-h264-aac-mov", {{11, 13}}, {30000, 1001}},
                    // A segment that starts in the last frames of a group of pictures, where the
                    // next keyframe is read before its first frames are written, then one that
                    // shares the next group's.
                    CutCase{"StartingAtFrame21", "h264-aac-mov", {{29, 2}, {19, 2}}},
                    CutCase{"StartingAtFrame22", "h264-aac-mov", {{30, 2}, {20, 2}}},
                    CutCase{"StartingAtFrame23", "h264-aac-mov", {{31, 2}, {21, 2}}},
                    CutCase{"StartingAtFrame24", "h264-aac-mov", {{32, 2}, {22, 2}}}),
    [](const auto& info) { return info.param.name; });

// The segments left by cuts inside one group of pictures all need its first frames to decode:
// the file holds those bytes once, and later segments' samples point at them.
TEST(PassthroughMovieWriter, SegmentsInOneGroupOfPicturesShareTheirBytes) {
  const std::string path =
      savedWithCuts("h264-aac-mov", {{16, 3}, {10, 2}, {4, 2}}, "shared-pre-roll");
  const auto bytesOf = [](const std::string& file, std::set<std::pair<int64_t, int>>& distinct) {
    size_t count = 0;
    stored::forEachPacket(file, AVMEDIA_TYPE_VIDEO, [&](const AVPacket& packet) {
      distinct.emplace(packet.pos, packet.size);
      ++count;
    });
    int64_t bytes = 0;
    for (const auto& [offset, size] : distinct) bytes += size;
    return std::make_pair(count, bytes);
  };
  std::set<std::pair<int64_t, int>> savedSamples, sourceSamples;
  const auto [count, storedBytes] = bytesOf(path, savedSamples);
  EXPECT_GT(count, savedSamples.size()) << "no sample shares another's bytes";
  EXPECT_LE(storedBytes, bytesOf(testmedia::testMediaPath("h264-aac-mov"), sourceSamples).second)
      << "a source sample is stored twice";
}

TEST(PassthroughMovieWriter, CopiesVideoSamplesByteForByte) {
  const auto packets = [](const std::string& path) {
    std::vector<std::string> all;
    stored::forEachPacket(path, AVMEDIA_TYPE_VIDEO, [&](const AVPacket& packet) {
      all.emplace_back(reinterpret_cast<const char*>(packet.data), packet.size);
    });
    return all;
  };
  for (const std::string variant : {"h264-aac-mov", "mjpeg-pcm-mov"}) {
    const auto source = packets(testmedia::testMediaPath(variant));
    const std::set<std::string> known(source.begin(), source.end());
    const testmedia::Rational rate =
        variant == "h264-aac-mov" ? testmedia::Rational{30, 1} : testmedia::Rational{24, 1};
    const auto copied = packets(savedWithCuts(variant, {{9, 20}}, variant + "-bytes", rate));
    ASSERT_FALSE(copied.empty());
    for (size_t i = 0; i < copied.size(); ++i) {
      EXPECT_TRUE(known.count(copied[i])) << variant << ": packet " << i << " is not a source's";
    }
  }
}

TEST(PassthroughMovieWriter, HoldsTheLastFrameOverEmptyTime) {
  auto composition = wholeOf(*openVariant("h264-aac-mov"));
  composition->insertEmptyTimeRange(frameRange(30, 15));
  const std::string path = saved(*composition, "gap.mov");
  const auto decoded = testmedia::readVideoFrames(path);
  ASSERT_EQ(decoded.size(), 90u);
  EXPECT_EQ(decoded[30].frameIndex(), 30);
  EXPECT_NEAR(decoded[30].seconds, 45.0 / 30, 1e-3) << "media after the gap keeps its place";
  const auto readBack = indicesReadBack(path);
  ASSERT_EQ(readBack.size(), 105u);
  for (int i = 30; i < 45; ++i) EXPECT_EQ(readBack[i], 29) << "held over the gap, slot " << i;
  EXPECT_EQ(readBack[45], 30);
  // Silence fills the gap, so the sound after it keeps its place too.
  const auto audio = testmedia::readAudio(path);
  const auto gap = audio.channels[0].begin() + static_cast<long>(1.1 * audio.sampleRate);
  for (auto sample = gap; sample != gap + 4096; ++sample) ASSERT_LT(std::abs(*sample), 1e-3);
  expectSourceSeconds(audio, {{1.7, 1.2}}, 513.0 / 48000);
}

TEST(PassthroughMovieWriter, DelayedVideoKeepsItsStart) {
  const auto original = testmedia::readVideoFrames(testmedia::testMediaPath("delayed-video-mov"));
  const auto copied =
      testmedia::readVideoFrames(saved(*wholeOf(*openVariant("delayed-video-mov")), "delayed.mov"));
  ASSERT_EQ(copied.size(), original.size());
  EXPECT_NEAR(copied.front().seconds, original.front().seconds, 1e-3);
  EXPECT_EQ(copied.front().frameIndex(), original.front().frameIndex());
}

TEST(PassthroughMovieWriter, CompressedAudioDoesNotDriftOverManyCuts) {
  // Ten cuts of 5 frames (not whole packets) in an MPEG-4 source: the timeline shows source
  // frames [7k, 7k + 2) at [2k, 2k + 2) for k < 10, then source frames 70...89 from frame 20 on.
  Removals removals;
  for (int cut = 1; cut <= 10; ++cut) removals.push_back({2 * cut, 5});
  const auto audio = testmedia::readAudio(savedWithCuts("h264-aac-mp4", removals, "audio-cuts"));
  ASSERT_EQ(audio.sampleRate, 48000);
  expectSourceSeconds(audio, {{20 / 30.0 + 0.3, 70 / 30.0 + 0.3}}, 513.0 / 48000);
}

TEST(PassthroughMovieWriter, CompressedAudioJointsAreWithinHalfAPacket) {
  // Pieces of source frames [0, 18), [27, 45) and [59, 90) at timeline frames 0, 18 and 36.
  const auto audio =
      testmedia::readAudio(savedWithCuts("h264-aac-mov", {{18, 9}, {36, 14}}, "audio-joints"));
  const double halfPacket = 512.0 / 48000;
  for (auto [timeline, source] : {std::pair{0.0, 0.0}, {0.6, 0.9}, {1.2, 59 / 30.0}}) {
    const double tolerance = halfPacket + 1.0 / 48000;
    expectSourceSeconds(audio, {{timeline + 0.05, source + 0.05}, {timeline + 0.4, source + 0.4}},
                        tolerance);
  }
  EXPECT_NEAR(audio.sampleCount() / 48000.0, 67 / 30.0, halfPacket);
}

TEST(PassthroughMovieWriter, PcmAudioIsCutExactly) {
  const std::string path =
      savedWithCuts("mjpeg-pcm-mov", {{5, 17}, {20, 3}}, "pcm", testmedia::Rational{24, 1});
  const auto original = testmedia::readAudio(testmedia::testMediaPath("mjpeg-pcm-mov"));
  const auto copied = testmedia::readAudio(path);
  // The source's samples without frames 5...21 and 37...39 (20...22 after the first cut).
  std::vector<float> expected = original.channels[0];
  expected.erase(expected.begin() + 37 * 2000, expected.begin() + 40 * 2000);
  expected.erase(expected.begin() + 5 * 2000, expected.begin() + 22 * 2000);
  ASSERT_EQ(copied.sampleRate, original.sampleRate);
  ASSERT_EQ(copied.channels[0].size(), expected.size());
  const auto mismatch = std::mismatch(expected.begin(), expected.end(), copied.channels[0].begin());
  EXPECT_EQ(mismatch.first, expected.end())
      << "first differing sample " << mismatch.first - expected.begin();
}

TEST(PassthroughMovieWriter, ReencodesTracksWhoseSourcesDifferInConfiguration) {
  // Ten frames of a movie with another picture size and sound rate inserted at frame 30.
  testmedia::MovieRecipe recipe;
  recipe.videoTracks = {testmedia::VideoTrackRecipe{}};
  recipe.videoTracks[0].width = 160;
  recipe.videoTracks[0].height = 120;
  recipe.videoTracks[0].frameCount = 10;
  recipe.audioTracks = {testmedia::AudioTrackRecipe{}};
  recipe.audioTracks[0].sampleRate = 44100;
  recipe.audioTracks[0].sampleCount = 44100 / 3;
  auto other = FileAsset::open(reading::writtenMovie("small-44k.mov", recipe));
  auto composition = wholeOf(*openVariant("h264-aac-mov"));
  composition->insertTimeRange(frameRange(0, 10), *other, frames(30));
  const std::string path = outputPath("mixed.mov");
  EXPECT_EQ(writePassthroughMovie(*composition, path).reencodedTracks.size(), 2u);
  expectFrames(path, testsupport::frameRuns({{0, 30}, {0, 10}, {30, 90}}));
  expectSourceSeconds(testmedia::readAudio(path), {{2.0, 50 / 30.0}}, 0.03);
}

TEST(PassthroughMovieWriter, KeepsEveryTrackAndTheRotation) {
  const auto twoAudio =
      FileAsset::open(saved(*wholeOf(*openVariant("two-audio-mov")), "two-audio.mov"));
  EXPECT_EQ(twoAudio->tracksWithMediaType(MediaType::Audio).size(), 2u);

  const auto rotated = openVariant("rotated-mov");
  auto composition = wholeOf(*rotated);
  const auto transformOf = [](const Asset& asset) {
    return asset.tracksWithMediaType(MediaType::Video).front()->preferredTransform;
  };
  const auto copy = FileAsset::open(saved(*composition, "rotated.mov"));
  EXPECT_TRUE(transformOf(*copy).approximatelyEquals(transformOf(*rotated), 1e-4))
      << transformOf(*copy).debugString();
  // Turned a quarter further, as the rotate edit does: upside down, moved back to the origin
  // for other players.
  reading::rotate(*composition, false);
  const AffineTransform turned =
      transformOf(*FileAsset::open(saved(*composition, "rotated-again.mov")));
  EXPECT_TRUE(turned.approximatelyEquals({-1, 0, 0, -1, 320, 240}, 1e-3)) << turned.debugString();
}

TEST(PassthroughMovieWriter, FailuresLeaveNoFileBehind) {
  auto composition = wholeOf(*openVariant("h264-aac-mov"));
  const auto expectCannotWrite = [&](const std::string& path) {
    const Error error = reading::errorOf([&] { writePassthroughMovie(*composition, path); });
    EXPECT_EQ(error.domain, kMediaErrorDomain);
    EXPECT_EQ(error.code, static_cast<int>(SaveError::CannotWrite));
    EXPECT_NE(error.description.find(std::filesystem::path(path).filename().string()),
              std::string::npos);
    EXPECT_FALSE(error.recoverySuggestion.empty());
    EXPECT_FALSE(std::filesystem::exists(path));
  };
  expectCannotWrite(testmedia::testMediaDirectory() + "/no-such-folder/a.mov");

  // A disk that fills up: a file size limit far below the movie's size.
  const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit previous{};
  getrlimit(RLIMIT_FSIZE, &previous);
  rlimit limited = previous;
  limited.rlim_cur = 20'000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
  expectCannotWrite(outputPath("full.mov"));
  setrlimit(RLIMIT_FSIZE, &previous);
  std::signal(SIGXFSZ, previousHandler);

  EXPECT_THROW(writePassthroughMovie(*MutableComposition::create(), outputPath("empty.mov")),
               ErrorException);
}

}  // namespace
}  // namespace reelcraft
