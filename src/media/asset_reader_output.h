#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "media/asset.h"
#include "media/geometry.h"
#include "media/media_time.h"
#include "media/sample_buffer.h"
#include "media/video_composition.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace reelcraft {

class AssetReaderState;
class CompositionAudioSource;
class CompositionVideoSource;

// A stream of decoded samples from an AssetReader. An output is added to one reader before
// the reader starts; each output is then pulled on its own (typically from its own thread),
// independently of the others.
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
  explicit AssetReaderOutput(std::vector<AssetTrack> tracks) : tracks_(std::move(tracks)) {}

  // Sets up reading of `asset` (the reader's) from zero to its duration. Throws
  // ErrorException when the media cannot be read.
  virtual void prepare(const AssetPtr& asset) = 0;
  // The next sample, or null at the end. Throws ErrorException when reading fails.
  virtual std::shared_ptr<SampleBuffer> readNext() = 0;

 private:
  friend class AssetReader;

  std::vector<AssetTrack> tracks_;
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
