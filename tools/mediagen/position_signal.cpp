#include "mediagen/position_signal.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <numeric>
#include <vector>

#include "media/ffmpeg/av_handles.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace reelcraft::testmedia {
namespace {

constexpr double kChirpPeriod = 0.25;
constexpr double kChirpLow = 300;
constexpr double kChirpSweep = 12000;  // Hz per second: 300 → 3300 Hz in one period
constexpr double kGlideLow = 4000;
constexpr double kGlideRate = 100;  // Hz per second: 4000 → 6000 Hz in one cycle
constexpr double kChirpLevel = 0.35;
constexpr double kGlideLevel = 0.2;
// Both phases are whole numbers of turns at the ends of their periods (450 and 100000), so
// the signal is continuous where they wrap.

constexpr size_t kMaxCorrelationLength = 4096;
constexpr double kSearchHalfWidth = 0.12;  // less than half a chirp period
constexpr double kMinCorrelation = 0.6;

double wrappedSine(double turns) {
  return std::sin(2 * std::numbers::pi * (turns - std::floor(turns)));
}

// Memory from av_malloc: FFmpeg's FFT assembly needs its SIMD alignment (FFmpeg 5.1 ignores
// AV_TX_UNALIGNED there).
template <typename T>
struct FFmpegAllocator {
  using value_type = T;
  FFmpegAllocator() = default;
  template <typename U>
  FFmpegAllocator(const FFmpegAllocator<U>&) {}
  T* allocate(size_t n) {
    void* memory = av_malloc_array(n, sizeof(T));
    if (!memory) throw std::bad_alloc();
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, size_t) { av_free(memory); }
  friend bool operator==(const FFmpegAllocator&, const FFmpegAllocator&) { return true; }
};
using ComplexSignal = std::vector<std::complex<float>, FFmpegAllocator<std::complex<float>>>;

// Complex FFT of `data` in place (inverse when `inverse`; unnormalised).
void fourierTransform(ComplexSignal& data, bool inverse) {
  AVTXContext* raw = nullptr;
  av_tx_fn transform = nullptr;
  const float scale = 1.0f;
  if (av_tx_init(&raw, &transform, AV_TX_FLOAT_FFT, inverse, static_cast<int>(data.size()), &scale,
                 0) < 0) {
    throw std::bad_alloc();
  }
  TxContextPtr context(raw);
  ComplexSignal output(data.size());
  transform(context.get(), output.data(), data.data(), sizeof(std::complex<float>));
  data.swap(output);
}

size_t powerOfTwoAtLeast(size_t n) {
  size_t size = 1;
  while (size < n) size *= 2;
  return size;
}

// Peak offset in (-0.5, 0.5) of a parabola through three neighbouring values.
double parabolicPeak(double before, double at, double after) {
  const double curvature = before - 2 * at + after;
  if (curvature >= 0) return 0;
  return std::clamp(0.5 * (before - after) / curvature, -0.5, 0.5);
}

// The frequency of the gliding tone in the first samples of the block.
std::optional<double> glideFrequency(const float* samples, size_t count, int sampleRate,
                                     size_t& windowLength) {
  windowLength = std::min<size_t>(4096, powerOfTwoAtLeast(count + 1) / 2);
  if (windowLength < 512) return std::nullopt;
  ComplexSignal spectrum(windowLength);
  for (size_t i = 0; i < windowLength; ++i) {
    const double hann = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * i / windowLength);
    spectrum[i] = static_cast<float>(samples[i] * hann);
  }
  fourierTransform(spectrum, false);
  const double binWidth = static_cast<double>(sampleRate) / windowLength;
  const auto firstBin = static_cast<size_t>((kGlideLow - 100) / binWidth);
  const auto lastBin =
      static_cast<size_t>((kGlideLow + kGlideRate * kPositionSignalCycle + 100) / binWidth);
  if (lastBin + 1 >= windowLength / 2) return std::nullopt;
  size_t peak = firstBin;
  for (size_t bin = firstBin; bin <= lastBin; ++bin) {
    if (std::abs(spectrum[bin]) > std::abs(spectrum[peak])) peak = bin;
  }
  if (peak == firstBin || peak == lastBin) return std::nullopt;
  const auto logMagnitude = [&](size_t bin) { return std::log(std::abs(spectrum[bin]) + 1e-12); };
  const double offset =
      parabolicPeak(logMagnitude(peak - 1), logMagnitude(peak), logMagnitude(peak + 1));
  return (peak + offset) * binWidth;
}

}  // namespace

