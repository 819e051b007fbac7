#include <gtest/gtest.h>

#include <chrono>
#include <numeric>
#include <thread>

#include "media/audio/audio_ring_buffer.h"
#include "media/audio/null_audio_sink.h"
#include "media/audio/pull_audio_sink.h"

namespace reelcraft {
namespace {

// Stereo frames whose samples count up from `first`: frame i is (first + 2i, first + 2i + 1).
std::vector<float> countingFrames(size_t frames, float first = 0) {
  std::vector<float> samples(frames * 2);
  std::iota(samples.begin(), samples.end(), first);
  return samples;
}

TEST(AudioRingBuffer, KeepsOrderAcrossTheWrapAndTakesOnlyWhatFits) {
  AudioRingBuffer ring(2, 8);
  const auto input = countingFrames(20);
  EXPECT_EQ(ring.write(input.data(), 6), 6u);
  std::vector<float> out(2 * 8);
  EXPECT_EQ(ring.read(out.data(), 4), 4u);
  EXPECT_EQ(std::vector<float>(out.begin(), out.begin() + 8),
            std::vector<float>(input.begin(), input.begin() + 8));

  // 2 frames left, 6 free: a write of 10 takes 6 and wraps around the end.
  EXPECT_EQ(ring.writableFrames(), 6u);
  EXPECT_EQ(ring.write(input.data() + 12, 10), 6u);
  EXPECT_EQ(ring.readableFrames(), 8u);
  EXPECT_EQ(ring.read(out.data(), 8, 0.5f), 8u);
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(out[i], input[8 + i] * 0.5f);
  for (size_t i = 4; i < 16; ++i) EXPECT_EQ(out[i], input[12 + i - 4] * 0.5f);
  EXPECT_EQ(ring.read(out.data(), 1), 0u);
  EXPECT_EQ(ring.framesWritten(), 12u);
  EXPECT_EQ(ring.framesRead(), 12u);
}

TEST(AudioRingBuffer, HandsEverySampleFromOneThreadToAnother) {
  AudioRingBuffer ring(2, 64);
  constexpr size_t kFrames = 50'000;
  const auto input = countingFrames(kFrames);
  std::thread producer([&] {
    size_t done = 0;
    while (done < kFrames) {
      done += ring.write(input.data() + done * 2, std::min<size_t>(37, kFrames - done));
      if (ring.writableFrames() == 0) std::this_thread::yield();
    }
  });
  std::vector<float> received;
  std::vector<float> block(2 * 29);
  while (received.size() < input.size()) {
    const size_t got = ring.read(block.data(), 29);
    received.insert(received.end(), block.begin(), block.begin() + got * 2);
    if (got == 0) std::this_thread::yield();
  }
  producer.join();
  EXPECT_EQ(received, input);
}

// A pull sink whose device is the test.
class TestPullSink : public PullAudioSink {
 public:
  using PullAudioSink::pull;
  using PullAudioSink::PullAudioSink;
};

TEST(PullAudioSink, PlaysOnlyTheCurrentRunWithItsVolume) {
  TestPullSink sink(16);
  const auto first = countingFrames(6, 1);
  const auto second = countingFrames(4, 100);
  std::vector<float> out(2 * 16);
  ASSERT_TRUE(sink.start(48000));
  EXPECT_EQ(sink.sampleRate(), 48000);
  sink.write(first.data(), 6);
  EXPECT_EQ(sink.pull(out.data(), 2), 2u);
  EXPECT_EQ(sink.playedFrames(), 2);

  // A new run drops what the last one left; its clock starts again from zero.
  sink.stop();
  EXPECT_EQ(sink.pull(out.data(), 2), 0u) << "a stopped sink plays nothing";
  ASSERT_TRUE(sink.start(48000));
  sink.write(second.data(), 4);
  EXPECT_EQ(sink.playedFrames(), 0);
  sink.setVolume(0.5);
  EXPECT_EQ(sink.pull(out.data(), 16), 4u);
  for (size_t i = 0; i < 8; ++i) EXPECT_EQ(out[i], second[i] * 0.5f);
  EXPECT_EQ(sink.playedFrames(), 4);
  for (const auto& [asked, kept] : {std::pair{7.0, 1.0}, {-1.0, 0.0}}) {
    sink.setVolume(asked);
    EXPECT_EQ(sink.volume(), kept);
  }
}

TEST(PullAudioSink, CountsEachDryStretchInsideARunOnce) {
  TestPullSink sink(64);
  const auto samples = countingFrames(8);
  std::vector<float> out(2 * 64);
  ASSERT_TRUE(sink.start(48000));
  EXPECT_EQ(sink.pull(out.data(), 8), 0u);
  EXPECT_EQ(sink.underrunCount(), 0) << "waiting for the first samples is no underrun";
  // {frames written, frames pulled} in turn: dry twice in a row is one underrun.
  for (const auto& [written, pulled] : {std::pair{8, 4}, {0, 8}, {0, 8}, {8, 8}, {2, 8}}) {
    sink.write(samples.data(), written);
    sink.pull(out.data(), pulled);
  }
  EXPECT_EQ(sink.underrunCount(), 2);
  sink.write(samples.data(), 8);
  sink.endOfStream();
  sink.pull(out.data(), 20);  // the run's end, not an underrun
  EXPECT_EQ(sink.underrunCount(), 2);
}

TEST(NullAudioSink, PlaysWhatItIsGivenAndNoMore) {
  NullAudioSink sink(48000);
  ASSERT_TRUE(sink.start(48000));
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(sink.playedFrames(), 0) << "nothing plays before the first samples";
  const auto samples = countingFrames(960);  // 20 ms
  ASSERT_EQ(sink.write(samples.data(), 960), 960u);
  std::this_thread::sleep_for(std::chrono::milliseconds(60));
  EXPECT_EQ(sink.playedFrames(), 960);
  EXPECT_EQ(sink.writableFrames(), 48000u);
  EXPECT_EQ(sink.underrunCount(), 1) << "it ran dry before the run's end";
  sink.stop();
  EXPECT_EQ(sink.playedFrames(), 0);
}

}  // namespace
}  // namespace reelcraft
