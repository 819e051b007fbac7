#pragma once

// A deterministic test sound whose samples reveal their own time: a repeating linear chirp
// (300 → 3300 Hz every 0.25 s) gives sharp correlation peaks, and a slowly gliding tone
// (4000 → 6000 Hz over 20 s) tells which chirp period a block belongs to. Both are tonal, so
// lossy coders (AAC's noise substitution included) keep their waveform: AAC at 64 kbit/s
// stereo or more, which keeps everything up to 6 kHz, is located to within a sample. Times
// are unique within the first kPositionSignalCycle seconds; a hint resolves later times.

#include <cstddef>
#include <optional>

namespace reelcraft::testmedia {

constexpr double kPositionSignalCycle = 20.0;

// The signal's value at `seconds` from the start of the source; zero before the start.
float positionSignalValue(double seconds);

// `count` samples at `sampleRate`, the first at `startSeconds`.
void renderPositionSignal(double startSeconds, int sampleRate, float* out, size_t count);

struct SignalLocation {
  double seconds = 0;      // source time of the block's first sample
  double correlation = 0;  // normalised correlation with the ideal signal there (≤ 1)
};

// Where in the source a block of decoded samples (one channel, any rate of 16 kHz or more)
// comes from, to within a sample or so. Blocks of 2048 samples or more work best. Nothing
// when the block is silent or not this signal. `hintSeconds` picks among the cycles.
std::optional<SignalLocation> locatePositionSignal(const float* samples, size_t count,
                                                   int sampleRate,
                                                   std::optional<double> hintSeconds = {});

}  // namespace reelcraft::testmedia
