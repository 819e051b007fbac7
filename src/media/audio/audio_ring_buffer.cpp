#include "media/audio/audio_ring_buffer.h"

#include <algorithm>
#include <stdexcept>

namespace reelcraft {

AudioRingBuffer::AudioRingBuffer(int channels, size_t capacityFrames)
    : channels_(channels), capacity_(capacityFrames) {
  if (channels <= 0 || capacityFrames == 0) {
    throw std::invalid_argument("AudioRingBuffer needs channels and a capacity");
  }
  samples_.resize(capacity_ * static_cast<size_t>(channels_));
}

size_t AudioRingBuffer::writableFrames() const {
  const uint64_t used =
      written_.load(std::memory_order_relaxed) - read_.load(std::memory_order_acquire);
  return capacity_ - static_cast<size_t>(used);
}

size_t AudioRingBuffer::readableFrames() const {
  return static_cast<size_t>(written_.load(std::memory_order_acquire) -
                             read_.load(std::memory_order_relaxed));
}

size_t AudioRingBuffer::write(const float* samples, size_t frames) {
  const uint64_t position = written_.load(std::memory_order_relaxed);
  const size_t count = std::min(frames, writableFrames());
  size_t done = 0;
  while (done < count) {
    const size_t slot = static_cast<size_t>((position + done) % capacity_);
    const size_t run = std::min(count - done, capacity_ - slot);
    std::copy_n(samples + done * channels_, run * channels_, samples_.data() + slot * channels_);
    done += run;
  }
  written_.store(position + count, std::memory_order_release);
  return count;
}

size_t AudioRingBuffer::read(float* out, size_t frames, float gain) {
  const uint64_t position = read_.load(std::memory_order_relaxed);
  const size_t count = std::min(frames, readableFrames());
  size_t done = 0;
  while (done < count) {
    const size_t slot = static_cast<size_t>((position + done) % capacity_);
    const size_t run = std::min(count - done, capacity_ - slot);
    const float* from = samples_.data() + slot * channels_;
    float* to = out + done * channels_;
    if (gain == 1.0f) {
      std::copy_n(from, run * channels_, to);
    } else {
      std::transform(from, from + run * channels_, to, [gain](float s) { return s * gain; });
    }
    done += run;
  }
  read_.store(position + count, std::memory_order_release);
  return count;
}

size_t AudioRingBuffer::skip(size_t frames) {
  const uint64_t position = read_.load(std::memory_order_relaxed);
  const size_t count = std::min(frames, readableFrames());
  read_.store(position + count, std::memory_order_release);
  return count;
}

}  // namespace reelcraft
