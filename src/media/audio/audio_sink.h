#pragma once

#include <cstddef>
#include <cstdint>

namespace reelcraft {

// Where a player sends its mixed sound: interleaved stereo 32-bit float samples.
//
// The sink plays in runs. start() begins a run at a sample rate; the player writes the run's
// samples in order and ends it with stop(), or says with endOfStream() that nothing more will
// come. playedFrames() is the clock the player keeps pictures in step with, so it must count
// what has actually been heard of the run: it stays at zero until the first samples play, and
// stands still while the sink has nothing to play.
//
// Threads: start(), stop(), write(), writableFrames() and endOfStream() come from the player's
// audio thread (one thread at a time); playedFrames(), underrunCount(), setVolume() and
// volume() may be called from any thread. None of them may block on another thread: the
// player's threads are joined from the main thread.
class AudioSink {
 public:
  static constexpr int kChannels = 2;

  virtual ~AudioSink() = default;

  // Begins a new run at `sampleRate`, dropping whatever the previous run left unplayed;
  // playing begins when the first samples arrive. False when no output can be opened: the
  // player then keeps time on its own.
  virtual bool start(int sampleRate) = 0;
  // Ends the run and drops what has not been played.
  virtual void stop() = 0;

  // Takes up to `frames` frames of interleaved stereo samples without blocking; returns how
  // many it took (fewer when its buffer is full).
  virtual size_t write(const float* samples, size_t frames) = 0;
  // How many frames write() would take now.
  virtual size_t writableFrames() const = 0;
  // The run has no more samples: running dry from now on is the end, not an underrun.
  virtual void endOfStream() = 0;

  // Frames of the current run played so far.
  virtual int64_t playedFrames() const = 0;
  // Times the sink ran dry in the middle of a run, over its whole life.
  virtual int64_t underrunCount() const = 0;

  // Gain from 0 (silent) to 1 (as written); takes effect at once, also on buffered samples.
  virtual void setVolume(double volume) = 0;
  virtual double volume() const = 0;
};

}  // namespace reelcraft
