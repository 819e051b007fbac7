#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace reelcraft {

// A fixed-size queue of interleaved float audio frames between one producer thread and one
// consumer thread. Neither side ever blocks or allocates: write() takes what fits, read()
// hands out what is there. Either role may move between threads as long as its calls never
// overlap (a lock around the consumer's calls is enough, say).
class AudioRingBuffer {
 public:
  AudioRingBuffer(int channels, size_t capacityFrames);
  AudioRingBuffer(const AudioRingBuffer&) = delete;
  AudioRingBuffer& operator=(const AudioRingBuffer&) = delete;

  int channels() const { return channels_; }
  size_t capacityFrames() const { return capacity_; }

  // Producer side: copies up to `frames` frames from `samples`; returns how many it took.
  size_t write(const float* samples, size_t frames);
  size_t writableFrames() const;

  // Consumer side: copies up to `frames` frames into `out` (scaled by `gain`); returns how
  // many it gave.
  size_t read(float* out, size_t frames, float gain = 1.0f);
  // Consumer side: drops up to `frames` frames; returns how many it dropped.
  size_t skip(size_t frames);
  size_t readableFrames() const;

  // Frames written and read since the buffer was made. framesWritten() is exact on the
  // producer's thread, framesRead() on the consumer's; elsewhere they may lag a moment.
  uint64_t framesWritten() const { return written_.load(std::memory_order_acquire); }
  uint64_t framesRead() const { return read_.load(std::memory_order_acquire); }

 private:
  const int channels_;
  const size_t capacity_;
  std::vector<float> samples_;
  // Frames written and read since the start; their difference is the fill. Each is stored
  // by one side only and published with release semantics.
  std::atomic<uint64_t> written_{0};
  std::atomic<uint64_t> read_{0};
};

}  // namespace reelcraft
