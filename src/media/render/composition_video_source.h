#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "media/base/geometry.h"
#include "media/base/media_time.h"
#include "media/model/asset.h"
#include "media/model/video_composition.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

struct AVFrame;

namespace reelcraft {

struct DecodedFrame;
class FrameRenderer;
class RenderedFrameCache;
class TrackPictureStream;

// One picture of a composition's video and the stretch of the timeline it stands for.
struct VideoFrame {
  // In the source's output size and pixel format. Shared with the source's cache and with
  // other VideoFrames (a picture shown for several frames is drawn once): read only. Its pts
  // is not set; `time` is the frame's time.
  std::shared_ptr<AVFrame> frame;
  MediaTime time;
  MediaTime duration;
};

// The video of a composition (or of any asset) as a video composition draws it: a picture for
// every frame of the cadence, each the picture displayed at the frame's start.
//
// The picture displayed at a time t is the decoded frame whose interval contains t, of the
// topmost video track that has media at t (the first video track is on top; its pictures
// hide the tracks below), drawn by FrameRenderer: turned as the track's preferred transform
// says, at the top-left of the render area, black elsewhere. Where no track has media the
// picture is black, except in the movie's last frame, which holds the picture shown one frame
// before the end (sound that outlasts the picture by less than a frame).
//
// Reading in order (nextFrame) decodes each track straight on. Exact access (frameAt) reads on
// from the present position when the time lies ahead within reach of the decoder, and seeks
// from the keyframe before the time otherwise. A small cache of drawn pictures around the
// playhead serves steps in both directions; a short step back reads the stretch of frames
// before it into the cache at once, so that each further step back needs no decoding.
//
// Not thread-safe: a source is used by one thread at a time (a player's or exporter's worker).
// It keeps no tie to the thread that created it, so it may be created on one thread and used
// on another.
class CompositionVideoSource {
 public:
  struct Options {
    AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
    Size outputSize{};  // empty: the render size
    // Drawn pictures kept for steps back and for pictures shown over several frames; zero:
    // as many as fit in a few tens of megabytes. A reader that only goes forward keeps the
    // fewest (two), so that the decoder's picture buffers are reused while still in the
    // processor's cache.
    size_t cachedFrames = 0;
  };

  // Throws ErrorException (VideoCompositionError::NoVideo) when the render size or the output
  // size is empty, and std::invalid_argument when the video composition's frame duration is
  // not a positive number or frames cannot be made in the pixel format.
  static std::unique_ptr<CompositionVideoSource> create(std::shared_ptr<const Asset> composition,
                                                        VideoComposition videoComposition,
                                                        Options options);
  // YUV 4:2:0 frames of the render size.
  static std::unique_ptr<CompositionVideoSource> create(std::shared_ptr<const Asset> composition,
                                                        VideoComposition videoComposition);
  ~CompositionVideoSource();
  CompositionVideoSource(const CompositionVideoSource&) = delete;
  CompositionVideoSource& operator=(const CompositionVideoSource&) = delete;

  Size renderSize() const;
  // In whole pixels, as the frames are made.
  Size outputSize() const;
  MediaTime frameDuration() const { return frameDuration_; }
  MediaTime duration() const { return duration_; }

  // The next frame of the cadence: times 0, d, 2d... before the duration, each lasting d (the
  // last one up to the end); nothing after the last. Throws ErrorException when a source
  // cannot be read or a picture drawn.
  std::optional<VideoFrame> nextFrame();

  // Makes the next nextFrame() the frame of the cadence that contains `t` (a time before zero
  // counts as zero; at or after the end, nextFrame() gives nothing).
  void seek(MediaTime t);

  // The picture displayed at `t` exactly, as a frame of the cadence slot that contains t (its
  // time is the slot's start). The end of the movie shows the last slot's picture, as a
  // player that has played to the end does. Throws ErrorException
  // (VideoCompositionError::TimeOutsideMovie) for a time before zero or after the end, or
  // one that is not a number, and as nextFrame() does.
  VideoFrame frameAt(MediaTime t);

 private:
  struct Layer;

  CompositionVideoSource(std::shared_ptr<const Asset> composition,
                         VideoComposition videoComposition, Options options);

  int64_t slotCount() const;
  int64_t slotIndexAt(MediaTime t) const;
  MediaTime slotStart(int64_t index) const;
  VideoFrame slotFrame(int64_t index, std::shared_ptr<AVFrame> picture) const;
  std::shared_ptr<AVFrame> pictureAt(MediaTime t);
  // The picture of the topmost track that shows one at `t`, or null.
  std::shared_ptr<AVFrame> pictureShownAt(MediaTime t);
  std::optional<size_t> topLayerAt(MediaTime t) const;
  std::shared_ptr<AVFrame> render(const Layer& layer, const DecodedFrame& frame);
  bool isShortStepBack(const Layer& layer, MediaTime t) const;
  MediaTime stepBackStart(const Layer& layer, MediaTime t) const;
  MediaTime shortestFrame(const Layer& layer) const;

  std::shared_ptr<const Asset> composition_;
  VideoComposition videoComposition_;
  MediaTime frameDuration_;
  MediaTime duration_;
  std::vector<Layer> layers_;
  std::unique_ptr<FrameRenderer> renderer_;
  std::unique_ptr<RenderedFrameCache> cache_;
  size_t stepBackFrames_ = 0;
  int64_t nextSlot_ = 0;
};

}  // namespace reelcraft
