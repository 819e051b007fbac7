#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "media/playback/audio_decode_thread.h"
#include "media/audio/audio_sink.h"
#include "media/base/media_time.h"

namespace reelcraft {

// The time of a playing movie: a start time on the movie's timeline and a rate, moved on by
// the sound as it is heard when there is sound, else by the system's steady clock.
//
// With sound the time stands still until the run's first samples play and while the sink runs
// dry, so that pictures wait for the sound; once the run has played all it had (or if the
// sink could not open its output) the steady clock carries on from there. Used on one thread.
class PlaybackClock {
 public:
  using WallClock = std::chrono::steady_clock;

  void start(MediaTime anchor, double rate);
  // `generation` is the run of `audio` that plays the sound from `anchor` into `sink`.
  void startWithAudio(MediaTime anchor, double rate, const AudioDecodeThread& audio,
                      uint64_t generation, std::shared_ptr<AudioSink> sink);
  void stop();

  bool isRunning() const { return running_; }
  double rate() const { return rate_; }
  // Whether the time stands still for the sound to begin.
  bool isWaitingForAudio();

  // The time now (not kept within the movie).
  MediaTime now();

 private:
  // Seconds of movie time since the anchor.
  double elapsedSeconds();
  void continueOnWallClock(double elapsedSoFar);

  bool running_ = false;
  MediaTime anchor_ = MediaTime::zero();
  double rate_ = 0;
  // Without sound: movie seconds = wallBase_ + rate × wall time since wallStart_.
  WallClock::time_point wallStart_;
  double wallBase_ = 0;
  // With sound (null when the steady clock runs the time).
  const AudioDecodeThread* audio_ = nullptr;
  uint64_t audioGeneration_ = 0;
  std::shared_ptr<AudioSink> sink_;
};

}  // namespace reelcraft
