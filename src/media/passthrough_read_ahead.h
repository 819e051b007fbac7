#pragma once

#include <cstddef>
#include <memory>

#include "media/passthrough_track_copier.h"
#include "media/read_ahead.h"

namespace reelcraft {

// Makes the packets of another track source on a worker thread of its own, up to `depth` of
// them ahead of the writer and handed over `batch` at a time (see ReadAhead), so that reading
// the sources and writing the movie overlap. The
// wrapped source is used by the worker alone from setOutputTimeBase() on; its edit list is
// read once next() has returned false.
class PassthroughReadAhead final : public PassthroughTrackSource {
 public:
  PassthroughReadAhead(std::unique_ptr<PassthroughTrackSource> source, size_t depth, size_t batch);

  const AVCodecParameters& codecParameters() const override { return source_->codecParameters(); }
  AVRational preferredTimeBase() const override { return source_->preferredTimeBase(); }
  // Starts the worker.
  void setOutputTimeBase(AVRational timeBase) override;
  bool next(PacketPtr& packet) override;
  const std::vector<PassthroughEdit>& edits() const override { return source_->edits(); }
  const std::vector<PassthroughSharedSample>& sharedSamples() const override {
    return source_->sharedSamples();
  }

 private:
  std::unique_ptr<PassthroughTrackSource> source_;
  size_t depth_;
  size_t batch_;
  std::unique_ptr<ReadAhead<PacketPtr>> ahead_;  // last: stopped before the source goes
};

}  // namespace reelcraft
