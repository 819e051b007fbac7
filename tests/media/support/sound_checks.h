#pragma once

// Helpers for tests that listen to decoded position signal: which source second plays where,
// and how loud.

#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "mediagen/media_reader.h"
#include "mediagen/position_signal.h"

namespace reelcraft::sound {

// The source second that `count` samples of position signal come from.
inline std::optional<double> sourceSecondsOf(const float* samples, size_t count, int rate,
                                             std::optional<double> hint = {}) {
  const auto location = testmedia::locatePositionSignal(samples, count, rate, hint);
  return location ? std::optional(location->seconds) : std::nullopt;
}

// The source second that channel 0 of `audio` plays at timeline second `timeline`.
inline std::optional<double> sourceSecondsAt(const testmedia::DecodedAudio& audio, double timeline,
                                             std::optional<double> hint = {}) {
  const long first = std::lround((timeline - audio.startSeconds) * audio.sampleRate);
  if (first < 0 || first + 4096 > static_cast<long>(audio.sampleCount())) return std::nullopt;
  return sourceSecondsOf(audio.channels[0].data() + first, 4096, audio.sampleRate, hint);
}

// Checks that `audio` plays each {timeline second, source second} pair to within `tolerance`.
inline void expectSourceSeconds(const testmedia::DecodedAudio& audio,
                                const std::vector<std::pair<double, double>>& timelineAndSource,
                                double tolerance) {
  for (auto [timeline, expected] : timelineAndSource) {
    const auto located = sourceSecondsAt(audio, timeline, expected);
    ASSERT_TRUE(located) << "at " << timeline;
    EXPECT_NEAR(*located, expected, tolerance) << "at " << timeline;
  }
}

inline double rms(const float* samples, size_t count) {
  double sum = 0;
  for (size_t i = 0; i < count; ++i) sum += double(samples[i]) * samples[i];
  return std::sqrt(sum / static_cast<double>(count));
}

}  // namespace reelcraft::sound
