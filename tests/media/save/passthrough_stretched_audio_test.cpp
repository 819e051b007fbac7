#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "media/model/file_asset.h"
#include "media/save/passthrough_audio_range_encoder.h"
#include "media/save/passthrough_movie_writer.h"
#include "media/support/composition_reading.h"
#include "media/support/sound_checks.h"
#include "media/support/stored_packets.h"
#include "mediagen/media_reader.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

using reading::secondsRange;
using sound::expectSourceSeconds;
using sound::rms;

// The saved file of `source` with `range` played over `duration`, and what the save reports.
std::pair<std::string, PassthroughWriteReport> savedStretched(const std::string& source,
                                                              TimeRange range, MediaTime duration,
                                                              const std::string& name) {
  auto composition = reading::wholeOf(*FileAsset::open(source));
  composition->scaleTimeRange(range, duration);
  const std::string path = testmedia::testMediaDirectory() + "/saved-stretched-" + name;
  return {path, writePassthroughMovie(*composition, path)};
}

TEST(PassthroughStretchedAudio, OnlyTheStretchedRangeOfCompressedSoundIsEncodedAgain) {
  // Source frames 30...59 (1 s to 2 s) play over 1.5 s; the rest is untouched.
  const std::string source = testmedia::testMediaPath("h264-aac-mov");
  const auto [path, report] =
      savedStretched(source, reading::frameRange(30, 30), reading::frames(45), "aac.mov");
  ASSERT_EQ(report.reencodedTracks.size(), 1u);
  EXPECT_NE(report.reencodedTracks[0].find("from 1.000 s to 2.500 s"), std::string::npos)
      << report.reencodedTracks[0];

  // Every packet outside one run (the stretched range and its pre-roll) is a source packet,
  // in the source's order.
  std::vector<std::string> original, saved;
  for (auto [file, packets] : {std::pair{source, &original}, {path, &saved}}) {
    stored::forEachPacket(file, AVMEDIA_TYPE_AUDIO, [packets](const AVPacket& packet) {
      packets->emplace_back(reinterpret_cast<const char*>(packet.data), packet.size);
    });
  }
  std::vector<long> sourceIndex;
  std::vector<size_t> foreign;
  for (size_t i = 0; i < saved.size(); ++i) {
    sourceIndex.push_back(std::find(original.begin(), original.end(), saved[i]) - original.begin());
    if (sourceIndex.back() == static_cast<long>(original.size())) foreign.push_back(i);
  }
  const size_t stretchedPackets = 72000 / 1024;  // 1.5 s at 48 kHz
  ASSERT_GE(foreign.size(), stretchedPackets);
  EXPECT_LE(foreign.size(), stretchedPackets + 2);
  EXPECT_EQ(foreign.back() - foreign.front() + 1, foreign.size()) << "not one run";
  for (size_t i = 1; i < saved.size(); ++i) {
    if (i < foreign.front() || i > foreign.back() + 1) {
      EXPECT_EQ(sourceIndex[i], sourceIndex[i - 1] + 1) << "packet " << i;
    }
  }

  const auto audio = testmedia::readAudio(path);
  ASSERT_EQ(audio.sampleRate, 48000);
  const double halfPacket = 512.0 / 48000 + 1.0 / 48000;
  EXPECT_NEAR(audio.sampleCount() / 48000.0, 3.5, halfPacket);
  // No drift before or after the range: the sound is where the edit puts it.
  expectSourceSeconds(audio, {{0.2, 0.2}, {0.85, 0.85}, {2.55, 2.05}, {3.3, 2.8}}, halfPacket);
  // The stretched range sounds throughout.
  for (double timeline = 1.05; timeline < 2.45; timeline += 0.1) {
    EXPECT_GT(rms(audio.channels[0].data() + static_cast<size_t>(timeline * 48000), 2048), 0.05)
        << "at " << timeline;
  }

  const auto video = testmedia::readVideoFrames(path);
  ASSERT_EQ(video.size(), 90u);
  for (size_t i = 0; i < video.size(); ++i) {
    EXPECT_EQ(video[i].frameIndex(), static_cast<int>(i));
    const double expected = i < 30   ? i / 30.0
                            : i < 60 ? 1 + (i - 30) / 20.0
                                     : 2.5 + (i - 60) / 30.0;
    EXPECT_NEAR(video[i].seconds, expected, 1e-3) << "frame " << i;
  }
}

