#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "media/base/media_error_codes.h"
#include "media/save/passthrough_movie_writer.h"
#include "media/support/composition_reading.h"
#include "media/support/ffmpeg_made.h"
#include "media/support/frame_runs.h"
#include "media/support/sound_checks.h"
#include "mediagen/media_reader.h"

namespace reelcraft {
namespace {

using reading::wholeOf;
using ::testing::HasSubstr;

std::string majorBrandOf(const std::string& path) {
  char header[12] = {};
  std::ifstream(path, std::ios::binary).read(header, sizeof header);
  return std::string(header + 8, 4);
}

struct ContainerCase {
  std::string name;
  std::function<std::string()> source;
  std::string extension;
  std::string brand;      // of the saved file; empty when the save is refused
  std::string refusal;    // part of the refusal's description
  std::string reencoded;  // part of the one re-encoding note; empty when nothing is re-encoded
  std::vector<int> frames = testsupport::frameRuns({{0, 8}, {37, 90}});  // when it has video
  friend void PrintTo(const ContainerCase& c, std::ostream* out) { *out << c.name; }
};

// The 3 s H.264 + AAC test movie (frames 0 to 89, keyframes every 25) as WebM with the video and
// sound of the libavcodec encoders named.
std::string webm(const std::string& videoEncoder, const std::string& audioEncoder) {
  return testsupport::ffmpegMade("h264-aac-mov", videoEncoder + "-" + audioEncoder + ".webm",
                                 "-c:v " + videoEncoder +
                                     " -deadline realtime -cpu-used 8 -g 25 -b:v 1M -c:a " +
                                     audioEncoder);
}

std::function<std::string()> variant(const std::string& name) {
  return [name] { return testmedia::testMediaPath(name); };
}

class SavedContainers : public testing::TestWithParam<ContainerCase> {};

// Each source with 0.25 s to 1.25 s deleted: from the middle of frame 7 to the middle of frame 37
// (a cut inside a group of pictures, clear of the few milliseconds that WebM moves frames by).
TEST_P(SavedContainers, FollowTheExtension) {
  const ContainerCase& c = GetParam();
  auto composition = wholeOf(*FileAsset::open(c.source()));
  composition->removeTimeRange(
      TimeRange::fromStartEnd(MediaTime::make(1, 4), MediaTime::make(5, 4)));
  const std::string path = testmedia::testMediaDirectory() + "/container-" + c.name + c.extension;
  if (c.brand.empty()) {
    const Error error = reading::errorOf([&] { writePassthroughMovie(*composition, path); });
    EXPECT_EQ(error.code, static_cast<int>(SaveError::ContainerCannotHold));
    EXPECT_THAT(error.description, HasSubstr(c.refusal));
    EXPECT_FALSE(std::filesystem::exists(path));
    return;
  }
  const auto notes = writePassthroughMovie(*composition, path).reencodedTracks;
  ASSERT_EQ(notes.size(), c.reencoded.empty() ? 0u : 1u);
  if (!notes.empty()) {
    EXPECT_THAT(notes[0], HasSubstr(c.reencoded));
  }
  EXPECT_EQ(majorBrandOf(path), c.brand);
  const double seconds = composition->duration().seconds();
  EXPECT_NEAR(FileAsset::open(path)->duration().seconds(), seconds, 0.03);
  if (!composition->tracksWithMediaType(MediaType::Video).empty()) {
    EXPECT_EQ(testmedia::readFrameIndices(path), c.frames);
  }
  const auto audio = testmedia::readAudio(path);
  EXPECT_NEAR(audio.sampleCount() / double(audio.sampleRate), seconds, 0.03);
  const auto heard = sound::sourceSecondsAt(audio, 0.8, 1.8);
  ASSERT_TRUE(heard);
  // Within half of the longest packet (Vorbis: 2048 samples).
  EXPECT_NEAR(*heard, 1.8, 0.022);
}

INSTANTIATE_TEST_SUITE_P(
    Extensions, SavedContainers,
    testing::Values(
        ContainerCase{"H264AacToMov", variant("h264-aac-mov"), ".mov", "qt  "},
        ContainerCase{"H264AacToMp4", variant("h264-aac-mov"), ".mp4", "isom"},
        ContainerCase{"H264AacToM4v", variant("h264-aac-mp4"), ".M4V", "isom"},
        ContainerCase{"AudioOnlyToM4a", variant("audio-only-m4a"), ".m4a", "isom"},
        ContainerCase{"Vp9OpusToMp4", [] { return webm("libvpx-vp9", "libopus"); }, ".mp4", "isom"},
        ContainerCase{"Vp9VorbisToMp4", [] { return webm("libvpx-vp9", "libvorbis"); }, ".mp4",
                      "isom"},
        ContainerCase{"Vp9OpusRefusedForMov", [] { return webm("libvpx-vp9", "libopus"); }, ".mov",
                      "",
                      "a QuickTime movie (.mov) can’t hold the video track 1 (vp9), which an "
                      "MPEG-4 movie (.mp4) holds"},
        ContainerCase{"Vp8ReencodedForMp4", [] { return webm("libvpx", "libvorbis"); }, ".mp4",
                      "isom", "",
                      "(H.264) because neither a QuickTime nor an MPEG-4 movie can hold vp8",
                      // Drawn at every 30th of a second: black until the video starts (7 ms in,
                      // after the sound's encoder delay), the frame shown at each time after.
                      testsupport::frameRuns({{-1, 7}, {37, 90}})},
        ContainerCase{"PcmRefusedForMp4", variant("mjpeg-pcm-mov"), ".mp4", "",
                      "can’t hold the audio track 2 (pcm_s16le), which a QuickTime movie (.mov) "
                      "holds"}),
    [](const auto& info) { return info.param.name; });

TEST(SavedContainers, TheExtensionThatHoldsAllTracks) {
  const auto extensionFor = [](const std::string& path) {
    return extensionHoldingAllTracks(*wholeOf(*FileAsset::open(path)));
  };
  EXPECT_EQ(extensionFor(testmedia::testMediaPath("h264-aac-mp4")), ".mov");
  EXPECT_EQ(extensionFor(testmedia::testMediaPath("mjpeg-pcm-mov")), ".mov");
  EXPECT_EQ(extensionFor(webm("libvpx-vp9", "libvorbis")), ".mp4");
  // Sources in different codecs make a track that is re-encoded, which either container holds.
  auto mixed = wholeOf(*FileAsset::open(webm("libvpx-vp9", "libopus")));
  mixed->insertTimeRange(reading::frameRange(0, 10), *reading::openVariant("mjpeg-pcm-mov"),
                         MediaTime::zero());
  EXPECT_EQ(extensionHoldingAllTracks(*mixed), ".mov");
}

}  // namespace
}  // namespace reelcraft
