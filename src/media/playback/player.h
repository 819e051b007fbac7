#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "media/audio/audio_sink.h"
#include "media/model/composition.h"
#include "media/render/composition_video_source.h"
#include "media/base/error.h"
#include "media/base/geometry.h"
#include "media/base/main_queue.h"
#include "media/base/media_time.h"
#include "media/model/video_composition.h"
#include "media/playback/video_sink.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace reelcraft {

// Counts for judging how smoothly a player plays.
struct PlayerStatistics {
  int64_t framesPresented = 0;  // pictures handed to the video sink
  int64_t framesDropped = 0;    // decoded pictures skipped because a later one was already due
  int64_t framesLate = 0;       // pictures shown after more than half their time had passed
  int64_t audioUnderruns = 0;   // times the audio sink ran dry while playing
};

// How a player draws its pictures and plays its sound.
struct PlayerOptions {
  // How the pictures are drawn; the composition's own (withPropertiesOfAsset) when absent.
  // Either way the player has video only when the render size has an area.
  std::optional<VideoComposition> videoComposition;
  AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
  Size outputSize{};  // empty: the render size
  int audioSampleRate = 48000;
  size_t videoQueueFrames = 8;  // decoded pictures held ahead of the one shown
};

// Plays a composition: pictures to a video sink, sound to an audio sink, in step.
//
// Decoding runs on two threads of the player's own (one for pictures, one for sound) that
// fill short queues; everything else, every callback included, happens on the main queue
// given at creation, and the player's members must be called on the thread that runs it.
// Nothing here waits for decoding. While sound plays, its sink is the clock; otherwise (no
// sound, a rate that is not played audibly, reverse play, a sink that cannot open its output)
// the system's steady clock keeps the time.
//
// Seeks are exact: once a seek has completed, the picture shown is the one displayed at the
// time sought and currentTime() is that time. The player starts out at time zero, showing
// the first picture as soon as it is decoded.
//
// Destroying the player stops and joins its threads (waiting at most for the picture being
// decoded) and calls nothing afterwards, not even pending seek completions. Decoding failures
// pause playback and are reported to the failure handler. The main queue must outlive the
// player.
class Player {
 public:
  using Options = PlayerOptions;
  using ObserverToken = uint64_t;

  // Rates whose sound is played (time-stretched, pitch kept); sound is silent outside them.
  static constexpr double kMinAudibleRate = 0.125;
  static constexpr double kMaxAudibleRate = 8.0;

  // Throws std::invalid_argument for options that cannot work (a sample rate that is not
  // positive, a video composition with a frame duration that is not positive). The media are
  // opened on the player's threads; failing to open them is reported to the failure handler.
  static std::unique_ptr<Player> create(std::shared_ptr<const Composition> composition,
                                        MainQueue& mainQueue, Options options = Options());
  ~Player();
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  const std::shared_ptr<const Composition>& composition() const;
  // Set only when the composition has pictures to show.
  const std::optional<VideoComposition>& videoComposition() const;
  MediaTime duration() const;

  // setRate(1). Playing from the end (forward) or the start (in reverse) starts over from the
  // other end.
  void play();
  // setRate(0).
  void pause();
  // The rate asked for: 0 paused, 1 normal speed, fractions slower, above 1 faster, negative in
  // reverse (pictures only). It goes back to 0 when playback reaches the end by itself.
  double rate() const;
  void setRate(double rate);

  // 0 (silent) to 1; values outside are clamped.
  double volume() const;
  void setVolume(double volume);

  // Moves exactly to `t` (kept within 0 and the duration), in the middle of playback too. The
  // completion runs on the main queue with true once the picture at `t` is shown, or with
  // false when a later seek or step has taken its place (or for a time that is not a number).
  void seek(MediaTime t, std::function<void(bool finished)> completion = {});
  // Pauses, then moves by `frames` frames of the video composition's cadence (backwards when
  // negative) from the frame at the current time, or from the pending seek's target; stops at
  // the first and last frame. Without video it only pauses.
  void stepByCount(int frames);

  // The time now: the clock's while playing, the time sought to after a seek.
  MediaTime currentTime() const;
  // The picture on show (null before the first one).
  const VideoFrame* displayedFrame() const;

  // Calls `observer` on the main queue with the current time every `interval` of movie time
  // while playing, and whenever time jumps (a seek completes) or playback starts or stops.
  // Throws std::invalid_argument for an interval that is not a positive number.
  ObserverToken addPeriodicTimeObserver(MediaTime interval,
                                        std::function<void(MediaTime)> observer);
  void removeTimeObserver(ObserverToken token);

  // Not owned; must outlive the player or be replaced first. A new sink is shown the picture
  // on show at once. Null: pictures are decoded and not shown.
  void setVideoSink(VideoSink* sink);
  // Null sets a NullAudioSink (the default). The player sets the sink's volume.
  void setAudioSink(std::shared_ptr<AudioSink> sink);
  const std::shared_ptr<AudioSink>& audioSink() const;

  // Called on the main queue when playback stops by itself at the end (or at the start in
  // reverse); the rate is 0 by then.
  void setEndHandler(std::function<void()> handler);
  // Called on the main queue when decoding fails; playback is paused by then.
  void setFailureHandler(std::function<void(const Error&)> handler);
  // The first failure, if any.
  const std::optional<Error>& error() const;

  PlayerStatistics statistics() const;

 private:
  class Impl;
  explicit Player(std::shared_ptr<Impl> impl);
  // Shared with the tasks the player posts to the main queue, which hold it weakly.
  std::shared_ptr<Impl> impl_;
};

}  // namespace reelcraft
