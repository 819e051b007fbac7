#include "media/audio/null_audio_sink.h"

namespace reelcraft {

bool NullAudioSink::start(int sampleRate) {
  std::lock_guard lock(mutex_);
  playing_ = false;
  remainder_ = 0;
  return PullAudioSink::start(sampleRate);
}

void NullAudioSink::stop() {
  std::lock_guard lock(mutex_);
  playing_ = false;
  PullAudioSink::stop();
}

size_t NullAudioSink::write(const float* samples, size_t frames) {
  const size_t taken = PullAudioSink::write(samples, frames);
  advance();
  return taken;
}

size_t NullAudioSink::writableFrames() const {
  advance();
  return PullAudioSink::writableFrames();
}

int64_t NullAudioSink::playedFrames() const {
  advance();
  return PullAudioSink::playedFrames();
}

void NullAudioSink::advance() const {
  // The imaginary device's thread: the lock keeps its pulls from overlapping.
  std::lock_guard lock(mutex_);
  auto* self = const_cast<NullAudioSink*>(this);
  const auto now = Clock::now();
  if (!playing_) {
    // Like a device that is started when the first samples are there.
    if (!self->hasFramesToPlay()) return;
    playing_ = true;
    lastAdvance_ = now;
    remainder_ = 0;
    return;
  }
  constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
  const int64_t elapsed =
      std::chrono::duration_cast<std::chrono::nanoseconds>(now - lastAdvance_).count();
  lastAdvance_ = now;
  const int64_t owed = elapsed * sampleRate() + remainder_;
  remainder_ = owed % kNanosecondsPerSecond;
  const int64_t frames = owed / kNanosecondsPerSecond;
  if (frames > 0) self->pull(nullptr, static_cast<size_t>(frames));
}

}  // namespace reelcraft
