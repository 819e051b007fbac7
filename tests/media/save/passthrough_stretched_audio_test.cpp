#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "media/support/composition_reading.h"
#include "media/model/file_asset.h"
#include "media/save/passthrough_audio_range_encoder.h"
#include "media/save/passthrough_movie_writer.h"
#include "mediagen/media_reader.h"
#include "mediagen/position_signal.h"
#include "media/support/stored_packets.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

using reading::frameRange;
using reading::frames;
using reading::openVariant;

std::string savedPath(const std::string& name) {
  return testmedia::testMediaDirectory() + "/saved-stretched-" + name;
}

std::shared_ptr<MutableComposition> wholeMovie(const Asset& asset) {
  auto composition = MutableComposition::create();
  composition->insertTimeRange(TimeRange::make(MediaTime::zero(), asset.duration()), asset,
                               MediaTime::zero());
  return composition;
}

// The stored audio packets of `path` in file order, as bytes (edit lists ignored).
std::vector<std::string> audioPackets(const std::string& path) {
  std::vector<std::string> packets;
  stored::forEachPacket(path, AVMEDIA_TYPE_AUDIO, [&](const AVPacket& packet) {
    packets.emplace_back(reinterpret_cast<const char*>(packet.data), packet.size);
  });
  return packets;
}

// The source second that channel 0 of `audio` plays at timeline second `timeline`.
std::optional<double> sourceSecondsAt(const testmedia::DecodedAudio& audio, double timeline,
                                      double hint) {
  const size_t count = 4096;
  const double offset = (timeline - audio.startSeconds) * audio.sampleRate;
  if (offset < 0) return std::nullopt;
  const auto first = static_cast<size_t>(std::lround(offset));
  if (first + count > audio.sampleCount()) return std::nullopt;
  const auto location = testmedia::locatePositionSignal(audio.channels[0].data() + first, count,
                                                        audio.sampleRate, hint);
  if (!location) return std::nullopt;
  return location->seconds;
}

double rms(const std::vector<float>& samples, size_t first, size_t count) {
  double sum = 0;
  for (size_t i = first; i < first + count && i < samples.size(); ++i) {
    sum += samples[i] * samples[i];
  }
  return std::sqrt(sum / static_cast<double>(count));
}

TEST(PassthroughStretchedAudio, OnlyTheStretchedRangeOfCompressedSoundIsEncodedAgain) {
  // Source frames 30...59 (1 s to 2 s) play over 1.5 s; the rest is untouched.
  const std::string source = testmedia::testMediaPath("h264-aac-mov");
  auto composition = wholeMovie(*openVariant("h264-aac-mov"));
  composition->scaleTimeRange(frameRange(30, 30), frames(45));
  const std::string path = savedPath("aac.mov");
  const PassthroughWriteReport report = writePassthroughMovie(*composition, path);
  ASSERT_EQ(report.reencodedTracks.size(), 1u);
  EXPECT_NE(report.reencodedTracks[0].find("from 1.000 s to 2.500 s"), std::string::npos)
      << report.reencodedTracks[0];

  // Every packet outside one run (the stretched range and its pre-roll) is a source packet,
  // in the source's order.
  const auto original = audioPackets(source);
  const auto saved = audioPackets(path);
  ASSERT_FALSE(saved.empty());
  std::vector<size_t> foreign;
  for (size_t i = 0; i < saved.size(); ++i) {
    if (std::find(original.begin(), original.end(), saved[i]) == original.end()) {
      foreign.push_back(i);
    }
  }
  const size_t stretchedPackets = 72000 / 1024;  // 1.5 s at 48 kHz
  ASSERT_GE(foreign.size(), stretchedPackets);
  EXPECT_LE(foreign.size(), stretchedPackets + 2);
  EXPECT_EQ(foreign.back() - foreign.front() + 1, foreign.size()) << "not one run";
  const auto sourceIndex = [&](size_t i) {
    return std::find(original.begin(), original.end(), saved[i]) - original.begin();
  };
  for (size_t i = 1; i < saved.size(); ++i) {
    if (i == foreign.front() || i == foreign.back() + 1 ||
        (i > foreign.front() && i <= foreign.back())) {
      continue;
    }
    EXPECT_EQ(sourceIndex(i), sourceIndex(i - 1) + 1) << "packet " << i;
  }

  const auto audio = testmedia::readAudio(path);
  ASSERT_EQ(audio.sampleRate, 48000);
  const double halfPacket = 512.0 / 48000 + 1.0 / 48000;
  EXPECT_NEAR(audio.sampleCount() / 48000.0, 3.5, halfPacket);
  // No drift before or after the range: the sound is where the edit puts it.
  for (auto [timeline, expected] :
       std::vector<std::pair<double, double>>{{0.2, 0.2}, {0.85, 0.85}, {2.55, 2.05}, {3.3, 2.8}}) {
    const auto located = sourceSecondsAt(audio, timeline, expected);
    ASSERT_TRUE(located) << "at " << timeline;
    EXPECT_NEAR(*located, expected, halfPacket) << "at " << timeline;
  }
  // The stretched range sounds throughout.
  for (double timeline = 1.05; timeline < 2.45; timeline += 0.1) {
    EXPECT_GT(rms(audio.channels[0], static_cast<size_t>(timeline * 48000), 2048), 0.05)
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
  auto composition = wholeMovie(*FileAsset::open(source));
  composition->scaleTimeRange(reading::secondsRange(0.25, 0.25), MediaTime::make(6000, 48000));
  const std::string path = savedPath("pcm.mov");
  const PassthroughWriteReport report = writePassthroughMovie(*composition, path);
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
    EXPECT_GT(rms(out, 13000, 4000), 0.05) << "the range sounds";
  }
}

