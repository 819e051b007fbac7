#include "mediagen/position_signal.h"

#include <gtest/gtest.h>

#include <cmath>

#include "mediagen/showcase_content.h"

namespace reelcraft::testmedia {
namespace {

std::vector<float> rendered(double start, int sampleRate, size_t count) {
  std::vector<float> samples(count);
  renderPositionSignal(start, sampleRate, samples.data(), count);
  return samples;
}

TEST(PositionSignal, LocatesBlocksToASampleAtAnyRate) {
  for (int rate : {16000, 22050, 44100, 48000, 96000}) {
    for (double start : {0.0, 0.01, 0.1249, 0.25, 1.0 / 3, 2.71828, 7.5, 19.7}) {
      const auto samples = rendered(start, rate, 4096);
      const auto location = locatePositionSignal(samples.data(), samples.size(), rate);
      ASSERT_TRUE(location) << rate << " Hz at " << start;
      EXPECT_NEAR(location->seconds, start, 0.25 / rate) << rate << " Hz";
      EXPECT_GT(location->correlation, 0.95);
    }
  }
  // Short and quiet.
  auto samples = rendered(1.234, 48000, 2048);
  for (float& sample : samples) sample *= 0.05f;
  const auto quiet = locatePositionSignal(samples.data(), samples.size(), 48000);
  ASSERT_TRUE(quiet);
  EXPECT_NEAR(quiet->seconds, 1.234, 1.0 / 48000);
  // Beginning before the start, found by its part after the start.
  std::vector<float> early(4096, 0.0f);
  renderPositionSignal(0, 48000, early.data() + 1000, early.size() - 1000);
  const auto location = locatePositionSignal(early.data(), early.size(), 48000);
  ASSERT_TRUE(location);
  EXPECT_NEAR(location->seconds, -1000.0 / 48000, 0.5 / 48000);
}

TEST(PositionSignal, HintChoosesTheCycle) {
  const double start = kPositionSignalCycle + 3.5;
  const auto samples = rendered(start, 48000, 4096);
  const auto unhinted = locatePositionSignal(samples.data(), samples.size(), 48000);
  ASSERT_TRUE(unhinted);
  EXPECT_NEAR(unhinted->seconds, 3.5, 1e-4);
  const auto hinted = locatePositionSignal(samples.data(), samples.size(), 48000, start - 1);
  ASSERT_TRUE(hinted);
  EXPECT_NEAR(hinted->seconds, start, 1e-4);
}

TEST(PositionSignal, FindsNothingInOtherSounds) {
  EXPECT_EQ(positionSignalValue(-0.001), 0.0f) << "silent before the start";
  EXPECT_EQ(positionSignalValue(-5), 0.0f);
  std::vector<float> silence(4096, 0.0f), melody(4096), tone(4096);
  for (size_t i = 0; i < 4096; ++i) {
    melody[i] = melodyValue(2 + i / 48000.0, 10, 0, 2);
    tone[i] = 0.5f * std::sin(i * 0.3);
  }
  for (const auto& other : {silence, melody, tone}) {
    EXPECT_FALSE(locatePositionSignal(other.data(), other.size(), 48000));
  }
  const auto samples = rendered(1.0, 8000, 4096);  // too low a rate to carry the signal
  EXPECT_FALSE(locatePositionSignal(samples.data(), samples.size(), 8000));
}

}  // namespace
}  // namespace reelcraft::testmedia
