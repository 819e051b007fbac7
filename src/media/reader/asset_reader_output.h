#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "media/model/asset.h"
#include "media/base/geometry.h"
#include "media/base/media_time.h"
#include "media/model/sample_buffer.h"
#include "media/model/video_composition.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace reelcraft {

class AssetReaderState;
class CompositionAudioSource;
class CompositionVideoSource;
class SampleReadAhead;

// A stream of decoded samples from an AssetReader. An output is added to one reader before
// the reader starts; each output is then pulled on its own (typically from its own thread),
// independently of the others.
//
// The audio mix and video composition outputs read a few samples ahead on a worker thread of
// their own once reading has started, so that decoding goes on while the samples already
// handed out are being used; the worker stops when reading ends (completed, failed or
// cancelled) and when the output goes.
class AssetReaderOutput {
 public:
  virtual ~AssetReaderOutput();
  AssetReaderOutput(const AssetReaderOutput&) = delete;
  AssetReaderOutput& operator=(const AssetReaderOutput&) = delete;

  virtual MediaType mediaType() const = 0;
  // The tracks this output reads.
  const std::vector<AssetTrack>& tracks() const { return tracks_; }

  // The next sample in presentation order, or null when the output has run dry, when the
  // reader is not reading (not started, cancelled, failed or completed), or when reading
  // fails; a failure makes the reader's status Failed with the error. The last output to
  // run dry makes the reader's status Completed. Thread-safe.
  std::shared_ptr<SampleBuffer> copyNextSampleBuffer();

 protected:
  // Reads on the thread that pulls the output: readNext() is called by copyNextSampleBuffer.
  explicit AssetReaderOutput(std::vector<AssetTrack> tracks);
  // Reads up to `readAheadDepth` samples ahead on a worker thread (none for zero). A subclass
  // that reads ahead calls stopReadingAhead() first in its destructor.
  AssetReaderOutput(std::vector<AssetTrack> tracks, size_t readAheadDepth);

  // Stops the worker that calls readNext() and waits for it, while what readNext() uses is
  // still there.
  void stopReadingAhead();

  // Sets up reading of `asset` (the reader's) from zero to its duration. Throws
  // ErrorException when the media cannot be read.
  virtual void prepare(const AssetPtr& asset) = 0;
  // The next sample, or null at the end. Throws ErrorException when reading fails. Called one
  // call at a time, on the output's worker thread when it reads ahead.
  virtual std::shared_ptr<SampleBuffer> readNext() = 0;

 private:
  friend class AssetReader;

  // Starts the worker, if the output reads ahead; called by the reader once the output is
  // prepared.
  void startReadingAhead();
  // Makes the worker stop for good, from any thread; called by the reader when reading ends.
  void endReadingAhead();

  std::vector<AssetTrack> tracks_;
  size_t readAheadDepth_;
  // Set before reading starts and kept until the output goes.
  std::unique_ptr<SampleReadAhead> readAhead_;
  std::shared_ptr<AssetReaderState> reader_;  // set when added to a reader
  std::mutex readMutex_;
  bool finished_ = false;
};

struct AudioSettings {
  int sampleRate = 48000;
  // Stereo frames per sample buffer (the last one may be shorter).
  int framesPerBuffer = 4096;
};

// The audio tracks given, mixed into interleaved stereo float at the settings' rate over the
// reader's whole duration (silent where the tracks have no sound).
class AssetReaderAudioMixOutput final : public AssetReaderOutput {
 public:
  // Throws std::invalid_argument when a track is not an audio track or the settings are not
  // positive.
  explicit AssetReaderAudioMixOutput(std::vector<AssetTrack> audioTracks,
                                     AudioSettings settings = {});
  ~AssetReaderAudioMixOutput() override;

  MediaType mediaType() const override { return MediaType::Audio; }
  const AudioSettings& audioSettings() const { return settings_; }

 protected:
  void prepare(const AssetPtr& asset) override;
  std::shared_ptr<SampleBuffer> readNext() override;

 private:
  AudioSettings settings_;
  std::unique_ptr<CompositionAudioSource> source_;
};

struct VideoSettings {
  AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
  Size size{};  // empty: the video composition's render size
};

// The video tracks given, drawn by a video composition: one picture per frame of its cadence
// over the reader's whole duration.
class AssetReaderVideoCompositionOutput final : public AssetReaderOutput {
 public:
  // Throws std::invalid_argument when a track is not a video track.
  explicit AssetReaderVideoCompositionOutput(std::vector<AssetTrack> videoTracks,
                                             VideoSettings settings = {});
  ~AssetReaderVideoCompositionOutput() override;

  MediaType mediaType() const override { return MediaType::Video; }
  const VideoSettings& videoSettings() const { return settings_; }

  // How the pictures are drawn; set before the reader starts. Without one the reader's
  // asset's own properties are used (VideoComposition::withPropertiesOfAsset).
  void setVideoComposition(VideoComposition composition);
  const std::optional<VideoComposition>& videoComposition() const { return videoComposition_; }

 protected:
  void prepare(const AssetPtr& asset) override;
  std::shared_ptr<SampleBuffer> readNext() override;

 private:
  VideoSettings settings_;
  std::optional<VideoComposition> videoComposition_;
  std::unique_ptr<CompositionVideoSource> source_;
};

}  // namespace reelcraft
