#pragma once

#include <cstddef>
#include <list>
#include <memory>

#include "media/base/geometry.h"
#include "media/model/picture_orientation.h"

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

struct AVFrame;

namespace reelcraft {

// Draws decoded pictures of video tracks into frames of one output size and pixel format.
//
// The render area (the video composition's render size) is shown at the output size, which
// may differ for scaled display or export. A picture is turned and mirrored as its track's
// preferred transform says (to the nearest quarter turn, see PictureOrientation), scaled as the
// transform and the output size say, and placed at the top-left corner of the area whatever
// the transform's translation; the rest of the frame is black. A picture from a source of
// another size than its track's (a clip inserted from another movie) is instead scaled to fit
// the area and centred in it, with black bars where the aspect ratios differ.
//
// The conversion for each geometry (picture size and format, orientation, size drawn) is set
// up once, as a libavfilter graph (scale, pixel format, transpose or flips), and kept for
// the following pictures of that geometry; a few geometries are kept at a time. A picture
// that needs no change at all is handed on without a copy.
//
// Not thread-safe: one renderer is used by one thread at a time.
class FrameRenderer {
 public:
  // Throws ErrorException (VideoCompositionError::NoVideo) when either size has no area, and
  // std::invalid_argument for a pixel format that frames cannot be converted to.
  FrameRenderer(Size renderSize, Size outputSize, AVPixelFormat pixelFormat);
  ~FrameRenderer();
  FrameRenderer(const FrameRenderer&) = delete;
  FrameRenderer& operator=(const FrameRenderer&) = delete;

  Size renderSize() const { return renderSize_; }
  int outputWidth() const { return outputWidth_; }
  int outputHeight() const { return outputHeight_; }
  AVPixelFormat pixelFormat() const { return pixelFormat_; }
  // The memory one output frame takes.
  size_t frameBytes() const;

  // `picture`, a decoded picture of a track whose pictures measure `naturalSize` before
  // `transform` (an empty size: the picture's own size and pixel aspect), drawn into a new
  // output frame. The result is shared and must not be changed; its pts is not set. Throws
  // ErrorException (VideoCompositionError::UnsupportedPicture) for a picture that cannot be
  // converted.
  enum class Placement { TopLeft, FitCentred };
  std::shared_ptr<AVFrame> render(const AVFrame& picture, Size naturalSize,
                                  const AffineTransform& transform,
                                  Placement placement = Placement::TopLeft);

  // An output frame that is black all over: the same shared frame every time.
  std::shared_ptr<AVFrame> blackFrame();

 private:
  struct Geometry {
    int width = 0;
    int height = 0;
    int format = -1;
    AVRational sampleAspectRatio{0, 1};
    PictureOrientation orientation;
    int drawnWidth = 0;  // the picture's size in the output frame, after turning
    int drawnHeight = 0;
    bool operator==(const Geometry&) const;
  };
  struct Conversion;

  Geometry geometryOf(const AVFrame& picture, Size naturalSize,
                      const AffineTransform& transform) const;
  Conversion& conversionFor(const Geometry& geometry);
  std::shared_ptr<AVFrame> newOutputFrame() const;
  void fitToOutput(Geometry& geometry) const;
  std::shared_ptr<AVFrame> placed(const AVFrame& drawn, int left, int top) const;

  Size renderSize_;
  int outputWidth_ = 0;
  int outputHeight_ = 0;
  AVPixelFormat pixelFormat_;
  std::list<std::unique_ptr<Conversion>> conversions_;  // most recently used first
  std::shared_ptr<AVFrame> black_;
};

}  // namespace reelcraft
