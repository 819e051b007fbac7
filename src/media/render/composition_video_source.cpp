#include "media/render/composition_video_source.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "media/decode/track_segment_reader.h"
#include "media/render/frame_renderer.h"
#include "media/render/rendered_frame_cache.h"
#include "media/render/track_picture_stream.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace reelcraft {
namespace {

// The cache of drawn pictures holds this many frames, and fewer when they are large.
constexpr size_t kMaxCachedFrames = 32;
constexpr size_t kMaxCachedBytes = size_t{64} << 20;

__extension__ typedef __int128 Int128;

bool showsMedia(const TrackSegment& segment) {
  const MediaTime zero = MediaTime::zero();
  return !segment.isEmpty() && segment.sourceRange.isValid() &&
         segment.sourceRange.duration.isNumeric() &&
         compare(segment.sourceRange.duration, zero) > 0 && segment.targetRange.isValid() &&
         compare(segment.targetRange.duration, zero) > 0;
}

std::string secondsText(MediaTime t) {
  std::ostringstream text;
  text << t.seconds() << " s";
  return text.str();
}

}  // namespace

struct CompositionVideoSource::Layer {
  AssetTrack track;
  std::unique_ptr<TrackPictureStream> stream;  // opened on first use
};

std::unique_ptr<CompositionVideoSource> CompositionVideoSource::create(
    std::shared_ptr<const Asset> composition, VideoComposition videoComposition, Options options) {
  if (!composition) throw std::invalid_argument("a video source needs a composition");
  return std::unique_ptr<CompositionVideoSource>(
      new CompositionVideoSource(std::move(composition), videoComposition, options));
}

std::unique_ptr<CompositionVideoSource> CompositionVideoSource::create(
    std::shared_ptr<const Asset> composition, VideoComposition videoComposition) {
  return create(std::move(composition), videoComposition, Options{});
}

CompositionVideoSource::CompositionVideoSource(std::shared_ptr<const Asset> composition,
                                               VideoComposition videoComposition, Options options)
    : composition_(std::move(composition)),
      videoComposition_(videoComposition),
      frameDuration_(videoComposition.frameDuration),
      duration_(composition_->duration()) {
  if (!frameDuration_.isNumeric() || compare(frameDuration_, MediaTime::zero()) <= 0) {
    throw std::invalid_argument("the frame duration of a video composition must be positive");
  }
  const Size outputSize =
      options.outputSize.isEmpty() ? videoComposition.renderSize : options.outputSize;
  renderer_ =
      std::make_unique<FrameRenderer>(videoComposition.renderSize, outputSize, options.pixelFormat);
  // Tracks are copied: the composition may be a mutable one that is edited later.
  for (const AssetTrack* track : composition_->tracksWithMediaType(MediaType::Video)) {
    layers_.push_back(Layer{*track, nullptr});
  }
  const size_t frameBytes = std::max<size_t>(1, renderer_->frameBytes());
  const size_t capacity =
      options.cachedFrames > 0
          ? std::max<size_t>(options.cachedFrames, 2)
          : std::clamp<size_t>(kMaxCachedBytes / frameBytes, 2, kMaxCachedFrames);
  cache_ = std::make_unique<RenderedFrameCache>(capacity);
  // Room for the frames read before a step back, the frame stepped to and the one left.
  stepBackFrames_ = capacity - 2;
}

CompositionVideoSource::~CompositionVideoSource() = default;

Size CompositionVideoSource::renderSize() const {
  return videoComposition_.renderSize;
}

Size CompositionVideoSource::outputSize() const {
  return Size{static_cast<double>(renderer_->outputWidth()),
              static_cast<double>(renderer_->outputHeight())};
}

int64_t CompositionVideoSource::slotIndexAt(MediaTime t) const {
  // floor(t / d), exact for any timescales.
  const Int128 numerator = Int128{t.value} * frameDuration_.timescale;
  const Int128 denominator = Int128{t.timescale} * frameDuration_.value;
  Int128 index = numerator / denominator;
  if (index * denominator > numerator) --index;
  return static_cast<int64_t>(index);
}

int64_t CompositionVideoSource::slotCount() const {
  if (!duration_.isNumeric() || compare(duration_, MediaTime::zero()) <= 0) return 0;
  const int64_t index = slotIndexAt(duration_);
  return compare(slotStart(index), duration_) < 0 ? index + 1 : index;
}

MediaTime CompositionVideoSource::slotStart(int64_t index) const {
  return MediaTime::make(frameDuration_.value * index, frameDuration_.timescale);
}

VideoFrame CompositionVideoSource::slotFrame(int64_t index,
                                             std::shared_ptr<AVFrame> picture) const {
  const MediaTime start = slotStart(index);
  return VideoFrame{std::move(picture), start, minimum(frameDuration_, subtract(duration_, start))};
}

std::optional<VideoFrame> CompositionVideoSource::nextFrame() {
  if (nextSlot_ >= slotCount()) return std::nullopt;
  const int64_t index = nextSlot_;
  std::shared_ptr<AVFrame> picture = pictureAt(slotStart(index));
  nextSlot_ = index + 1;
  return slotFrame(index, std::move(picture));
}

