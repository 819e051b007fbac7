#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "media/model/composition.h"
#include "media/save/passthrough_track_source.h"

namespace reelcraft {

class AssetReader;
class AssetReaderOutput;
class WriterEncoder;

// The packets of one composition track decoded and encoded again at high quality: H.264 for
// video (at the track's natural size, its transform left to the track header), AAC stereo for
// sound. For the tracks that cannot be copied: sources with different codec configurations,
// stretched sound. The edit list shows the whole track from the timeline's start.
class PassthroughTrackReencoder final : public PassthroughTrackSource {
 public:
  // Throws ErrorException when the track's media cannot be read or encoded.
  PassthroughTrackReencoder(const Composition& composition, const AssetTrack& track);
  ~PassthroughTrackReencoder() override;

  const AVCodecParameters& codecParameters() const override { return *parameters_; }
  AVRational preferredTimeBase() const override;
  void setOutputTimeBase(AVRational timeBase) override { outputTimeBase_ = timeBase; }
  bool next(PacketPtr& packet) override;
  const std::vector<PassthroughEdit>& edits() const override { return edits_; }

  // "H.264" or "AAC".
  const char* codecName() const;

 private:
  void checkReader() const;

  MediaType mediaType_;
  std::shared_ptr<AssetReader> reader_;
  std::shared_ptr<AssetReaderOutput> output_;
  std::unique_ptr<WriterEncoder> encoder_;
  CodecParametersPtr parameters_;
  std::deque<PacketPtr> ready_;
  bool flushed_ = false;
  AVRational outputTimeBase_{1, 1};
  bool offsetKnown_ = false;
  int64_t offset_ = 0;  // output ticks that make the first decode time zero
  int64_t lastDts_ = INT64_MIN;
  std::vector<PassthroughEdit> edits_;
};

}  // namespace reelcraft
