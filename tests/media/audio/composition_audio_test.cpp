#include "media/audio/composition_audio_source.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "media/support/composition_reading.h"
#include "media/model/stream_time.h"
#include "mediagen/position_signal.h"

namespace reelcraft {
namespace {

using reading::append;
using reading::compositionOf;
using reading::openVariant;
using reading::secondsRange;

constexpr int kRate = 48000;
constexpr size_t kBlock = 4096;

// Everything a source gives from where it is, with the chunks' times checked on the way.
struct Rendered {
  std::vector<float> samples;  // interleaved stereo
  int64_t frameCount() const { return static_cast<int64_t>(samples.size() / 2); }

  std::vector<float> channel(size_t channel, int64_t first, size_t count) const {
    std::vector<float> result(count);
    for (size_t i = 0; i < count; ++i) result[i] = samples[(first + i) * 2 + channel];
    return result;
  }
};

Rendered renderAll(CompositionAudioSource& source, int chunkFrames = 4096) {
  Rendered rendered;
  while (auto chunk = source.read(chunkFrames)) {
    EXPECT_EQ(chunk->sampleRate, source.sampleRate());
    EXPECT_EQ(chunk->time, MediaTime::make(rendered.frameCount(), source.sampleRate()));
    EXPECT_LE(chunk->frameCount(), chunkFrames);
    rendered.samples.insert(rendered.samples.end(), chunk->samples.begin(), chunk->samples.end());
  }
  return rendered;
}

// The source second that the block of `kBlock` samples from `first` on comes from.
std::optional<double> locate(const Rendered& rendered, int64_t first, size_t channel = 0,
                             int rate = kRate) {
  const auto block = rendered.channel(channel, first, kBlock);
  const auto location = testmedia::locatePositionSignal(block.data(), block.size(), rate);
  if (!location) return std::nullopt;
  return location->seconds;
}

// Where the output sample at `seconds` on the timeline should come from, for a composition of
// unscaled pieces laid end to end.
struct Piece {
  double sourceStart;
  double duration;
};
double expectedSource(const std::vector<Piece>& pieces, double seconds) {
  double start = 0;
  for (const Piece& piece : pieces) {
    if (seconds < start + piece.duration) return piece.sourceStart + (seconds - start);
    start += piece.duration;
  }
  return -1;
}

double rms(const std::vector<float>& samples) {
  double sum = 0;
  for (float s : samples) sum += double(s) * s;
  return std::sqrt(sum / samples.size());
}

// The strongest frequency between `low` and `high` Hz in a Hann-windowed block.
double dominantFrequency(const std::vector<float>& block, int rate, double low, double high) {
  double bestFrequency = 0, bestPower = -1;
  for (double f = low; f <= high; f += 5) {
    double re = 0, im = 0;
    for (size_t i = 0; i < block.size(); ++i) {
      const double window = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * i / (block.size() - 1));
      const double phase = 2 * std::numbers::pi * f * i / rate;
      re += window * block[i] * std::cos(phase);
      im += window * block[i] * std::sin(phase);
    }
    if (re * re + im * im > bestPower) {
      bestPower = re * re + im * im;
      bestFrequency = f;
    }
  }
  return bestFrequency;
}

// The frequency of the position signal's chirp at a source time.
double chirpFrequency(double sourceSeconds) {
  return 300 + 12000 * std::fmod(sourceSeconds, 0.25);
}

// The frequency of the position signal's gliding tone at a source time.
double glideFrequency(double sourceSeconds) {
  return 4000 + 100 * sourceSeconds;
}

TEST(CompositionAudio, AWholeTrackPlaysEverySampleInPlace) {
  const auto asset = openVariant("h264-aac-mov");
  const auto source = CompositionAudioSource::create(
      compositionOf(*asset, TimeRange::make(MediaTime::zero(), asset->duration())));
  EXPECT_EQ(source->frameCount(), 3 * kRate);
  const Rendered rendered = renderAll(*source, 1000);
  ASSERT_EQ(rendered.frameCount(), 3 * kRate);
  for (int64_t first : {0, 12'345, 70'000, 3 * kRate - 4096}) {
    for (size_t channel : {0, 1}) {
      const auto location = locate(rendered, first, channel);
      ASSERT_TRUE(location) << first;
      EXPECT_NEAR(*location, double(first) / kRate, 1.5 / kRate) << first;
    }
  }
}

TEST(CompositionAudio, EditsPlaceEverySegmentExactlyAndGapsAreSilent) {
  const auto asset = openVariant("h264-aac-mov");
  auto composition = compositionOf(*asset, secondsRange(0.5, 1.0));
  append(*composition, *asset, secondsRange(2.0, 0.6));
  append(*composition, *asset, secondsRange(0.1, 0.3));
  composition->insertEmptyTimeRange(secondsRange(1.25, 0.5));
  const std::vector<Piece> pieces = {{0.5, 1.0}, {2.0, 0.25}, {-1, 0.5}, {2.25, 0.35}, {0.1, 0.3}};

  const auto source = CompositionAudioSource::create(composition);
  const Rendered rendered = renderAll(*source);
  ASSERT_EQ(rendered.frameCount(), std::lround(2.4 * kRate));

  // Blocks well inside each piece.
  for (double t : {0.0, 0.6, 1.05, 1.8, 1.95, 2.15, 2.3}) {
    const int64_t first = std::lround(t * kRate);
    const auto location = locate(rendered, first);
    ASSERT_TRUE(location) << t;
    EXPECT_NEAR(*location, expectedSource(pieces, t), 1.5 / kRate) << t;
  }
  // The gap is silent to its exact samples, and sound resumes on the next one.
  for (int64_t i = 60'000; i < 84'000; ++i) {
    ASSERT_EQ(rendered.samples[i * 2], 0.0f) << i;
    ASSERT_EQ(rendered.samples[i * 2 + 1], 0.0f) << i;
  }
  EXPECT_NE(rendered.samples[59'999 * 2], 0.0f);
  EXPECT_NE(rendered.samples[84'000 * 2], 0.0f);
}

TEST(CompositionAudio, TracksShorterThanTheMovieEndInSilence) {
  const auto withSound = openVariant("h264-aac-mov");
  const auto silentMovie = openVariant("video-only-mp4");  // 2 s of picture only
  auto composition = compositionOf(*withSound, secondsRange(0, 1));
  append(*composition, *silentMovie, secondsRange(0, 2));
  const auto source = CompositionAudioSource::create(composition);
  const Rendered rendered = renderAll(*source);
  ASSERT_EQ(rendered.frameCount(), 3 * kRate);
  EXPECT_GT(rms(rendered.channel(0, kRate - kBlock, kBlock)), 0.1);
  EXPECT_EQ(rms(rendered.channel(0, kRate, 2 * kRate)), 0.0);
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
    const auto source = CompositionAudioSource::create(composition, rate);
    const Rendered rendered = renderAll(*source, 3000);
    EXPECT_EQ(rendered.frameCount(), samplePosition(total, rate));
    EXPECT_EQ(rendered.frameCount(), std::llround(total.seconds() * rate));
    // The last pieces are where accumulated rounding would show.
    const double pieceSeconds = 7007.0 / 30000;
    for (int piece : {37, 38, 39}) {
      const double t = piece * pieceSeconds + 0.01;
      const int64_t first = std::lround(t * rate);
      const auto block = rendered.channel(0, first, 2048);
      const auto location = testmedia::locatePositionSignal(block.data(), block.size(), rate);
      ASSERT_TRUE(location) << piece;
      EXPECT_NEAR(location->seconds, (piece % 2 == 0 ? 0 : 21 * 1001.0 / 30000) + 0.01, 2.0 / rate)
          << piece;
    }
  }
}

TEST(CompositionAudio, MonoAndSurroundSourcesBecomeStereo) {
  for (const auto& [rate, channels] : {std::pair{44100, 1}, std::pair{48000, 6}}) {
    SCOPED_TRACE(std::to_string(channels) + " channels at " + std::to_string(rate));
    const auto asset = FileAsset::open(reading::signalSoundMovie(rate, channels, 1.0));
    const auto source = CompositionAudioSource::create(
        compositionOf(*asset, TimeRange::make(MediaTime::zero(), asset->duration())));
    const Rendered rendered = renderAll(*source);
    EXPECT_EQ(rendered.frameCount(), samplePosition(asset->duration(), kRate));
    for (int64_t first : {int64_t{1000}, int64_t{30'000}}) {
      for (size_t channel : {0, 1}) {
        const auto location = locate(rendered, first, channel);
        ASSERT_TRUE(location) << first << " channel " << channel;
        EXPECT_NEAR(*location, double(first) / kRate, 2.0 / kRate) << first;
      }
    }
    // Mono plays at its own level on both sides.
    if (channels == 1) {
      EXPECT_EQ(rendered.channel(0, 0, kRate / 2), rendered.channel(1, 0, kRate / 2));
      EXPECT_GT(rms(rendered.channel(0, 0, kRate / 2)), 0.25);
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
    const auto source = CompositionAudioSource::create(composition);
    const Rendered rendered = renderAll(*source);
    const double scaledEnd = 0.4 + factor;
    ASSERT_EQ(rendered.frameCount(), std::lround((2.0 + factor) * kRate));

    // Inside the scaled piece the gliding tone has the frequency of its source time.
    const double middle = 0.4 + factor / 2;
    const int64_t first = std::lround(middle * kRate) - 2048;
    const double frequency = dominantFrequency(rendered.channel(0, first, 4096), kRate, 3600, 9000);
    EXPECT_NEAR(frequency, glideFrequency(0.9), 0.03 * glideFrequency(0.9));

    // The chirp (300 Hz rising by 12 kHz a second, from the start of every quarter second)
    // shows which source time plays: the piece really is stretched, not cut or padded.
    if (factor >= 0.5) {
      for (double fraction : {0.2, 0.8}) {
        const int64_t at = std::lround((0.4 + fraction * factor) * kRate) - 256;
        const double measured = dominantFrequency(rendered.channel(0, at, 512), kRate, 200, 3400);
        EXPECT_NEAR(measured, chirpFrequency(0.4 + fraction), 200) << fraction;
      }
    }

    // The sound after it is in place again.
    const int64_t after = std::lround((scaledEnd + 0.05) * kRate);
    const auto location = locate(rendered, after);
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
    double worst = 0;
    for (int64_t i = 0; i < n; ++i) {
      for (int64_t c = 0; c < 2; ++c) {
        worst = std::max(worst, double(std::fabs(chunk->samples[i * 2 + c] -
                                                 whole.samples[(position + i) * 2 + c])));
      }
    }
    EXPECT_LT(worst, 0.02);
  }
  source->seek(composition->duration());
  EXPECT_FALSE(source->read());
}

TEST(CompositionAudio, SeveralTracksAreSummed) {
  const auto asset = openVariant("two-audio-mov");  // the same signal at 48 kHz and 44.1 kHz
  const auto composition = compositionOf(*asset, secondsRange(0, 2));
  const auto both = CompositionAudioSource::create(composition);
  const auto first = CompositionAudioSource::create(
      {*composition->tracksWithMediaType(MediaType::Audio)[0]}, composition->duration());
  const Rendered mixed = renderAll(*both);
  const Rendered single = renderAll(*first);
  ASSERT_EQ(mixed.frameCount(), single.frameCount());
  const double ratio =
      rms(mixed.channel(0, 10'000, 40'000)) / rms(single.channel(0, 10'000, 40'000));
  EXPECT_NEAR(ratio, 2.0, 0.1);
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