TEST(PassthroughStretchedAudio, PcmOutsideTheStretchedRangeIsExact) {
  // Source seconds 0.25...0.5 play over 0.125 s: the sound is 0.125 s shorter.
  const std::string source = reading::signalSoundMovie(48000, 2, 2.0, "pcm_s16le");
  const auto [path, report] =
      savedStretched(source, secondsRange(0.25, 0.25), MediaTime::make(6000, 48000), "pcm.mov");
  EXPECT_EQ(report.reencodedTracks.size(), 1u);
  const auto original = testmedia::readAudio(source);
  const auto saved = testmedia::readAudio(path);
  ASSERT_EQ(saved.sampleRate, 48000);
  ASSERT_GT(original.sampleCount(), 24000u);
  ASSERT_EQ(saved.sampleCount(), original.sampleCount() - 6000);
  for (size_t channel = 0; channel < 2; ++channel) {
    const auto& in = original.channels[channel];
    const auto& out = saved.channels[channel];
    EXPECT_TRUE(std::equal(in.begin(), in.begin() + 12000, out.begin())) << "before the range";
    EXPECT_TRUE(std::equal(in.begin() + 24000, in.end(), out.begin() + 18000)) << "after the range";
    EXPECT_GT(rms(out.data() + 13000, 4000), 0.05) << "the range sounds";
  }
}

TEST(PassthroughStretchedAudio, MonoSoundKeepsItsConfiguration) {
  // Source seconds 0.25...0.5 play over 0.5 s.
  const std::string source = reading::signalSoundMovie(44100, 1, 2.0);
  const double seconds = FileAsset::open(source)->duration().seconds();
  const auto [path, report] =
      savedStretched(source, secondsRange(0.25, 0.25), MediaTime::make(1, 2), "mono.mov");
  const auto audio = testmedia::readAudio(path);
  ASSERT_EQ(audio.channels.size(), 1u);
  ASSERT_EQ(audio.sampleRate, 44100);
  EXPECT_NEAR(audio.sampleCount() / 44100.0, seconds + 0.25, 1024.0 / 44100);
  expectSourceSeconds(audio, {{0.05, 0.05}, {0.8, 0.55}}, 513.0 / 44100);
}

TEST(PassthroughStretchedAudio, SoundNoEncoderCanMatchIsEncodedWhole) {
  // Six channels cannot be rendered for a range without mixing them down: the whole track is
  // encoded again, and the report says why.
  const std::string source = reading::signalSoundMovie(48000, 6, 2.0);
  const auto reason = [](const std::string& file) {
    return PassthroughAudioRangeEncoder::reasonItCannotMatch(
        *FileAsset::open(file)->sourceTracks().front()->codecParameters);
  };
  EXPECT_FALSE(reason(source).empty());
  EXPECT_EQ(reason(reading::signalSoundMovie(48000, 2, 2.0)), "");
  const auto [path, report] =
      savedStretched(source, secondsRange(0.25, 0.25), MediaTime::make(1, 2), "six-channels.mov");
  ASSERT_EQ(report.reencodedTracks.size(), 1u);
  EXPECT_NE(report.reencodedTracks[0].find("more than two channels"), std::string::npos)
      << report.reencodedTracks[0];
  EXPECT_NEAR(testmedia::readAudio(path).sampleCount() / 48000.0,
              FileAsset::open(source)->duration().seconds() + 0.25, 0.03);
}

}  // namespace
}  // namespace reelcraft
