#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "media/audio/audio_sink.h"
#include "media/model/composition.h"
#include "media/base/error.h"
#include "media/base/media_time.h"

namespace reelcraft {

class CompositionAudioSource;

// Mixes a composition's sound on a thread of its own and writes it to an audio sink, in runs:
// play() starts a run at a time and a rate (faster or slower with the pitch kept), stop()
// ends it. The thread keeps the sink's buffer full, starts the sink at the beginning of a run
// and stops it at the end, so the sink is only ever used from this thread (its clock and
// volume excepted).
class AudioDecodeThread {
 public:
  // What the thread has done with the latest run.
  struct RunState {
    uint64_t generation = 0;    // the run the state belongs to; 0 before the first
    bool started = false;       // the sink has been started for the run
    bool sinkOpened = false;    // ...and could open its output
    bool ended = false;         // all of the run's sound has been written, or it had to stop
    int64_t framesWritten = 0;  // frames written to the sink in the run
  };

  // `failed` is called on the thread when the sound cannot be read; the run then ends.
  AudioDecodeThread(std::shared_ptr<const Composition> composition, int sampleRate,
                    std::function<void(const Error&)> failed);
  // Stops the sink of the current run and joins the thread.
  ~AudioDecodeThread();
  AudioDecodeThread(const AudioDecodeThread&) = delete;
  AudioDecodeThread& operator=(const AudioDecodeThread&) = delete;

  int sampleRate() const { return sampleRate_; }

  // Ends the current run and starts one that plays from `t` at `rate` (> 0) into `sink`;
  // returns the new run's generation.
  uint64_t play(MediaTime t, double rate, std::shared_ptr<AudioSink> sink);
  // Ends the current run: its sink is stopped.
  void stop();

  RunState state() const;

 private:
  struct Command {
    uint64_t generation = 0;
    bool play = false;
    MediaTime start;
    double rate = 1.0;
    std::shared_ptr<AudioSink> sink;
  };

  void threadMain(std::shared_ptr<const Composition> composition);
  uint64_t post(Command command);

  const int sampleRate_;
  const std::function<void(const Error&)> failed_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Command command_;
  bool commandPending_ = false;
  uint64_t lastGeneration_ = 0;
  RunState state_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace reelcraft