TEST(PassthroughStretchedAudio, MonoSoundKeepsItsConfiguration) {
  // Source seconds 0.25...0.5 play over 0.5 s.
  auto asset = FileAsset::open(reading::signalSoundMovie(44100, 1, 2.0));
  const double seconds = asset->duration().seconds();
  ASSERT_GT(seconds, 0.95);
  auto composition = wholeMovie(*asset);
  composition->scaleTimeRange(reading::secondsRange(0.25, 0.25), MediaTime::make(1, 2));
  const std::string path = savedPath("mono.mov");
  writePassthroughMovie(*composition, path);

  const auto audio = testmedia::readAudio(path);
  ASSERT_EQ(audio.channels.size(), 1u);
  ASSERT_EQ(audio.sampleRate, 44100);
  EXPECT_NEAR(audio.sampleCount() / 44100.0, seconds + 0.25, 1024.0 / 44100);
  for (auto [timeline, expected] :
       std::vector<std::pair<double, double>>{{0.05, 0.05}, {0.8, 0.55}}) {
    const auto located = sourceSecondsAt(audio, timeline, expected);
    ASSERT_TRUE(located) << "at " << timeline;
    EXPECT_NEAR(*located, expected, 513.0 / 44100) << "at " << timeline;
  }
}

TEST(PassthroughStretchedAudio, SoundNoEncoderCanMatchIsEncodedWhole) {
  // Six channels cannot be rendered for a range without mixing them down: the whole track is
  // encoded again, and the report says why.
  auto asset = FileAsset::open(reading::signalSoundMovie(48000, 6, 2.0));
  const AssetTrack& track = *asset->tracksWithMediaType(MediaType::Audio).front();
  EXPECT_FALSE(PassthroughAudioRangeEncoder::reasonItCannotMatch(
                   *track.segments.front().source->codecParameters)
                   .empty());
  auto composition = wholeMovie(*asset);
  composition->scaleTimeRange(reading::secondsRange(0.25, 0.25), MediaTime::make(1, 2));
  const std::string path = savedPath("six-channels.mov");
  const PassthroughWriteReport report = writePassthroughMovie(*composition, path);
  ASSERT_EQ(report.reencodedTracks.size(), 1u);
  EXPECT_NE(report.reencodedTracks[0].find("more than two channels"), std::string::npos)
      << report.reencodedTracks[0];
  EXPECT_NEAR(testmedia::readAudio(path).sampleCount() / 48000.0,
              asset->duration().seconds() + 0.25, 0.03);

  auto stereo = FileAsset::open(reading::signalSoundMovie(48000, 2, 2.0));
  EXPECT_EQ(PassthroughAudioRangeEncoder::reasonItCannotMatch(
                *stereo->tracks().front().segments.front().source->codecParameters),
            "");
}

}  // namespace
}  // namespace reelcraft
