#include "media/render/frame_renderer.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <stdexcept>
#include <string>

#include "media/ffmpeg/av_handles.h"
#include "media/model/video_composition.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace reelcraft {
namespace {

// Geometries kept set up at once: a track's pictures, and the odd source of another size
// inserted into it, alternate between a few of them.
constexpr size_t kMaxConversions = 4;

[[noreturn]] void throwUnsupported(const std::string& what) {
  throw ErrorException(makeVideoCompositionError(VideoCompositionError::UnsupportedPicture, what));
}

int wholePixels(double length) {
  return static_cast<int>(std::lround(length));
}

// The libavfilter filters that turn a picture as `orientation` says.
std::string orientationFilters(const PictureOrientation& orientation) {
  if (orientation.mirrored) {
    switch (orientation.quarterTurnsClockwise) {
      case 0:
        return "hflip";
      case 1:
        return "transpose=dir=clock_flip";
      case 2:
        return "vflip";
      default:
        return "transpose=dir=cclock_flip";
    }
  }
  switch (orientation.quarterTurnsClockwise) {
    case 0:
      return "";
    case 1:
      return "transpose=dir=clock";
    case 2:
      return "hflip,vflip";
    default:
      return "transpose=dir=cclock";
  }
}

bool isYuv(AVPixelFormat format) {
  const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
  return descriptor && !(descriptor->flags & AV_PIX_FMT_FLAG_RGB) && descriptor->nb_components >= 3;
}

// Black in the frame's range: YUV pictures without a stated range are in the video range.
void fillBlack(AVFrame& frame) {
  const AVColorRange range =
      isYuv(static_cast<AVPixelFormat>(frame.format)) && frame.color_range != AVCOL_RANGE_JPEG
          ? AVCOL_RANGE_MPEG
          : AVCOL_RANGE_JPEG;
  ptrdiff_t linesizes[4];
  for (int plane = 0; plane < 4; ++plane) linesizes[plane] = frame.linesize[plane];
  av_image_fill_black(frame.data, linesizes, static_cast<AVPixelFormat>(frame.format), range,
                      frame.width, frame.height);
}

std::shared_ptr<AVFrame> shared(FramePtr frame) {
  return std::shared_ptr<AVFrame>(std::move(frame));
}

}  // namespace

struct FrameRenderer::Conversion {
  Geometry geometry;
  FilterGraphPtr graph;
  AVFilterContext* source = nullptr;
  AVFilterContext* sink = nullptr;
};

bool FrameRenderer::Geometry::operator==(const Geometry& other) const {
  return width == other.width && height == other.height && format == other.format &&
         av_cmp_q(sampleAspectRatio, other.sampleAspectRatio) == 0 &&
         sampleAspectRatio.den == other.sampleAspectRatio.den && orientation == other.orientation &&
         drawnWidth == other.drawnWidth && drawnHeight == other.drawnHeight;
}

FrameRenderer::FrameRenderer(Size renderSize, Size outputSize, AVPixelFormat pixelFormat)
    : renderSize_(renderSize),
      outputWidth_(wholePixels(outputSize.width)),
      outputHeight_(wholePixels(outputSize.height)),
      pixelFormat_(pixelFormat) {
  if (renderSize.isEmpty() || outputWidth_ <= 0 || outputHeight_ <= 0) {
    throw ErrorException(makeVideoCompositionError(VideoCompositionError::NoVideo));
  }
  const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(pixelFormat);
  if (!descriptor || (descriptor->flags & AV_PIX_FMT_FLAG_HWACCEL) ||
      !sws_isSupportedOutput(pixelFormat)) {
    throw std::invalid_argument("frames cannot be drawn in pixel format " +
                                std::to_string(static_cast<int>(pixelFormat)));
  }
}

FrameRenderer::~FrameRenderer() = default;

size_t FrameRenderer::frameBytes() const {
  const int bytes = av_image_get_buffer_size(pixelFormat_, outputWidth_, outputHeight_, 1);
  return bytes > 0 ? static_cast<size_t>(bytes) : 0;
}

