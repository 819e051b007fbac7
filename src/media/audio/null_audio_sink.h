#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>

#include "media/audio/pull_audio_sink.h"

namespace reelcraft {

// A sink without a device, for machines that have none and for tests: it takes samples from
// its buffer at the run's sample rate on the system's steady clock, so playback keeps its
// proper speed, and throws them away. There is no thread: the samples the device would have
// taken by now are taken whenever the sink is asked about its state.
class NullAudioSink : public PullAudioSink {
 public:
  using PullAudioSink::PullAudioSink;

  bool start(int sampleRate) override;
  void stop() override;
  size_t write(const float* samples, size_t frames) override;
  size_t writableFrames() const override;
  int64_t playedFrames() const override;

 private:
  using Clock = std::chrono::steady_clock;

  // Takes what an imaginary device playing since the last call would have taken.
  void advance() const;

  mutable std::mutex mutex_;
  mutable bool playing_ = false;
  mutable Clock::time_point lastAdvance_;
  // Nanosecond-frames owed but not yet a whole frame (elapsed ns × rate mod 1e9).
  mutable int64_t remainder_ = 0;
};

}  // namespace reelcraft
