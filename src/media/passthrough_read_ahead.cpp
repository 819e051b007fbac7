#include "media/passthrough_read_ahead.h"

#include <stdexcept>
#include <utility>

namespace reelcraft {

PassthroughReadAhead::PassthroughReadAhead(std::unique_ptr<PassthroughTrackSource> source,
                                           size_t depth, size_t batch)
    : source_(std::move(source)), depth_(depth), batch_(batch) {
  if (!source_) throw std::invalid_argument("reading ahead needs a track source");
}

void PassthroughReadAhead::setOutputTimeBase(AVRational timeBase) {
  if (ahead_) throw std::logic_error("the output time base is set once");
  source_->setOutputTimeBase(timeBase);
  ahead_ = std::make_unique<ReadAhead<PacketPtr>>(
      [this] {
        PacketPtr packet;
        return source_->next(packet) ? std::move(packet) : PacketPtr();
      },
      depth_, batch_);
}

bool PassthroughReadAhead::next(PacketPtr& packet) {
  if (!ahead_) throw std::logic_error("packets are read once the output time base is set");
  packet = ahead_->next();
  return packet != nullptr;
}

}  // namespace reelcraft