FrameRenderer::Geometry FrameRenderer::geometryOf(const AVFrame& picture, Size naturalSize,
                                                  const AffineTransform& transform) const {
  Geometry geometry;
  geometry.width = picture.width;
  geometry.height = picture.height;
  geometry.format = picture.format;
  geometry.sampleAspectRatio = picture.sample_aspect_ratio;
  if (geometry.sampleAspectRatio.num <= 0 || geometry.sampleAspectRatio.den <= 0) {
    geometry.sampleAspectRatio = AVRational{0, 1};
  }
  if (naturalSize.isEmpty()) {
    const double aspect =
        geometry.sampleAspectRatio.num > 0 ? av_q2d(geometry.sampleAspectRatio) : 1.0;
    naturalSize = Size{picture.width * aspect, static_cast<double>(picture.height)};
  }
  geometry.orientation = PictureOrientation::nearestTo(transform);
  const Size shown = displayedSize(naturalSize, transform);
  geometry.drawnWidth = std::max(1, wholePixels(shown.width * outputWidth_ / renderSize_.width));
  geometry.drawnHeight =
      std::max(1, wholePixels(shown.height * outputHeight_ / renderSize_.height));
  return geometry;
}

FrameRenderer::Conversion& FrameRenderer::conversionFor(const Geometry& geometry) {
  for (auto it = conversions_.begin(); it != conversions_.end(); ++it) {
    if ((*it)->geometry == geometry) {
      conversions_.splice(conversions_.begin(), conversions_, it);
      return *conversions_.front();
    }
  }

  auto conversion = std::make_unique<Conversion>();
  conversion->geometry = geometry;
  conversion->graph.reset(avfilter_graph_alloc());
  if (!conversion->graph) throw std::bad_alloc();
  // Frames are drawn one at a time on the caller's thread; the decoders own the threads.
  conversion->graph->nb_threads = 1;

  const char* inputFormat = av_get_pix_fmt_name(static_cast<AVPixelFormat>(geometry.format));
  if (!inputFormat || geometry.width <= 0 || geometry.height <= 0) {
    throwUnsupported("(the decoder gave a picture of no known format)");
  }
  const std::string sourceArguments =
      "video_size=" + std::to_string(geometry.width) + "x" + std::to_string(geometry.height) +
      ":pix_fmt=" + inputFormat +
      ":time_base=1/1:pixel_aspect=" + std::to_string(geometry.sampleAspectRatio.num) + "/" +
      std::to_string(geometry.sampleAspectRatio.den);
  AVFilterGraph* graph = conversion->graph.get();
  if (avfilter_graph_create_filter(&conversion->source, avfilter_get_by_name("buffer"), "in",
                                   sourceArguments.c_str(), nullptr, graph) < 0 ||
      avfilter_graph_create_filter(&conversion->sink, avfilter_get_by_name("buffersink"), "out",
                                   nullptr, nullptr, graph) < 0) {
    throwUnsupported("(the picture format " + std::string(inputFormat) + " is not supported)");
  }

  // Scaling comes before turning: it is cheaper to turn the smaller picture when shrinking.
  const bool sideways = geometry.orientation.swapsAxes();
  const int scaledWidth = sideways ? geometry.drawnHeight : geometry.drawnWidth;
  const int scaledHeight = sideways ? geometry.drawnWidth : geometry.drawnHeight;
  std::string description = "scale=w=" + std::to_string(scaledWidth) +
                            ":h=" + std::to_string(scaledHeight) +
                            ":flags=bicubic,format=pix_fmts=" + av_get_pix_fmt_name(pixelFormat_);
  if (const std::string turn = orientationFilters(geometry.orientation); !turn.empty()) {
    description += "," + turn;
  }

  FilterInOutPtr outputs(avfilter_inout_alloc());
  FilterInOutPtr inputs(avfilter_inout_alloc());
  if (!outputs || !inputs) throw std::bad_alloc();
  outputs->name = av_strdup("in");
  outputs->filter_ctx = conversion->source;
  inputs->name = av_strdup("out");
  inputs->filter_ctx = conversion->sink;
  AVFilterInOut* openInputs = inputs.release();
  AVFilterInOut* openOutputs = outputs.release();
  const int parsed =
      avfilter_graph_parse_ptr(graph, description.c_str(), &openInputs, &openOutputs, nullptr);
  // What the parser left unlinked goes back to the handles.
  inputs.reset(openInputs);
  outputs.reset(openOutputs);
  if (parsed < 0 || avfilter_graph_config(graph, nullptr) < 0) {
    throwUnsupported("(a " + std::string(inputFormat) + " picture of " +
                     std::to_string(geometry.width) + "×" + std::to_string(geometry.height) +
                     " pixels cannot be converted)");
  }

  conversions_.push_front(std::move(conversion));
  if (conversions_.size() > kMaxConversions) conversions_.pop_back();
  return *conversions_.front();
}

