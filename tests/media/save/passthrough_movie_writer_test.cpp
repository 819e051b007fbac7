#include "media/save/passthrough_movie_writer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>
#include <vector>

#include "media/support/composition_reading.h"
#include "media/reader/asset_reader.h"
#include "media/reader/asset_reader_output.h"
#include "media/model/file_asset.h"
#include "media/base/media_error.h"
#include "media/model/video_composition.h"
#include "mediagen/media_reader.h"
#include "mediagen/position_signal.h"
#include "media/support/picture_checks.h"
#include "media/support/stored_packets.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

using reading::frameRange;
using reading::frames;
using reading::openVariant;

std::string outputPath(const std::string& name) {
  return testmedia::testMediaDirectory() + "/saved-" + name;
}

std::shared_ptr<MutableComposition> wholeMovie(const std::string& variant) {
  auto asset = openVariant(variant);
  auto composition = MutableComposition::create();
  composition->insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                               MediaTime::zero());
  return composition;
}

// 0..count-1 with the ranges {first, length} removed one after the other.
std::vector<int> indicesWithout(int count, const std::vector<std::pair<int, int>>& removals) {
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
  std::vector<AssetTrack> tracks;
  for (const AssetTrack* track : asset->tracksWithMediaType(MediaType::Video)) {
    tracks.push_back(*track);
  }
  auto output = std::make_shared<AssetReaderVideoCompositionOutput>(tracks);
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

// Checks that plain FFmpeg decoding shows exactly `expected`, frame i at i × frameSeconds,
// and that our reader shows the same.
void expectFrames(const std::string& path, const std::vector<int>& expected,
                  testmedia::Rational rate = {30, 1}) {
  const double frameSeconds = static_cast<double>(rate.den) / rate.num;
  const auto decoded = testmedia::readVideoFrames(path);
  std::vector<int> indices;
  for (const auto& frame : decoded) indices.push_back(frame.frameIndex());
  EXPECT_EQ(indices, expected) << "decoded with FFmpeg";
  for (size_t i = 0; i < decoded.size(); ++i) {
    EXPECT_NEAR(decoded[i].seconds, i * frameSeconds, 1e-3) << "frame " << i;
  }
  const std::vector<int> readBack = indicesReadBack(path, MediaTime::make(rate.den, rate.num));
  EXPECT_EQ(readBack.size(), expected.size()) << "read back with our reader";
  for (size_t i = 0; i < std::min(readBack.size(), expected.size()); ++i) {
    if (readBack[i] == expected[i]) continue;
    ADD_FAILURE() << "read back with our reader: frame " << i << " shows " << readBack[i]
                  << " instead of " << expected[i];
    break;
  }
}

// The source second that the 4096 samples of `audio` from `first` on come from.
std::optional<double> sourceSecondsAt(const testmedia::DecodedAudio& audio, size_t first,
                                      double hint) {
  const size_t count = 4096;
  if (first + count > audio.sampleCount()) return std::nullopt;
  const auto location = testmedia::locatePositionSignal(audio.channels[0].data() + first, count,
                                                        audio.sampleRate, hint);
  if (!location) return std::nullopt;
  return location->seconds;
}

std::string saved(const Composition& composition, const std::string& name) {
  const std::string path = outputPath(name);
  writePassthroughMovie(composition, path);
  return path;
}

TEST(PassthroughMovieWriter, CutsInsideGroupsOfPicturesWithBFramesAreFrameExact) {
  auto composition = wholeMovie("h264-aac-mov");
  composition->removeTimeRange(frameRange(7, 31));
  expectFrames(saved(*composition, "remove.mov"), indicesWithout(90, {{7, 31}}));

  // Starts on a P-frame whose B-frames follow it in decode order, and a start past the first
  // keyframe.
  composition = wholeMovie("h264-aac-mov");
  composition->removeTimeRange(frameRange(1, 2));
  composition->removeTimeRange(frameRange(28, 17));
  expectFrames(saved(*composition, "remove-after-p.mov"), indicesWithout(90, {{1, 2}, {28, 17}}));

  // A trim to frames 26...70.
  composition = wholeMovie("h264-aac-mov");
  composition->removeTimeRange(frameRange(71, 19));
  composition->removeTimeRange(frameRange(0, 26));
  std::vector<int> trimmed(45);
  std::iota(trimmed.begin(), trimmed.end(), 26);
  expectFrames(saved(*composition, "trim.mov"), trimmed);
}

TEST(PassthroughMovieWriter, ManyCutsInMp4AndNtscSources) {
  std::vector<std::pair<int, int>> removals;
  auto composition = wholeMovie("h264-aac-mp4");
  for (int cut = 0; cut < 10; ++cut) {
    removals.push_back({2 + cut * 7, 1});
    composition->removeTimeRange(frameRange(2 + cut * 7, 1));
  }
  expectFrames(saved(*composition, "ten-cuts.mov"), indicesWithout(90, removals));

  const testmedia::Rational ntsc{30000, 1001};
  composition = wholeMovie("ntsc-h264-aac-mov");
  const int count = static_cast<int>(
      testmedia::readFrameIndices(testmedia::testMediaPath("ntsc-h264-aac-mov")).size());
  composition->removeTimeRange(frameRange(11, 13, ntsc));
  expectFrames(saved(*composition, "ntsc.mov"), indicesWithout(count, {{11, 13}}), ntsc);
}

TEST(PassthroughMovieWriter, InsertsFromTheSameMovieAndHoldsTheLastFrameOverEmptyTime) {
  auto asset = openVariant("h264-aac-mov");
  auto composition = wholeMovie("h264-aac-mov");
  composition->insertTimeRange(frameRange(40, 10), *asset, frames(5));
  std::vector<int> expected = indicesWithout(90, {});
  std::vector<int> inserted(10);
  std::iota(inserted.begin(), inserted.end(), 40);
  expected.insert(expected.begin() + 5, inserted.begin(), inserted.end());
  expectFrames(saved(*composition, "insert.mov"), expected);

  composition = wholeMovie("h264-aac-mov");
  composition->insertEmptyTimeRange(frameRange(30, 15));
  const std::string path = saved(*composition, "gap.mov");
  const auto decoded = testmedia::readVideoFrames(path);
  ASSERT_EQ(decoded.size(), 90u);
  EXPECT_EQ(decoded[29].frameIndex(), 29);
  EXPECT_EQ(decoded[30].frameIndex(), 30);
  EXPECT_NEAR(decoded[30].seconds, 45.0 / 30, 1e-3) << "media after the gap keeps its place";
  const auto readBack = indicesReadBack(path);
  ASSERT_EQ(readBack.size(), 105u);
  for (int i = 30; i < 45; ++i) EXPECT_EQ(readBack[i], 29) << "held over the gap, slot " << i;
  EXPECT_EQ(readBack[45], 30);
  // Silence fills the gap, so the sound after it keeps its place too.
  const auto audio = testmedia::readAudio(path);
  const float* gap = audio.channels[0].data() + static_cast<size_t>(1.1 * audio.sampleRate);
  EXPECT_LT(std::abs(*std::max_element(gap, gap + 4096,
                                       [](float a, float b) { return std::abs(a) < std::abs(b); })),
            1e-3);
  const auto located = sourceSecondsAt(audio, static_cast<size_t>(1.7 * audio.sampleRate), 1.2);
  ASSERT_TRUE(located);
  EXPECT_NEAR(*located, 1.2, 512.0 / 48000 + 1.0 / 48000);
}

TEST(PassthroughMovieWriter, DelayedVideoKeepsItsStartAndStretchedVideoIsRetimed) {
  auto source = FileAsset::open(testmedia::testMediaPath("delayed-video-mov"));
  const auto original = testmedia::readVideoFrames(testmedia::testMediaPath("delayed-video-mov"));
  auto composition = wholeMovie("delayed-video-mov");
  const auto copied = testmedia::readVideoFrames(saved(*composition, "delayed.mov"));
  ASSERT_EQ(copied.size(), original.size());
  EXPECT_NEAR(copied.front().seconds, original.front().seconds, 1e-3);
  EXPECT_EQ(copied.front().frameIndex(), original.front().frameIndex());

  // Frames 30...59 played at half speed.
  composition = wholeMovie("h264-aac-mov");
  std::vector<PassthroughWriteReport> reports;
  composition->scaleTimeRange(frameRange(30, 30), frames(60));
  auto video = MutableComposition::create();
  video->insertTimeRange(TimeRange::make(MediaTime::zero(), composition->duration()), *composition,
                         MediaTime::zero());
  video->removeTrack(video->tracksWithMediaType(MediaType::Audio).front()->trackID);
  const auto stretched = testmedia::readVideoFrames(saved(*video, "stretched.mov"));
  ASSERT_EQ(stretched.size(), 90u);
  for (int i = 0; i < 90; ++i) {
    EXPECT_EQ(stretched[i].frameIndex(), i);
    const double expected = i < 30 ? i / 30.0 : i < 60 ? 1 + (i - 30) / 15.0 : 3 + (i - 60) / 30.0;
    EXPECT_NEAR(stretched[i].seconds, expected, 1e-3) << "frame " << i;
  }
}

// Every video packet of `path`, as bytes.
std::vector<std::string> videoPackets(const std::string& path) {
  AVFormatContext* raw = nullptr;
  if (avformat_open_input(&raw, ("file:" + path).c_str(), nullptr, nullptr) < 0) return {};
  std::vector<std::string> packets;
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(raw, packet) >= 0) {
    if (raw->streams[packet->stream_index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
      packets.emplace_back(reinterpret_cast<const char*>(packet->data), packet->size);
    }
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&raw);
  return packets;
}

TEST(PassthroughMovieWriter, CopiesVideoSamplesByteForByte) {
  for (const char* variant : {"h264-aac-mov", "mjpeg-pcm-mov"}) {
    auto composition = wholeMovie(variant);
    composition->removeTimeRange(frameRange(9, 20));
    const auto source = videoPackets(testmedia::testMediaPath(variant));
    const std::set<std::string> known(source.begin(), source.end());
    const auto copied = videoPackets(saved(*composition, std::string(variant) + "-bytes.mov"));
    ASSERT_FALSE(copied.empty());
    for (size_t i = 0; i < copied.size(); ++i) {
      EXPECT_TRUE(known.count(copied[i])) << variant << ": packet " << i << " is not a source's";
    }
  }
}

// Where each video sample of `path` lies in the file (offset, size), in the order of the sample
// table, edit list ignored.
std::vector<std::pair<int64_t, int>> videoSampleLocations(const std::string& path) {
  std::vector<std::pair<int64_t, int>> locations;
  stored::forEachPacket(path, AVMEDIA_TYPE_VIDEO, [&](const AVPacket& packet) {
    locations.emplace_back(packet.pos, packet.size);
  });
  return locations;
}

// The segments left by cuts inside one group of pictures all need its first frames to decode:
// the file holds those bytes once, and later segments' samples point at them.
TEST(PassthroughMovieWriter, SegmentsInOneGroupOfPicturesShareTheirBytes) {
  auto composition = wholeMovie("h264-aac-mov");  // keyframes every 25 frames
  composition->removeTimeRange(frameRange(16, 3));
  composition->removeTimeRange(frameRange(10, 2));
  composition->removeTimeRange(frameRange(4, 2));
  const std::string path = saved(*composition, "shared-pre-roll.mov");
  expectFrames(path, indicesWithout(90, {{16, 3}, {10, 2}, {4, 2}}));

  const auto samples = videoSampleLocations(path);
  const std::set<std::pair<int64_t, int>> distinct(samples.begin(), samples.end());
  EXPECT_GT(samples.size(), distinct.size()) << "no sample shares another's bytes";
  int64_t storedBytes = 0;
  for (const auto& [offset, size] : distinct) storedBytes += size;
  int64_t sourceBytes = 0;
  for (const auto& [offset, size] :
       videoSampleLocations(testmedia::testMediaPath("h264-aac-mov"))) {
    sourceBytes += size;
  }
  EXPECT_LE(storedBytes, sourceBytes) << "a source sample is stored twice";

  // A segment that starts in the last frames of a group of pictures, where the next keyframe
  // is read before its first frames are written, then one that shares the next group's.
  for (int start : {21, 22, 23, 24}) {
    composition = wholeMovie("h264-aac-mov");
    composition->removeTimeRange(frameRange(start + 8, 2));
    composition->removeTimeRange(frameRange(start - 2, 2));
    expectFrames(saved(*composition, "shared-at-gop-end.mov"),
                 indicesWithout(90, {{start + 8, 2}, {start - 2, 2}}));
  }
}

TEST(PassthroughMovieWriter, CompressedAudioDoesNotDriftOverManyCuts) {
  // Ten cuts of 5 frames (not whole packets): the timeline shows source frames [7k, 7k + 2) at
  // [2k, 2k + 2) for k < 10, then source frames 70...89 from frame 20 on.
  auto composition = wholeMovie("h264-aac-mov");
  std::vector<std::pair<int, int>> removals;
  for (int cut = 0; cut < 10; ++cut) {
    composition->removeTimeRange(frameRange(2 * (cut + 1), 5));
    removals.push_back({2 * (cut + 1), 5});
  }
  const std::string path = saved(*composition, "audio-cuts.mov");
  expectFrames(path, indicesWithout(90, removals));
  const auto audio = testmedia::readAudio(path);
  ASSERT_EQ(audio.sampleRate, 48000);
  const double timeline = 20 / 30.0 + 0.3;
  const double expectedSource = 70 / 30.0 + 0.3;
  const size_t first = static_cast<size_t>((timeline - audio.startSeconds) * 48000);
  const auto located = sourceSecondsAt(audio, first, expectedSource);
  ASSERT_TRUE(located);
  EXPECT_NEAR(*located, expectedSource, 512.0 / 48000 + 1.0 / 48000);
}

TEST(PassthroughMovieWriter, CompressedAudioJointsAreWithinHalfAPacket) {
  // Removing frames 18...26, then 36...49 of the result: pieces of source frames [0, 18),
  // [27, 45) and [59, 90) at timeline frames 0, 18 and 36.
  auto composition = wholeMovie("h264-aac-mov");
  composition->removeTimeRange(frameRange(18, 9));
  composition->removeTimeRange(frameRange(36, 14));
  const auto audio = testmedia::readAudio(saved(*composition, "audio-joints.mov"));
  const double halfPacket = 512.0 / 48000;
  const std::vector<std::pair<double, double>> pieces{{0, 0}, {0.6, 0.9}, {1.2, 59 / 30.0}};
  for (auto [timeline, source] : pieces) {
    for (double into : {0.05, 0.4}) {
      const size_t first = static_cast<size_t>((timeline + into - audio.startSeconds) * 48000);
      const auto located = sourceSecondsAt(audio, first, source + into);
      ASSERT_TRUE(located) << "at " << timeline + into;
      EXPECT_NEAR(*located, source + into, halfPacket + 1.0 / 48000) << "at " << timeline + into;
    }
  }
  EXPECT_NEAR(audio.sampleCount() / 48000.0, 67 / 30.0, halfPacket);
}

TEST(PassthroughMovieWriter, PcmAudioIsCutExactly) {
  const testmedia::Rational rate{24, 1};
  const std::string source = testmedia::testMediaPath("mjpeg-pcm-mov");
  auto composition = wholeMovie("mjpeg-pcm-mov");
  composition->removeTimeRange(frameRange(5, 17, rate));
  composition->removeTimeRange(frameRange(20, 3, rate));
  const std::string path = saved(*composition, "pcm.mov");
  const auto original = testmedia::readAudio(source);
  const auto copied = testmedia::readAudio(path);
  // The source's samples without frames 5...21 and 37...39 (20...22 after the first cut).
  std::vector<float> expected = original.channels[0];
  const auto sample = [](int frame) { return static_cast<std::ptrdiff_t>(frame * 48000 / 24); };
  expected.erase(expected.begin() + sample(37), expected.begin() + sample(40));
  expected.erase(expected.begin() + sample(5), expected.begin() + sample(22));
  ASSERT_EQ(copied.sampleRate, original.sampleRate);
  ASSERT_EQ(copied.channels[0].size(), expected.size());
  const auto mismatch = std::mismatch(expected.begin(), expected.end(), copied.channels[0].begin());
  EXPECT_EQ(mismatch.first, expected.end())
      << "first differing sample " << mismatch.first - expected.begin();
  const int count = static_cast<int>(testmedia::readFrameIndices(source).size());
  expectFrames(path, indicesWithout(count, {{5, 17}, {20, 3}}), rate);
}

TEST(PassthroughMovieWriter, ReencodesOnlyTheTracksThatCannotBeCopied) {
  // Frames 30...59 played at half speed: the video is retimed, the sound re-encoded.
  auto composition = wholeMovie("h264-aac-mov");
  composition->scaleTimeRange(frameRange(30, 30), frames(60));
  std::string path = outputPath("stretched-sound.mov");
  PassthroughWriteReport report = writePassthroughMovie(*composition, path);
  ASSERT_EQ(report.reencodedTracks.size(), 1u);
  EXPECT_NE(report.reencodedTracks[0].find("audio"), std::string::npos);
  auto audio = testmedia::readAudio(path);
  EXPECT_NEAR(audio.sampleCount() / 48000.0, 4.0, 0.03);
  auto located = sourceSecondsAt(audio, static_cast<size_t>(3.3 * 48000), 2.3);
  ASSERT_TRUE(located);
  EXPECT_NEAR(*located, 2.3, 0.03);

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
  composition = wholeMovie("h264-aac-mov");
  composition->insertTimeRange(frameRange(0, 10), *other, frames(30));
  path = outputPath("mixed.mov");
  report = writePassthroughMovie(*composition, path);
  EXPECT_EQ(report.reencodedTracks.size(), 2u);
  std::vector<int> expected = indicesWithout(90, {});
  for (int i = 9; i >= 0; --i) expected.insert(expected.begin() + 30, i);
  expectFrames(path, expected);
  audio = testmedia::readAudio(path);
  located = sourceSecondsAt(audio, static_cast<size_t>(2.0 * 48000), 1.6667);
  ASSERT_TRUE(located);
  EXPECT_NEAR(*located, 50 / 30.0, 0.03);
}

TEST(PassthroughMovieWriter, KeepsEveryTrackAndTheRotation) {
  auto composition = wholeMovie("two-audio-mov");
  const std::string twoAudio = saved(*composition, "two-audio.mov");
  EXPECT_EQ(FileAsset::open(twoAudio)->tracksWithMediaType(MediaType::Audio).size(), 2u);

  auto rotated = FileAsset::open(testmedia::testMediaPath("rotated-mov"));
  composition = wholeMovie("rotated-mov");
  auto copy = FileAsset::open(saved(*composition, "rotated.mov"));
  const AssetTrack& video = *copy->tracksWithMediaType(MediaType::Video).front();
  EXPECT_TRUE(video.preferredTransform.approximatelyEquals(
      rotated->tracksWithMediaType(MediaType::Video).front()->preferredTransform, 1e-4))
      << video.preferredTransform.debugString();

  // Turned a quarter further: upside down, moved back to the origin.
  const AssetTrack& track = *composition->tracksWithMediaType(MediaType::Video).front();
  composition->setPreferredTransform(track.trackID,
                                     track.preferredTransform.rotated(std::numbers::pi / 2));
  copy = FileAsset::open(saved(*composition, "rotated-again.mov"));
  const AffineTransform turned =
      copy->tracksWithMediaType(MediaType::Video).front()->preferredTransform;
  EXPECT_NEAR(turned.a, -1, 1e-4);
  EXPECT_NEAR(turned.d, -1, 1e-4);
  EXPECT_NEAR(turned.tx, track.naturalSize.width, 1e-3);
  EXPECT_NEAR(turned.ty, track.naturalSize.height, 1e-3);
}

TEST(PassthroughMovieWriter, WritesQuickTimeWhateverTheExtension) {
  auto composition = wholeMovie("h264-aac-mp4");
  const std::string path = saved(*composition, "named.mp4");
  std::ifstream file(path, std::ios::binary);
  char header[12] = {};
  file.read(header, sizeof header);
  EXPECT_EQ(std::string(header + 4, 4), "ftyp");
  EXPECT_EQ(std::string(header + 8, 4), "qt  ");
}

void expectCannotWrite(const ErrorException& error, const std::string& fileName) {
  EXPECT_EQ(error.error().domain, kMediaErrorDomain);
  EXPECT_EQ(error.error().code, static_cast<int>(SaveError::CannotWrite));
  EXPECT_NE(error.error().description.find(fileName), std::string::npos);
  EXPECT_FALSE(error.error().recoverySuggestion.empty());
}

TEST(PassthroughMovieWriter, FailuresLeaveNoFileBehind) {
  auto composition = wholeMovie("h264-aac-mov");
  const std::string missingFolder = testmedia::testMediaDirectory() + "/no-such-folder/a.mov";
  try {
    writePassthroughMovie(*composition, missingFolder);
    ADD_FAILURE() << "saved into a missing folder";
  } catch (const ErrorException& error) {
    expectCannotWrite(error, "a.mov");
  }

  // A disk that fills up: a file size limit far below the movie's size.
  const std::string full = outputPath("full.mov");
  const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit previous{};
  getrlimit(RLIMIT_FSIZE, &previous);
  rlimit limited = previous;
  limited.rlim_cur = 20'000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
  try {
    writePassthroughMovie(*composition, full);
    ADD_FAILURE() << "saved beyond the size limit";
  } catch (const ErrorException& error) {
    expectCannotWrite(error, "full.mov");
  }
  setrlimit(RLIMIT_FSIZE, &previous);
  std::signal(SIGXFSZ, previousHandler);
  EXPECT_FALSE(std::filesystem::exists(full));

  EXPECT_THROW(writePassthroughMovie(*MutableComposition::create(), outputPath("empty.mov")),
               ErrorException);
}

}  // namespace
}  // namespace reelcraft
