#include "media/audio/composition_audio_source.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "media/model/stream_time.h"
#include "media/support/composition_reading.h"
#include "media/support/sound_checks.h"

namespace reelcraft {
namespace {

using reading::append;
using reading::compositionOf;
using reading::openVariant;
using reading::secondsRange;

constexpr int kRate = 48000;

// Everything a source gives from where it is, with the chunks' times checked on the way.
struct Rendered {
  std::vector<float> samples;  // interleaved stereo
  int rate = kRate;
  int64_t frameCount() const { return static_cast<int64_t>(samples.size() / 2); }

  std::vector<float> channel(size_t channel, int64_t first, size_t count) const {
    std::vector<float> result(count);
    for (size_t i = 0; i < count; ++i) result[i] = samples[(first + i) * 2 + channel];
    return result;
  }

  // The source second that the block of `count` samples from `seconds` on comes from.
  std::optional<double> sourceAt(double seconds, size_t channel = 0, size_t count = 4096) const {
    const auto block = this->channel(channel, std::lround(seconds * rate), count);
    return sound::sourceSecondsOf(block.data(), block.size(), rate);
  }
  double rms(size_t channel, int64_t first, size_t count) const {
    const auto block = this->channel(channel, first, count);
    return sound::rms(block.data(), block.size());
  }
};

Rendered renderAll(CompositionAudioSource& source, int chunkFrames = 4096) {
  Rendered rendered{{}, source.sampleRate()};
  while (auto chunk = source.read(chunkFrames)) {
    EXPECT_EQ(chunk->sampleRate, source.sampleRate());
    EXPECT_EQ(chunk->time, MediaTime::make(rendered.frameCount(), source.sampleRate()));
    EXPECT_LE(chunk->frameCount(), chunkFrames);
    rendered.samples.insert(rendered.samples.end(), chunk->samples.begin(), chunk->samples.end());
  }
  return rendered;
}

// The strongest frequency between `low` and `high` Hz in a Hann-windowed block.
double dominantFrequency(const std::vector<float>& block, double low, double high) {
  double bestFrequency = 0, bestPower = -1;
  for (double f = low; f <= high; f += 5) {
    double re = 0, im = 0;
    for (size_t i = 0; i < block.size(); ++i) {
      const double window = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * i / (block.size() - 1));
      re += window * block[i] * std::cos(2 * std::numbers::pi * f * i / kRate);
      im += window * block[i] * std::sin(2 * std::numbers::pi * f * i / kRate);
    }
    if (re * re + im * im > bestPower) {
      bestPower = re * re + im * im;
      bestFrequency = f;
    }
  }
  return bestFrequency;
}

TEST(CompositionAudio, EditsPlaceEverySegmentExactlyAndGapsAreSilent) {
  const auto asset = openVariant("h264-aac-mov");
  auto composition = compositionOf(*asset, secondsRange(0.5, 1.0));
  append(*composition, *asset, secondsRange(2.0, 0.6));
  append(*composition, *asset, secondsRange(0.1, 0.3));
  composition->insertEmptyTimeRange(secondsRange(1.25, 0.5));
  // Pieces of 1.0 s from 0.5, 0.25 s from 2.0, 0.5 s of nothing, 0.35 s from 2.25 and 0.3 s
  // from 0.1; chunks smaller than the decoder's frames.
  const auto source = CompositionAudioSource::create(composition);
  EXPECT_EQ(source->frameCount(), std::lround(2.4 * kRate));
  const Rendered rendered = renderAll(*source, 1000);
  ASSERT_EQ(rendered.frameCount(), std::lround(2.4 * kRate));
  for (const auto& [t, expected] : {std::pair{0.0, 0.5},
                                    {0.6, 1.1},
                                    {1.05, 2.05},
                                    {1.8, 2.3},
                                    {1.95, 2.45},
                                    {2.15, 0.15},
                                    {2.3, 0.3}}) {
    for (size_t channel : {0, 1}) {
      const auto location = rendered.sourceAt(t, channel);
      ASSERT_TRUE(location) << t;
      EXPECT_NEAR(*location, expected, 1.5 / kRate) << t;
    }
  }
  // The gap is silent to its exact samples, and sound resumes on the next one.
  for (int64_t i = 60'000 * 2; i < 84'000 * 2; ++i) ASSERT_EQ(rendered.samples[i], 0.0f) << i;
  EXPECT_NE(rendered.samples[59'999 * 2], 0.0f);
  EXPECT_NE(rendered.samples[84'000 * 2], 0.0f);
}

TEST(CompositionAudio, TracksShorterThanTheMovieEndInSilence) {
  auto composition = compositionOf(*openVariant("h264-aac-mov"), secondsRange(0, 1));
  append(*composition, *openVariant("video-only-mp4"), secondsRange(0, 2));
  const Rendered rendered = renderAll(*CompositionAudioSource::create(composition));
  ASSERT_EQ(rendered.frameCount(), 3 * kRate);
  EXPECT_GT(rendered.rms(0, kRate - 4096, 4096), 0.1);
  EXPECT_EQ(rendered.rms(0, kRate, 2 * kRate), 0.0);
}

TEST(CompositionAudio, ManyOddSegmentsAddUpToTheExactTotalWithoutDrift) {
  const testmedia::Rational ntsc{30000, 1001};
  const auto asset = openVariant("ntsc-h264-aac-mov");
  auto composition = MutableComposition::create();
  // 40 pieces of 7 NTSC frames each (7007/30000 s, 11211.2 samples) from alternating places.
  for (int i = 0; i < 40; ++i) {
    append(*composition, *asset, reading::frameRange(i % 2 == 0 ? 0 : 21, 7, ntsc));
  }
  const MediaTime total = composition->duration();
  EXPECT_EQ(total, MediaTime::make(40 * 7007, 30000));
  for (int rate : {48000, 44100}) {
    SCOPED_TRACE(rate);
    const Rendered rendered = renderAll(*CompositionAudioSource::create(composition, rate), 3000);
    EXPECT_EQ(rendered.frameCount(), samplePosition(total, rate));
    EXPECT_EQ(rendered.frameCount(), std::llround(total.seconds() * rate));
    // The last pieces are where accumulated rounding would show.
    for (int piece : {37, 38, 39}) {
      const auto location = rendered.sourceAt(piece * 7007.0 / 30000 + 0.01, 0, 2048);
      ASSERT_TRUE(location) << piece;
      EXPECT_NEAR(*location, (piece % 2 == 0 ? 0 : 21 * 1001.0 / 30000) + 0.01, 2.0 / rate)
          << piece;
    }
  }
}

TEST(CompositionAudio, MonoAndSurroundSourcesBecomeStereo) {
  for (const auto& [rate, channels] : {std::pair{44100, 1}, std::pair{48000, 6}}) {
    SCOPED_TRACE(std::to_string(channels) + " channels at " + std::to_string(rate));
    const auto asset = FileAsset::open(reading::signalSoundMovie(rate, channels, 1.0));
    const Rendered rendered = renderAll(*CompositionAudioSource::create(reading::wholeOf(*asset)));
    EXPECT_EQ(rendered.frameCount(), samplePosition(asset->duration(), kRate));
    for (double t : {1000.0 / kRate, 30'000.0 / kRate}) {
      for (size_t channel : {0, 1}) {
        const auto location = rendered.sourceAt(t, channel);
        ASSERT_TRUE(location) << t << " channel " << channel;
        EXPECT_NEAR(*location, t, 2.0 / kRate);
      }
    }
    // Mono plays at its own level on both sides.
    if (channels == 1) {
      EXPECT_EQ(rendered.channel(0, 0, kRate / 2), rendered.channel(1, 0, kRate / 2));
      EXPECT_GT(rendered.rms(0, 0, kRate / 2), 0.25);
    }
  }
}

TEST(CompositionAudio, ScaledSegmentsTakeTheirNewLengthAndKeepTheirPitch) {
  const auto asset = openVariant("h264-aac-mov");
  for (double factor : {2.0, 0.5, 0.25}) {
    SCOPED_TRACE(factor);
    // 0.4 s of plain sound, then 1 s of source played over `factor` s, then plain again.
    auto composition = compositionOf(*asset, secondsRange(0, 3));
    composition->scaleTimeRange(secondsRange(0.4, 1.0), MediaTime::fromSeconds(factor, 1000));
    const Rendered rendered = renderAll(*CompositionAudioSource::create(composition));
    ASSERT_EQ(rendered.frameCount(), std::lround((2.0 + factor) * kRate));

    // Inside the scaled piece the gliding tone (4 kHz rising by 100 Hz a second) has the
    // frequency of its source time.
    const int64_t middle = std::lround((0.4 + factor / 2) * kRate) - 2048;
    EXPECT_NEAR(dominantFrequency(rendered.channel(0, middle, 4096), 3600, 9000), 4090,
                0.03 * 4090);

    // The chirp (300 Hz rising by 12 kHz a second, from the start of every quarter second)
    // shows which source time plays: the piece really is stretched, not cut or padded.
    if (factor >= 0.5) {
      for (double fraction : {0.2, 0.8}) {
        const int64_t at = std::lround((0.4 + fraction * factor) * kRate) - 256;
        const double expected = 300 + 12000 * std::fmod(0.4 + fraction, 0.25);
        EXPECT_NEAR(dominantFrequency(rendered.channel(0, at, 512), 200, 3400), expected, 200)
            << fraction;
      }
    }

    // The sound after it is in place again.
    const auto location = rendered.sourceAt(0.4 + factor + 0.05);
    ASSERT_TRUE(location);
    EXPECT_NEAR(*location, 1.45, 1.5 / kRate);
  }
}

TEST(CompositionAudio, SeeksResumeWhereContinuousPlaybackWouldBe) {
  const auto asset = openVariant("h264-aac-mov");
  auto composition = compositionOf(*asset, secondsRange(0.3, 1.2));
  append(*composition, *asset, secondsRange(1.9, 1.0));
  append(*composition, *openVariant("h264-aac-mp4"), secondsRange(0.2, 0.8));
  composition->removeTimeRange(secondsRange(1.0, 0.4));
  const auto source = CompositionAudioSource::create(composition);
  const Rendered whole = renderAll(*source);

  std::mt19937 random(3);
  for (int attempt = 0; attempt < 12; ++attempt) {
    const int64_t position =
        std::uniform_int_distribution<int64_t>(0, whole.frameCount() - 1)(random);
    SCOPED_TRACE(position);
    source->seek(MediaTime::make(position, kRate));
    EXPECT_EQ(source->currentTime(), MediaTime::make(position, kRate));
    const auto chunk = source->read(2048);
    ASSERT_TRUE(chunk);
    EXPECT_EQ(chunk->time, MediaTime::make(position, kRate));
    const int64_t n = std::min<int64_t>(chunk->frameCount(), whole.frameCount() - position);
    // The same waveform: AAC's noise substitution draws on the decoder's history, so
    // decoding from elsewhere matches closely, not bit for bit. A shift by one sample would
    // differ by about 0.25.
    float worst = 0;
    for (int64_t i = 0; i < 2 * n; ++i) {
      worst = std::max(worst, std::fabs(chunk->samples[i] - whole.samples[2 * position + i]));
    }
    EXPECT_LT(worst, 0.02);
  }
  source->seek(composition->duration());
  EXPECT_FALSE(source->read());
}

TEST(CompositionAudio, SeveralTracksAreSummed) {
  const auto asset = openVariant("two-audio-mov");  // the same signal at 48 kHz and 44.1 kHz
  const auto composition = compositionOf(*asset, secondsRange(0, 2));
  const Rendered mixed = renderAll(*CompositionAudioSource::create(composition));
  const Rendered single = renderAll(*CompositionAudioSource::create(
      {*composition->tracksWithMediaType(MediaType::Audio)[0]}, composition->duration()));
  ASSERT_EQ(mixed.frameCount(), single.frameCount());
  EXPECT_NEAR(mixed.rms(0, 10'000, 40'000) / single.rms(0, 10'000, 40'000), 2.0, 0.1);
}

TEST(CompositionAudio, AnEmptyCompositionHasNoSound) {
  const auto source = CompositionAudioSource::create(MutableComposition::create());
  EXPECT_EQ(source->frameCount(), 0);
  EXPECT_FALSE(source->read());
  EXPECT_THROW(CompositionAudioSource::create(MutableComposition::create(), 0),
               std::invalid_argument);
}

}  // namespace
}  // namespace reelcraft
