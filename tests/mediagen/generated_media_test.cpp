// The generated test movies decode to what they were generated from: every frame shows its
// own index at its own time, and the sound is found where it was put.

#include <gtest/gtest.h>

#include <algorithm>

#include "mediagen/media_reader.h"
#include "mediagen/movie_recipe.h"
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
  const MovieRecipe& recipe = findVariant(GetParam())->recipe;
  const std::string path = testMediaPath(GetParam());
};

TEST_P(GeneratedVariant, EveryFrameShowsItsIndexAtItsTime) {
  for (size_t track = 0; track < recipe.videoTracks.size(); ++track) {
    const VideoTrackRecipe& video = recipe.videoTracks[track];
    const auto frames = readVideoFrames(path, static_cast<int>(track));
    ASSERT_EQ(frames.size(), static_cast<size_t>(video.frameCount));
    for (size_t i = 0; i < frames.size(); ++i) {
      const DecodedVideoFrame& frame = frames[i];
      SCOPED_TRACE("frame " + std::to_string(i));
      ASSERT_TRUE(frame.code);
      EXPECT_EQ(frame.code->index, static_cast<int>(i));
      EXPECT_EQ(frame.code->quarterTurnsClockwise, 0);  // decoders do not turn pictures
      // pts × timeBase == (startFrame + i) / frameRate, exactly.
      EXPECT_EQ(int64_t{frame.pts} * frame.timeBase.num * video.frameRate.num,
                int64_t(video.startFrame + i) * video.frameRate.den * frame.timeBase.den);
      EXPECT_EQ(std::make_pair(frame.width, frame.height),
                std::make_pair(video.width, video.height));
    }
  }
}

TEST_P(GeneratedVariant, SoundIsWhereItWasGenerated) {
  const int firstAudioStream = static_cast<int>(recipe.videoTracks.size());
  for (size_t track = 0; track < recipe.audioTracks.size(); ++track) {
    const AudioTrackRecipe& expected = recipe.audioTracks[track];
    const DecodedAudio audio = readAudio(path, firstAudioStream + static_cast<int>(track));
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

}  // namespace
}  // namespace reelcraft::testmedia
