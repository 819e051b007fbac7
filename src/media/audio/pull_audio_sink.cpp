#include "media/audio/pull_audio_sink.h"

#include <algorithm>

namespace reelcraft {

PullAudioSink::PullAudioSink(size_t capacityFrames) : ring_(kChannels, capacityFrames) {}

bool PullAudioSink::start(int sampleRate) {
  sampleRate_.store(sampleRate, std::memory_order_release);
  ended_.store(false, std::memory_order_release);
  runStart_.store(ring_.framesWritten(), std::memory_order_release);
  running_.store(true, std::memory_order_release);
  return sampleRate > 0;
}

void PullAudioSink::stop() {
  running_.store(false, std::memory_order_release);
  runStart_.store(ring_.framesWritten(), std::memory_order_release);
}

size_t PullAudioSink::write(const float* samples, size_t frames) {
  return ring_.write(samples, frames);
}

size_t PullAudioSink::writableFrames() const {
  return ring_.writableFrames();
}

void PullAudioSink::endOfStream() {
  ended_.store(true, std::memory_order_release);
}

int64_t PullAudioSink::playedFrames() const {
  if (!running_.load(std::memory_order_acquire)) return 0;
  const uint64_t start = runStart_.load(std::memory_order_acquire);
  const uint64_t read = ring_.framesRead();
  return read > start ? static_cast<int64_t>(read - start) : 0;
}

int64_t PullAudioSink::underrunCount() const {
  return underruns_.load(std::memory_order_relaxed);
}

void PullAudioSink::setVolume(double volume) {
  volume_.store(static_cast<float>(std::clamp(volume, 0.0, 1.0)), std::memory_order_relaxed);
}

double PullAudioSink::volume() const {
  return volume_.load(std::memory_order_relaxed);
}

void PullAudioSink::skipEarlierRuns() {
  const uint64_t start = runStart_.load(std::memory_order_acquire);
  const uint64_t read = ring_.framesRead();
  if (read < start) ring_.skip(static_cast<size_t>(start - read));
  if (start != dryRunStart_) dry_ = false;
}

bool PullAudioSink::hasFramesToPlay() {
  skipEarlierRuns();
  return running_.load(std::memory_order_acquire) && ring_.readableFrames() > 0;
}

size_t PullAudioSink::pull(float* out, size_t frames) {
  skipEarlierRuns();
  if (!running_.load(std::memory_order_acquire) || frames == 0) return 0;
  const uint64_t start = runStart_.load(std::memory_order_acquire);
  const bool begun = ring_.framesRead() > start;
  const size_t given = out != nullptr
                           ? ring_.read(out, frames, volume_.load(std::memory_order_relaxed))
                           : ring_.skip(frames);
  if (given == frames) {
    dry_ = false;
  } else if ((begun || given > 0) && !ended_.load(std::memory_order_acquire) && !dry_) {
    underruns_.fetch_add(1, std::memory_order_relaxed);
    dry_ = true;
    dryRunStart_ = start;
  }
  return given;
}

}  // namespace reelcraft
