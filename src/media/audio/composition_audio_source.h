#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/model/asset.h"
#include "media/model/audio_chunk.h"
#include "media/model/composition.h"
#include "media/base/media_time.h"

namespace reelcraft {

class TrackAudioRenderer;

// The sound of a composition: all its audio tracks mixed (summed) into interleaved stereo
// float at one sample rate, read in order from any time.
//
// Sample n plays at n / sampleRate, and a source of duration D gives exactly frameCount() =
// round(D × sampleRate) samples (halves round up). Segment edges fall on the sample nearest
// to their exact time on the timeline, so edits never shift the sound by more than half a
// sample, however many there are. Sources of any rate and channel layout are converted;
// scaled segments play at their new duration with their pitch kept; empty time, and time
// after a track's end, is silent.
//
// Not thread-safe; one source is used by one thread at a time.
class CompositionAudioSource {
 public:
  // The audio tracks of `composition` over its duration. Throws std::invalid_argument for a
  // sample rate that is not positive.
  static std::unique_ptr<CompositionAudioSource> create(
      std::shared_ptr<const Composition> composition, int sampleRate = 48000);
  // Any audio tracks (of a composition or a file) over [0, duration); tracks of other media
  // types are ignored.
  static std::unique_ptr<CompositionAudioSource> create(std::vector<AssetTrack> tracks,
                                                        MediaTime duration, int sampleRate = 48000);
  ~CompositionAudioSource();

  int sampleRate() const { return sampleRate_; }
  MediaTime duration() const { return duration_; }
  // The number of stereo frames from zero to the end.
  int64_t frameCount() const { return frameCount_; }
  // When the next sample read plays.
  MediaTime currentTime() const { return MediaTime::make(position_, sampleRate_); }

  // Goes on from the sample nearest to `t` (clamped to the start and the end).
  void seek(MediaTime t);
  // The next samples, at most `maxFrames` stereo frames; nothing at the end. Throws
  // ErrorException when a source cannot be read.
  std::optional<AudioChunk> read(int maxFrames = 4096);

 private:
  CompositionAudioSource(std::vector<AssetTrack> tracks, MediaTime duration, int sampleRate);

  std::shared_ptr<const Composition> composition_;  // keeps the tracks' sources alive
  int sampleRate_;
  MediaTime duration_;
  int64_t frameCount_ = 0;
  int64_t position_ = 0;
  std::vector<TrackAudioRenderer> tracks_;
};

}  // namespace reelcraft
