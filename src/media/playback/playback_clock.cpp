#include "media/playback/playback_clock.h"

#include <utility>

namespace reelcraft {

namespace {

// Times read from the clock are counted in microseconds, on top of the anchor's own timescale.
constexpr int32_t kClockTimescale = 1'000'000;

}  // namespace

void PlaybackClock::start(MediaTime anchor, double rate) {
  running_ = true;
  anchor_ = anchor;
  rate_ = rate;
  audio_ = nullptr;
  sink_.reset();
  continueOnWallClock(0);
}

void PlaybackClock::startWithAudio(MediaTime anchor, double rate, const AudioDecodeThread& audio,
                                   uint64_t generation, std::shared_ptr<AudioSink> sink) {
  running_ = true;
  anchor_ = anchor;
  rate_ = rate;
  audio_ = &audio;
  audioGeneration_ = generation;
  sink_ = std::move(sink);
}

void PlaybackClock::stop() {
  running_ = false;
  audio_ = nullptr;
  sink_.reset();
}

void PlaybackClock::continueOnWallClock(double elapsedSoFar) {
  audio_ = nullptr;
  sink_.reset();
  wallBase_ = elapsedSoFar;
  wallStart_ = WallClock::now();
}

double PlaybackClock::elapsedSeconds() {
  if (!running_) return 0;
  if (audio_ != nullptr) {
    const AudioDecodeThread::RunState state = audio_->state();
    if (state.generation != audioGeneration_ || !state.started) return 0;
    const double sampleRate = audio_->sampleRate();
    if (!state.sinkOpened) {
      continueOnWallClock(0);
    } else {
      const int64_t played = sink_->playedFrames();
      const double elapsed = static_cast<double>(played) / sampleRate * rate_;
      if (!state.ended || played < state.framesWritten) return elapsed;
      continueOnWallClock(elapsed);
    }
  }
  const std::chrono::duration<double> wall = WallClock::now() - wallStart_;
  return wallBase_ + wall.count() * rate_;
}

bool PlaybackClock::isWaitingForAudio() {
  if (!running_ || audio_ == nullptr) return false;
  const AudioDecodeThread::RunState state = audio_->state();
  if (state.generation != audioGeneration_ || !state.started) return true;
  if (!state.sinkOpened || sink_->playedFrames() > 0) return false;
  return !(state.ended && state.framesWritten == 0);
}

MediaTime PlaybackClock::now() {
  const double elapsed = elapsedSeconds();
  if (elapsed == 0) return anchor_;
  return add(anchor_, MediaTime::fromSeconds(elapsed, kClockTimescale));
}

}  // namespace reelcraft
