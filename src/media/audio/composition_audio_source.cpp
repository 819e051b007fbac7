#include "media/audio/composition_audio_source.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "media/model/stream_time.h"
#include "media/audio/track_audio_renderer.h"

namespace reelcraft {

std::unique_ptr<CompositionAudioSource> CompositionAudioSource::create(
    std::shared_ptr<const Composition> composition, int sampleRate) {
  if (!composition) throw std::invalid_argument("no composition to play");
  auto source = create(composition->tracks(), composition->duration(), sampleRate);
  source->composition_ = std::move(composition);
  return source;
}

std::unique_ptr<CompositionAudioSource> CompositionAudioSource::create(
    std::vector<AssetTrack> tracks, MediaTime duration, int sampleRate) {
  if (sampleRate <= 0) throw std::invalid_argument("the sample rate must be positive");
  return std::unique_ptr<CompositionAudioSource>(
      new CompositionAudioSource(std::move(tracks), duration, sampleRate));
}

CompositionAudioSource::CompositionAudioSource(std::vector<AssetTrack> tracks, MediaTime duration,
                                               int sampleRate)
    : sampleRate_(sampleRate), duration_(duration) {
  if (duration.isNumeric() && compare(duration, MediaTime::zero()) > 0) {
    frameCount_ = samplePosition(duration, sampleRate);
  } else {
    duration_ = MediaTime::zero();
  }
  for (AssetTrack& track : tracks) {
    if (track.mediaType == MediaType::Audio) tracks_.emplace_back(std::move(track), sampleRate);
  }
}

CompositionAudioSource::~CompositionAudioSource() = default;

void CompositionAudioSource::seek(MediaTime t) {
  if (!t.isValid() || t.isIndefinite() || t.isNegativeInfinity()) {
    position_ = 0;
  } else if (t.isPositiveInfinity()) {
    position_ = frameCount_;
  } else {
    position_ = std::clamp<int64_t>(samplePosition(t, sampleRate_), 0, frameCount_);
  }
  for (TrackAudioRenderer& track : tracks_) track.seek(position_);
}

std::optional<AudioChunk> CompositionAudioSource::read(int maxFrames) {
  const int64_t count = std::min<int64_t>(std::max(maxFrames, 1), frameCount_ - position_);
  if (count <= 0) return std::nullopt;
  AudioChunk chunk;
  chunk.sampleRate = sampleRate_;
  chunk.time = MediaTime::make(position_, sampleRate_);
  chunk.samples.assign(static_cast<size_t>(count) * AudioChunk::kChannelCount, 0.0f);
  for (TrackAudioRenderer& track : tracks_) track.mixInto(chunk.samples.data(), count);
  position_ += count;
  return chunk;
}

}  // namespace reelcraft
