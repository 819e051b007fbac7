// The generated test movies decode to what they were generated from: every frame shows its
// own index at its own time, and the sound is found where it was put.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "mediagen/broken_files.h"
#include "mediagen/media_reader.h"
#include "mediagen/movie_recipe.h"
#include "mediagen/movie_writer.h"
#include "mediagen/position_signal.h"
#include "mediagen/test_media.h"

namespace reelcraft::testmedia {
namespace {

std::vector<std::string> codedVariantNames() {
  std::vector<std::string> names;
  for (const NamedVariant& variant : standardVariants()) {
    if (variant.name != "sample") names.push_back(variant.name);
  }
  return names;
}

class GeneratedVariant : public testing::TestWithParam<std::string> {
 protected:
  const NamedVariant& variant() const { return *findVariant(GetParam()); }
  std::string path() const { return testMediaPath(GetParam()); }
};

TEST_P(GeneratedVariant, EveryFrameShowsItsIndexAtItsTime) {
  const MovieRecipe& recipe = variant().recipe;
  for (size_t track = 0; track < recipe.videoTracks.size(); ++track) {
    const VideoTrackRecipe& video = recipe.videoTracks[track];
    const auto frames = readVideoFrames(path(), static_cast<int>(track));
    ASSERT_EQ(frames.size(), static_cast<size_t>(video.frameCount));
    for (size_t i = 0; i < frames.size(); ++i) {
      const DecodedVideoFrame& frame = frames[i];
      ASSERT_TRUE(frame.code) << "frame " << i;
      EXPECT_EQ(frame.code->index, static_cast<int>(i));
      EXPECT_EQ(frame.code->quarterTurnsClockwise, 0);  // decoders do not turn pictures
      // pts × timeBase == (startFrame + i) / frameRate, exactly.
      EXPECT_EQ(int64_t{frame.pts} * frame.timeBase.num * video.frameRate.num,
                int64_t(video.startFrame + i) * video.frameRate.den * frame.timeBase.den)
          << "frame " << i;
      EXPECT_EQ(frame.width, video.width);
      EXPECT_EQ(frame.height, video.height);
    }
  }
}

TEST_P(GeneratedVariant, SoundIsWhereItWasGenerated) {
  const MovieRecipe& recipe = variant().recipe;
  const int firstAudioStream = static_cast<int>(recipe.videoTracks.size());
  for (size_t track = 0; track < recipe.audioTracks.size(); ++track) {
    const AudioTrackRecipe& expected = recipe.audioTracks[track];
    const DecodedAudio audio = readAudio(path(), firstAudioStream + static_cast<int>(track));
    EXPECT_EQ(audio.sampleRate, expected.sampleRate);
    ASSERT_EQ(audio.channels.size(), static_cast<size_t>(expected.channels));
    EXPECT_EQ(audio.sampleCount(), static_cast<size_t>(expected.sampleCount));
    EXPECT_DOUBLE_EQ(audio.startSeconds, 0.0);

    // Lossy coding may move the waveform's peak a little, never by a whole period.
    const double tolerance = (expected.encoder == "aac" ? 1.0 : 0.25) / expected.sampleRate;
    for (size_t offset = 0; offset + 4096 <= audio.sampleCount(); offset += 12'345) {
      for (const auto& channel : audio.channels) {
        const auto location = locatePositionSignal(channel.data() + offset, 4096, audio.sampleRate);
        ASSERT_TRUE(location) << "sample " << offset;
        EXPECT_NEAR(location->seconds, audio.secondsAt(offset), tolerance) << "sample " << offset;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(StandardVariants, GeneratedVariant, testing::ValuesIn(codedVariantNames()),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST(GeneratedMedia, BlocksCarryTheirPresentationTimes) {
  const DecodedAudio audio = readAudio(testMediaPath("h264-aac-mp4"));
  ASSERT_FALSE(audio.blocks.empty());
  size_t expectedOffset = 0;
  for (const DecodedAudio::Block& block : audio.blocks) {
    EXPECT_EQ(block.offset, expectedOffset);
    EXPECT_DOUBLE_EQ(block.seconds, audio.secondsAt(block.offset));
    expectedOffset += block.count;
  }
  EXPECT_EQ(expectedOffset, audio.sampleCount());
}

TEST(GeneratedMedia, ResampledSoundIsStillFoundInPlace) {
  const DecodedAudio audio = readAudio(testMediaPath("two-audio-mov"), 2, 48000);
  EXPECT_EQ(audio.sourceSampleRate, 44100);
  EXPECT_EQ(audio.sampleRate, 48000);
  EXPECT_NEAR(static_cast<double>(audio.sampleCount()), 2 * 48000, 1);
  for (size_t offset : {size_t{0}, size_t{30'000}, size_t{80'000}}) {
    const auto location = locatePositionSignal(audio.channels[0].data() + offset, 4096, 48000);
    ASSERT_TRUE(location);
    EXPECT_NEAR(location->seconds, audio.secondsAt(offset), 2.0 / 48000);
  }
}

TEST(GeneratedMedia, RotatedVariantCarriesItsTurnOnlyInTheContainer) {
  const auto frames = readVideoFrames(testMediaPath("rotated-mov"));
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames[0].width, 320);
  EXPECT_EQ(frames[0].height, 240);
}

TEST(GeneratedMedia, SampleShowsPicturesAndSoundWithoutCodes) {
  // The sample's content in a shortened copy; the tool writes the whole one at build time.
  MovieRecipe recipe = findVariant("sample")->recipe;
  ASSERT_EQ(recipe.videoTracks.size(), 1u);
  ASSERT_EQ(recipe.audioTracks.size(), 1u);
  recipe.videoTracks[0].frameCount = 20;
  recipe.audioTracks[0].sampleCount = 48000;
  const std::string path = testMediaDirectory() + "/short-sample.mov";
  writeMovie(path, recipe);

  const auto frames = readVideoFrames(path);
  ASSERT_EQ(frames.size(), 20u);
  EXPECT_EQ(frames[0].width, 640);
  EXPECT_EQ(frames[0].height, 360);
  EXPECT_FALSE(frames[0].code);
  const DecodedAudio audio = readAudio(path);
  ASSERT_EQ(audio.sampleCount(), 48000u);
  EXPECT_FALSE(locatePositionSignal(audio.channels[0].data() + 12000, 4096, 48000));
  float loudest = 0;
  for (float sample : audio.channels[0]) loudest = std::max(loudest, std::fabs(sample));
  EXPECT_GT(loudest, 0.05f);
  EXPECT_LT(loudest, 1.0f);
}

TEST(GeneratedMedia, ReadersRefuseWhatTheyCannotRead) {
  EXPECT_THROW(readVideoFrames(testMediaPath("audio-only-m4a")), std::runtime_error);
  EXPECT_THROW(readAudio(testMediaPath("video-only-mp4")), std::runtime_error);
  EXPECT_THROW(readVideoFrames(testMediaPath("h264-aac-mov"), 1), std::runtime_error);
  EXPECT_THROW(readAudio(testMediaPath("h264-aac-mov"), 7), std::runtime_error);
  for (BrokenFileKind kind : {BrokenFileKind::Empty, BrokenFileKind::Truncated,
                              BrokenFileKind::RandomBytes, BrokenFileKind::Text}) {
    EXPECT_THROW(readVideoFrames(brokenMediaPath(kind)), std::runtime_error)
        << brokenFileKindName(kind);
  }
  EXPECT_THROW(writeMovie(testMediaDirectory() + "/no-tracks.mov", MovieRecipe{}),
               std::runtime_error);
  EXPECT_THROW(testMediaPath("no-such-variant"), std::runtime_error);
}

TEST(GeneratedMedia, BrokenFilesAreWhatTheySay) {
  namespace fs = std::filesystem;
  EXPECT_EQ(fs::file_size(brokenMediaPath(BrokenFileKind::Empty)), 0u);
  EXPECT_EQ(fs::file_size(brokenMediaPath(BrokenFileKind::RandomBytes)), 64u * 1024);
  const auto whole = fs::file_size(testMediaPath("h264-aac-mov"));
  EXPECT_NEAR(static_cast<double>(fs::file_size(brokenMediaPath(BrokenFileKind::Truncated))),
              whole / 2.0, 1.0);
  std::ifstream text(brokenMediaPath(BrokenFileKind::Text));
  std::string firstLine;
  std::getline(text, firstLine);
  EXPECT_FALSE(firstLine.empty());
}

}  // namespace
}  // namespace reelcraft::testmedia
