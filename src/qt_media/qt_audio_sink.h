#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

#include <QAudioDevice>
#include <QThread>

#include "media/audio/pull_audio_sink.h"

namespace reelcraft {

// Plays a player's sound on the system's default audio output through QtMultimedia.
//
// A thread of its own takes the samples from the ring buffer that the player's audio thread
// fills (neither waits for the other) and hands them to the output. Each run opens a fresh
// output stream, so that what has been played counts from zero; the played count comes from
// the output's processed time, moved on smoothly between its updates and never beyond what
// the output has taken.
//
// With no output device, or for a sample rate the device cannot play, start() says no and the
// player keeps time on the system clock. Should opening the device fail after start() has said
// yes, that run is consumed on the system clock as a device would, and later runs say no.
//
// Create the sink on a thread that has a QCoreApplication (any thread once it exists); the
// sink may be destroyed on any thread but its own output thread.
class QtAudioSink : public PullAudioSink {
 public:
  explicit QtAudioSink(size_t capacityFrames = 9600);
  ~QtAudioSink() override;
  QtAudioSink(const QtAudioSink&) = delete;
  QtAudioSink& operator=(const QtAudioSink&) = delete;

  // Whether an output device was found when the sink was made.
  bool hasOutputDevice() const { return hasDevice_; }

  bool start(int sampleRate) override;
  void stop() override;
  void endOfStream() override;
  int64_t playedFrames() const override;

 private:
  class Output;
  friend class Output;
  using Clock = std::chrono::steady_clock;

  // What the output thread last learnt of how much of a run has been heard.
  struct HeardSample {
    uint64_t run = 0;
    int64_t frames = 0;
    Clock::time_point at;
    bool advancing = false;  // the output is playing, so the count moves on with time
  };

  bool canPlay(int sampleRate) const;
  void publishHeard(uint64_t run, int64_t frames, bool advancing);

  bool hasDevice_ = false;
  QAudioDevice device_;
  int minimumSampleRate_ = 0;
  int maximumSampleRate_ = 0;
  std::atomic<bool> deviceFailed_{false};
  // Counts every start() and stop(); the output thread ignores requests of runs gone by.
  std::atomic<uint64_t> run_{0};
  // The run whose samples have all been written.
  std::atomic<uint64_t> endedRun_{0};

  mutable std::mutex heardMutex_;
  HeardSample heard_;
  mutable int64_t lastReported_ = 0;  // keeps the count from going back within a run

  QThread thread_;
  Output* output_ = nullptr;  // lives on thread_
};

}  // namespace reelcraft