float positionSignalValue(double seconds) {
  if (seconds < 0) return 0;
  const double inChirp = std::fmod(seconds, kChirpPeriod);
  const double inGlide = std::fmod(seconds, kPositionSignalCycle);
  const double chirpTurns = kChirpLow * inChirp + 0.5 * kChirpSweep * inChirp * inChirp;
  const double glideTurns = kGlideLow * inGlide + 0.5 * kGlideRate * inGlide * inGlide;
  return static_cast<float>(kChirpLevel * wrappedSine(chirpTurns) +
                            kGlideLevel * wrappedSine(glideTurns));
}

void renderPositionSignal(double startSeconds, int sampleRate, float* out, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    out[i] = positionSignalValue(startSeconds + static_cast<double>(i) / sampleRate);
  }
}

std::optional<SignalLocation> locatePositionSignal(const float* samples, size_t count,
                                                   int sampleRate,
                                                   std::optional<double> hintSeconds) {
  if (sampleRate < 16000 || count < 512) return std::nullopt;
  const size_t length = std::min(count, kMaxCorrelationLength);
  const double blockEnergy = std::inner_product(samples, samples + length, samples, 0.0);
  if (blockEnergy < length * 1e-4) return std::nullopt;  // silence

  // Coarse: the gliding tone's pitch gives the time of the analysis window's middle.
  size_t windowLength = 0;
  const auto frequency = glideFrequency(samples, count, sampleRate, windowLength);
  if (!frequency) return std::nullopt;
  double coarse = (*frequency - kGlideLow) / kGlideRate - 0.5 * windowLength / sampleRate;
  if (hintSeconds) {
    coarse += kPositionSignalCycle * std::round((*hintSeconds - coarse) / kPositionSignalCycle);
  }

  // Fine: correlate with the ideal signal around the coarse time.
  const double referenceStart = coarse - kSearchHalfWidth;
  const size_t lagCount = static_cast<size_t>(2 * kSearchHalfWidth * sampleRate) + 1;
  const size_t referenceLength = lagCount + length - 1;
  std::vector<float> reference(referenceLength);
  renderPositionSignal(referenceStart, sampleRate, reference.data(), referenceLength);

  const size_t fftLength = powerOfTwoAtLeast(referenceLength + length);
  ComplexSignal block(fftLength), ideal(fftLength);
  std::copy(samples, samples + length, block.begin());
  std::copy(reference.begin(), reference.end(), ideal.begin());
  fourierTransform(block, false);
  fourierTransform(ideal, false);
  for (size_t i = 0; i < fftLength; ++i) ideal[i] *= std::conj(block[i]);
  fourierTransform(ideal, true);  // ideal[lag] = Σ block[i] · reference[lag + i] × fftLength

  std::vector<double> energyPrefix(referenceLength + 1, 0.0);
  for (size_t i = 0; i < referenceLength; ++i) {
    energyPrefix[i + 1] = energyPrefix[i] + double{reference[i]} * reference[i];
  }
  std::vector<double> normalised(lagCount, 0.0);
  for (size_t lag = 0; lag < lagCount; ++lag) {
    const double referenceEnergy = energyPrefix[lag + length] - energyPrefix[lag];
    if (referenceEnergy <= 0) continue;
    normalised[lag] = ideal[lag].real() / fftLength / std::sqrt(blockEnergy * referenceEnergy);
  }
  const size_t best = static_cast<size_t>(std::max_element(normalised.begin(), normalised.end()) -
                                          normalised.begin());
  if (normalised[best] < kMinCorrelation) return std::nullopt;
  // Between samples: the top of a parabola through the peak and its neighbours.
  double lag = static_cast<double>(best);
  double peak = normalised[best];
  if (best > 0 && best + 1 < lagCount) {
    const double before = normalised[best - 1];
    const double after = normalised[best + 1];
    const double offset = parabolicPeak(before, peak, after);
    lag += offset;
    peak -= 0.25 * (before - after) * offset;
  }
  return SignalLocation{referenceStart + lag / sampleRate, std::min(peak, 1.0)};
}

}  // namespace reelcraft::testmedia
