#include "media/reader/asset_reader_output.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "media/audio/composition_audio_source.h"
#include "media/base/media_error_codes.h"
#include "media/reader/asset_reader_state.h"
#include "media/reader/sample_read_ahead.h"
#include "media/render/composition_video_source.h"

namespace reelcraft {
namespace {

// Samples read ahead of the consumer: enough to keep the decoder busy while a sample is used,
// few enough that full-size pictures do not take much memory.
constexpr size_t kVideoReadAhead = 3;
constexpr size_t kAudioReadAhead = 8;

Error readingError() {
  return mediaError(MediaErrorCode::Damaged, "The movie couldn’t be read to the end.",
                    "Check that the movie’s files are still there, then try again.");
}

Error outOfMemoryError() {
  return mediaError(MediaErrorCode::Damaged, "There isn’t enough memory to read the movie.",
                    "Close other documents or applications, then try again.");
}

void requireMediaType(const std::vector<AssetTrack>& tracks, MediaType type) {
  for (const AssetTrack& track : tracks) {
    if (track.mediaType != type) {
      throw std::invalid_argument("a reader output was given a track of the wrong media type");
    }
  }
}

// Some of the tracks of an asset, over the asset's whole duration.
class TrackSelection final : public Asset {
 public:
  TrackSelection(const Asset& asset, std::vector<AssetTrack> tracks)
      : duration_(asset.duration()),
        naturalSize_(asset.naturalSize()),
        tracks_(std::move(tracks)) {}
  MediaTime duration() const override { return duration_; }
  Size naturalSize() const override { return naturalSize_; }
  const std::vector<AssetTrack>& tracks() const override { return tracks_; }

 private:
  MediaTime duration_;
  Size naturalSize_;
  std::vector<AssetTrack> tracks_;
};

}  // namespace

AssetReaderOutput::AssetReaderOutput(std::vector<AssetTrack> tracks)
    : AssetReaderOutput(std::move(tracks), 0) {}

AssetReaderOutput::AssetReaderOutput(std::vector<AssetTrack> tracks, size_t readAheadDepth)
    : tracks_(std::move(tracks)), readAheadDepth_(readAheadDepth) {}

AssetReaderOutput::~AssetReaderOutput() {
  stopReadingAhead();
}

void AssetReaderOutput::startReadingAhead() {
  if (readAheadDepth_ == 0) return;
  readAhead_ = std::make_unique<SampleReadAhead>([this] { return readNext(); }, readAheadDepth_);
}

void AssetReaderOutput::endReadingAhead() {
  if (readAhead_) readAhead_->stop();
}

void AssetReaderOutput::stopReadingAhead() {
  if (readAhead_) readAhead_->stop();
  readAhead_.reset();
}

std::shared_ptr<SampleBuffer> AssetReaderOutput::copyNextSampleBuffer() {
  std::lock_guard lock(readMutex_);
  if (!reader_ || finished_ || reader_->status() != AssetReaderStatus::Reading) return nullptr;
  std::shared_ptr<SampleBuffer> sample;
  try {
    sample = readAhead_ ? readAhead_->next() : readNext();
  } catch (const ErrorException& failure) {
    finished_ = true;
    reader_->fail(failure.error());
    return nullptr;
  } catch (const std::bad_alloc&) {
    finished_ = true;
    reader_->fail(outOfMemoryError());
    return nullptr;
  } catch (const std::exception&) {
    finished_ = true;
    reader_->fail(readingError());
    return nullptr;
  }
  if (!sample) {
    finished_ = true;
    reader_->outputFinished();
    return nullptr;
  }
  // Cancelled or failed elsewhere while this sample was being read.
  if (reader_->status() != AssetReaderStatus::Reading) return nullptr;
  return sample;
}

AssetReaderAudioMixOutput::AssetReaderAudioMixOutput(std::vector<AssetTrack> audioTracks,
                                                     AudioSettings settings)
    : AssetReaderOutput(std::move(audioTracks), kAudioReadAhead), settings_(settings) {
  requireMediaType(tracks(), MediaType::Audio);
  if (settings.sampleRate <= 0 || settings.framesPerBuffer <= 0) {
    throw std::invalid_argument("audio settings must be positive");
  }
}

AssetReaderAudioMixOutput::~AssetReaderAudioMixOutput() {
  stopReadingAhead();
}

void AssetReaderAudioMixOutput::prepare(const AssetPtr& asset) {
  source_ = CompositionAudioSource::create(tracks(), asset->duration(), settings_.sampleRate);
}

std::shared_ptr<SampleBuffer> AssetReaderAudioMixOutput::readNext() {
  std::optional<AudioChunk> chunk = source_->read(settings_.framesPerBuffer);
  if (!chunk) return nullptr;
  auto sample = std::make_shared<SampleBuffer>();
  sample->mediaType = MediaType::Audio;
  sample->presentationTime = chunk->time;
  sample->duration = chunk->duration();
  sample->audio = std::move(*chunk);
  return sample;
}

AssetReaderVideoCompositionOutput::AssetReaderVideoCompositionOutput(
    std::vector<AssetTrack> videoTracks, VideoSettings settings)
    : AssetReaderOutput(std::move(videoTracks), kVideoReadAhead), settings_(settings) {
  requireMediaType(tracks(), MediaType::Video);
}

AssetReaderVideoCompositionOutput::~AssetReaderVideoCompositionOutput() {
  stopReadingAhead();
}

void AssetReaderVideoCompositionOutput::setVideoComposition(VideoComposition composition) {
  videoComposition_ = std::move(composition);
}

void AssetReaderVideoCompositionOutput::prepare(const AssetPtr& asset) {
  const VideoComposition composition =
      videoComposition_ ? *videoComposition_ : VideoComposition::withPropertiesOfAsset(*asset);
  CompositionVideoSource::Options options;
  options.pixelFormat = settings_.pixelFormat;
  options.outputSize = settings_.size;
  // Read in order only: no steps back to keep pictures for.
  options.cachedFrames = 2;
  source_ = CompositionVideoSource::create(std::make_shared<TrackSelection>(*asset, tracks()),
                                           composition, options);
}

std::shared_ptr<SampleBuffer> AssetReaderVideoCompositionOutput::readNext() {
  std::optional<VideoFrame> frame = source_->nextFrame();
  if (!frame) return nullptr;
  auto sample = std::make_shared<SampleBuffer>();
  sample->mediaType = MediaType::Video;
  sample->presentationTime = frame->time;
  sample->duration = frame->duration;
  sample->videoFrame = std::move(frame->frame);
  return sample;
}

}  // namespace reelcraft