void FrameRenderer::fitToOutput(Geometry& geometry) const {
  const double scale = std::min(static_cast<double>(outputWidth_) / geometry.drawnWidth,
                                static_cast<double>(outputHeight_) / geometry.drawnHeight);
  geometry.drawnWidth = std::clamp(wholePixels(geometry.drawnWidth * scale), 1, outputWidth_);
  geometry.drawnHeight = std::clamp(wholePixels(geometry.drawnHeight * scale), 1, outputHeight_);
}

std::shared_ptr<AVFrame> FrameRenderer::render(const AVFrame& picture, Size naturalSize,
                                               const AffineTransform& transform,
                                               Placement placement) {
  Geometry geometry = geometryOf(picture, naturalSize, transform);
  if (placement == Placement::FitCentred) fitToOutput(geometry);
  Conversion& conversion = conversionFor(geometry);
  // The source takes a reference of its own; the caller's picture is not changed.
  if (av_buffersrc_add_frame_flags(conversion.source, const_cast<AVFrame*>(&picture),
                                   AV_BUFFERSRC_FLAG_KEEP_REF) < 0) {
    throwUnsupported("(the picture could not be handed to the converter)");
  }
  FramePtr drawn = allocateFrame();
  const int result = av_buffersink_get_frame(conversion.sink, drawn.get());
  if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
  if (result < 0) throwUnsupported("(the picture could not be converted)");

  int left = 0;
  int top = 0;
  if (placement == Placement::FitCentred) {
    // On whole chroma samples, so that the colour planes line up with the picture.
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(pixelFormat_);
    const int alignX = 1 << descriptor->log2_chroma_w;
    const int alignY = 1 << descriptor->log2_chroma_h;
    left = (outputWidth_ - drawn->width) / 2 / alignX * alignX;
    top = (outputHeight_ - drawn->height) / 2 / alignY * alignY;
  }
  std::shared_ptr<AVFrame> output = drawn->width == outputWidth_ && drawn->height == outputHeight_
                                        ? shared(std::move(drawn))
                                        : placed(*drawn, left, top);
  output->pts = AV_NOPTS_VALUE;
  output->sample_aspect_ratio = AVRational{1, 1};
  return output;
}

std::shared_ptr<AVFrame> FrameRenderer::placed(const AVFrame& drawn, int left, int top) const {
  std::shared_ptr<AVFrame> output = newOutputFrame();
  av_frame_copy_props(output.get(), &drawn);
  fillBlack(*output);
  // Each plane's first byte at (left, top), its chroma planes subsampled as the format says.
  const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(pixelFormat_);
  int pixelSteps[4];
  av_image_fill_max_pixsteps(pixelSteps, nullptr, descriptor);
  uint8_t* target[4] = {};
  for (int plane = 0; plane < 4 && output->data[plane]; ++plane) {
    const bool chroma = plane == 1 || plane == 2;
    const int x = chroma ? left >> descriptor->log2_chroma_w : left;
    const int y = chroma ? top >> descriptor->log2_chroma_h : top;
    target[plane] = output->data[plane] + y * output->linesize[plane] + x * pixelSteps[plane];
  }
  const uint8_t* source[4] = {drawn.data[0], drawn.data[1], drawn.data[2], drawn.data[3]};
  av_image_copy(target, output->linesize, source, drawn.linesize, pixelFormat_,
                std::min(drawn.width, outputWidth_ - left),
                std::min(drawn.height, outputHeight_ - top));
  return output;
}

std::shared_ptr<AVFrame> FrameRenderer::newOutputFrame() const {
  FramePtr frame = allocateFrame();
  frame->format = pixelFormat_;
  frame->width = outputWidth_;
  frame->height = outputHeight_;
  const int result = av_frame_get_buffer(frame.get(), 0);
  if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
  if (result < 0) throwUnsupported("(no frame of the output size could be made)");
  return shared(std::move(frame));
}

std::shared_ptr<AVFrame> FrameRenderer::blackFrame() {
  if (!black_) {
    black_ = newOutputFrame();
    black_->color_range = isYuv(pixelFormat_) ? AVCOL_RANGE_MPEG : AVCOL_RANGE_JPEG;
    fillBlack(*black_);
    black_->sample_aspect_ratio = AVRational{1, 1};
  }
  return black_;
}

}  // namespace reelcraft