void CompositionVideoSource::seek(MediaTime t) {
  if (!t.isValid() || t.isPositiveInfinity() || t.isIndefinite() || compare(t, duration_) >= 0) {
    nextSlot_ = slotCount();
  } else if (!t.isNumeric() || compare(t, MediaTime::zero()) <= 0) {
    nextSlot_ = 0;
  } else {
    nextSlot_ = slotIndexAt(t);
  }
}

VideoFrame CompositionVideoSource::frameAt(MediaTime t) {
  const int64_t slots = slotCount();
  if (!t.isNumeric() || compare(t, MediaTime::zero()) < 0 || compare(t, duration_) > 0 ||
      slots == 0) {
    const std::string asked = t.isNumeric() ? secondsText(t) : "a time that is not a number";
    throw ErrorException(makeVideoCompositionError(
        VideoCompositionError::TimeOutsideMovie,
        "(" + asked + "; the movie lasts " + secondsText(duration_) + ")"));
  }
  if (compare(t, duration_) == 0) {
    const int64_t last = slots - 1;
    return slotFrame(last, pictureAt(slotStart(last)));
  }
  return slotFrame(slotIndexAt(t), pictureAt(t));
}

std::optional<size_t> CompositionVideoSource::topLayerAt(MediaTime t) const {
  for (size_t index = 0; index < layers_.size(); ++index) {
    const SegmentList& segments = layers_[index].track.segments;
    const auto segment = segments.segmentEndingAfter(t);
    if (segment != segments.end() && compare(segment->targetRange.start, t) <= 0 &&
        showsMedia(*segment)) {
      return index;
    }
  }
  return std::nullopt;
}

std::shared_ptr<AVFrame> CompositionVideoSource::pictureAt(MediaTime t) {
  if (std::shared_ptr<AVFrame> picture = pictureShownAt(t)) return picture;
  // Sound often runs on a little past the last picture (its last packet reaches further): the
  // movie's last frame shows the picture of one frame before the end rather than black, so
  // that a picture that ends less than a frame before the movie does is held to the end.
  const MediaTime lastFrameStart = maximum(MediaTime::zero(), subtract(duration_, frameDuration_));
  if (compare(t, lastFrameStart) > 0) {
    if (std::shared_ptr<AVFrame> held = pictureShownAt(lastFrameStart)) return held;
  }
  return renderer_->blackFrame();
}

std::shared_ptr<AVFrame> CompositionVideoSource::pictureShownAt(MediaTime t) {
  const std::optional<size_t> top = topLayerAt(t);
  if (!top) return nullptr;
  if (std::shared_ptr<AVFrame> cached = cache_->find(*top, t)) return cached;

  Layer& layer = layers_[*top];
  if (!layer.stream) layer.stream = std::make_unique<TrackPictureStream>(layer.track);
  std::optional<DecodedFrame> frame;
  if (isShortStepBack(layer, t)) {
    frame = layer.stream->frameAt(t, stepBackStart(layer, t), [&](const DecodedFrame& before) {
      if (!cache_->find(*top, before.time)) {
        cache_->insert(*top, before.time, before.duration, render(layer, before), t);
      }
    });
  } else {
    frame = layer.stream->frameAt(t);
  }
  if (!frame) return nullptr;
  std::shared_ptr<AVFrame> picture = render(layer, *frame);
  cache_->insert(*top, frame->time, frame->duration, picture, t);
  return picture;
}

std::shared_ptr<AVFrame> CompositionVideoSource::render(const Layer& layer,
                                                        const DecodedFrame& frame) {
  // A track shows its own pictures at their size, turned by the track's transform; a source of
  // another size (inserted from another movie) is fitted into the frame and centred.
  Size naturalSize = layer.track.naturalSize;
  auto placement = FrameRenderer::Placement::TopLeft;
  if (frame.segmentIndex < layer.track.segments.size()) {
    const TrackSegment segment = layer.track.segments[frame.segmentIndex];
    if (segment.source && !segment.source->naturalSize.isEmpty()) {
      naturalSize = segment.source->naturalSize;
      if (!layer.track.naturalSize.isEmpty() && naturalSize != layer.track.naturalSize) {
        placement = FrameRenderer::Placement::FitCentred;
      }
    }
  }
  return renderer_->render(*frame.frame, naturalSize, layer.track.preferredTransform, placement);
}

MediaTime CompositionVideoSource::shortestFrame(const Layer& layer) const {
  const MediaTime own = layer.track.minFrameDuration;
  if (own.isNumeric() && compare(own, MediaTime::zero()) > 0) {
    return minimum(own, frameDuration_);
  }
  return frameDuration_;
}

bool CompositionVideoSource::isShortStepBack(const Layer& layer, MediaTime t) const {
  if (stepBackFrames_ == 0 || !layer.stream) return false;
  const std::optional<MediaTime> position = layer.stream->position();
  if (!position || compare(t, *position) >= 0) return false;
  const MediaTime reach = multiply(shortestFrame(layer), static_cast<int32_t>(stepBackFrames_));
  return compare(subtract(*position, t), reach) <= 0;
}

MediaTime CompositionVideoSource::stepBackStart(const Layer& layer, MediaTime t) const {
  const MediaTime reach = multiply(shortestFrame(layer), static_cast<int32_t>(stepBackFrames_));
  return maximum(MediaTime::zero(), subtract(t, reach));
}

}  // namespace reelcraft
