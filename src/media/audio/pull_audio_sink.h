#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "media/audio/audio_ring_buffer.h"
#include "media/audio/audio_sink.h"

namespace reelcraft {

// An audio sink whose output device asks for samples (a pull-mode device whose callback must
// never block): the player's audio thread fills a ring buffer, and the device's thread takes
// from it with pull(). A subclass wires pull() to its device and may override start() and
// stop() (calling these) to open and close it; both must return without waiting for the
// device's thread.
class PullAudioSink : public AudioSink {
 public:
  // `capacityFrames`: how much the ring buffer holds, which is also the most the player can
  // have written ahead of what is being heard.
  explicit PullAudioSink(size_t capacityFrames = 9600);

  bool start(int sampleRate) override;
  void stop() override;
  size_t write(const float* samples, size_t frames) override;
  size_t writableFrames() const override;
  void endOfStream() override;
  int64_t playedFrames() const override;
  int64_t underrunCount() const override;
  void setVolume(double volume) override;
  double volume() const override;

  // The rate of the current (or last) run; 0 before the first start().
  int sampleRate() const { return sampleRate_.load(std::memory_order_acquire); }

 protected:
  // Device side: gives up to `frames` frames of the current run, with the volume applied,
  // into `out` (or drops them when `out` is null) and returns how many it gave. Never blocks.
  // Samples of earlier runs are skipped. Running short in a run that has begun playing and
  // has not reached its end counts one underrun (however long the sink then stays dry).
  size_t pull(float* out, size_t frames);
  // Device side: whether the current run has samples waiting.
  bool hasFramesToPlay();

 private:
  void skipEarlierRuns();

  AudioRingBuffer ring_;
  // The ring's write position where the current run begins; everything before it is stale.
  std::atomic<uint64_t> runStart_{0};
  std::atomic<bool> running_{false};
  std::atomic<bool> ended_{false};
  std::atomic<int> sampleRate_{0};
  std::atomic<float> volume_{1.0f};
  std::atomic<int64_t> underruns_{0};
  // Device side only: whether the sink has run dry, and in which run.
  bool dry_ = false;
  uint64_t dryRunStart_ = UINT64_MAX;
};

}  // namespace reelcraft
