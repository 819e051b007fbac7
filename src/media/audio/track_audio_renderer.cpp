#include "media/audio/track_audio_renderer.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

#include "media/audio/audio_tempo_filter.h"
#include "media/base/media_error.h"
#include "media/audio/stereo_converter.h"
#include "media/model/stream_time.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

constexpr int kChannels = 2;

bool playsMedia(const TrackSegment& segment) {
  return !segment.isEmpty() && segment.sourceRange.isValid() &&
         segment.sourceRange.duration.isNumeric() &&
         compare(segment.sourceRange.duration, MediaTime::zero()) > 0 &&
         compare(segment.targetRange.duration, MediaTime::zero()) > 0;
}

}  // namespace

// The samples of one segment from a given sample on: decoded frames of the segment's
// source range, trimmed to the exact source samples, converted, and retimed when scaled.
class TrackAudioRenderer::SegmentPlayback {
 public:
  SegmentPlayback(TrackSegmentReader& reader, const TrackSegment& segment, size_t segmentIndex,
                  SampleSpan span, int64_t from, int sampleRate)
      : reader_(reader),
        segment_(segment),
        segmentIndex_(segmentIndex),
        sourceEnd_(segment.sourceRange.end()),
        converter_(sampleRate) {
    MediaTime trackTime = segment.targetRange.start;
    sourceStart_ = segment.sourceRange.start;
    if (from > span.begin) {
      // Where continuous playback of the segment would be at sample `from`.
      trackTime = MediaTime::make(from, sampleRate);
      MediaTime offset = subtract(trackTime, segment.targetRange.start);
      offset =
          multiplyByTimeRatio(offset, segment.sourceRange.duration, segment.targetRange.duration);
      sourceStart_ = add(segment.sourceRange.start, offset);
    }
    const double tempo =
        segment.sourceRange.duration.seconds() / segment.targetRange.duration.seconds();
    if (compare(segment.sourceRange.duration, segment.targetRange.duration) != 0) {
      tempo_ = std::make_unique<AudioTempoFilter>(tempo, sampleRate);
    }
    reader_.seek(trackTime);
  }

  void mixInto(float* mix, int64_t count) {
    while (available() < count && produceMore()) {
    }
    const int64_t n = std::min(available(), count);
    const float* ready = ready_.data() + readOffset_;
    for (int64_t i = 0; i < n * kChannels; ++i) mix[i] += ready[i];
    readOffset_ += static_cast<size_t>(n) * kChannels;
    // What is missing at the end (a source shorter than its range) stays silent.
  }

 private:
  int64_t available() const {
    return static_cast<int64_t>(ready_.size() - readOffset_) / kChannels;
  }

  // Decodes one more frame of the segment; false once everything has come out.
  bool produceMore() {
    if (inputEnded_) return false;
    if (readOffset_ > 0 && readOffset_ * 2 > ready_.size()) {
      ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(readOffset_));
      readOffset_ = 0;
    }
    std::optional<DecodedFrame> decoded = reader_.next();
    if (!decoded || decoded->segmentIndex != segmentIndex_) {
      endInput();
      return true;
    }
    const AVFrame& frame = *decoded->frame;
    const int rate = frame.sample_rate;
    const int64_t first = samplePosition(decoded->sourceTime, rate);
    const int64_t begin = std::max(first, samplePosition(sourceStart_, rate));
    const int64_t end = std::min(first + frame.nb_samples, samplePosition(sourceEnd_, rate));
    try {
      if (end > begin) {
        converter_.convert(frame, static_cast<int>(begin - first), static_cast<int>(end - begin),
                           converted_);
      }
      pass(converted_);
    } catch (const std::runtime_error&) {
      throwMediaError(MediaErrorCode::Damaged, segment_.source->path);
    }
    if (first + frame.nb_samples >= samplePosition(sourceEnd_, rate)) endInput();
    return true;
  }

  void endInput() {
    try {
      converter_.flush(converted_);
      pass(converted_);
      if (tempo_) tempo_->finish(ready_);
    } catch (const std::runtime_error&) {
      throwMediaError(MediaErrorCode::Damaged, segment_.source->path);
    }
    inputEnded_ = true;
  }

  // Moves converted samples on, through the tempo filter when there is one.
  void pass(std::vector<float>& samples) {
    if (samples.empty()) return;
    if (tempo_) {
      tempo_->push(samples.data(), static_cast<int>(samples.size() / kChannels), ready_);
    } else {
      ready_.insert(ready_.end(), samples.begin(), samples.end());
    }
    samples.clear();
  }

  TrackSegmentReader& reader_;
  TrackSegment segment_;
  size_t segmentIndex_;
  MediaTime sourceStart_;
  MediaTime sourceEnd_;
  StereoConverter converter_;
  std::unique_ptr<AudioTempoFilter> tempo_;
  std::vector<float> converted_;
  std::vector<float> ready_;
  size_t readOffset_ = 0;
  bool inputEnded_ = false;
};

TrackAudioRenderer::TrackAudioRenderer(AssetTrack track, int sampleRate)
    : sampleRate_(sampleRate), segments_(track.segments.toVector()) {
  for (const TrackSegment& segment : segments_) {
    spans_.push_back({samplePosition(segment.targetRange.start, sampleRate),
                      samplePosition(segment.targetRange.end(), sampleRate)});
  }
  reader_ = std::make_unique<TrackSegmentReader>(std::move(track));
}

TrackAudioRenderer::~TrackAudioRenderer() = default;
TrackAudioRenderer::TrackAudioRenderer(TrackAudioRenderer&&) noexcept = default;
TrackAudioRenderer& TrackAudioRenderer::operator=(TrackAudioRenderer&&) noexcept = default;

void TrackAudioRenderer::seek(int64_t position) {
  position_ = position;
  playback_.reset();
}

void TrackAudioRenderer::mixInto(float* mix, int64_t count) {
  while (count > 0) {
    const auto after = std::upper_bound(
        spans_.begin(), spans_.end(), position_,
        [](int64_t position, const SampleSpan& span) { return position < span.end; });
    if (after == spans_.end()) return;  // after the track's end: silence
    const size_t index = static_cast<size_t>(after - spans_.begin());
    const SampleSpan span = *after;
    int64_t n = 0;
    if (position_ < span.begin) {
      n = std::min(count, span.begin - position_);  // before the track's first segment
    } else {
      n = std::min(count, span.end - position_);
      if (playsMedia(segments_[index])) {
        if (!playback_ || playbackSegment_ != index) {
          playback_ = std::make_unique<SegmentPlayback>(*reader_, segments_[index], index, span,
                                                        position_, sampleRate_);
          playbackSegment_ = index;
        }
        playback_->mixInto(mix, n);
      }
    }
    position_ += n;
    mix += n * kChannels;
    count -= n;
    if (position_ >= span.end) playback_.reset();
  }
}

}  // namespace reelcraft
