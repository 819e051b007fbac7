#include "media/save/recent_video_packets.h"

#include <new>

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {

void RecentVideoPackets::remember(const AVPacket& packet) {
  if (packet.flags & AV_PKT_FLAG_KEY) {
    forget();
  } else if (packets_.empty()) {
    return;  // nothing to replay before the next keyframe
  }
  if (bytes_ + packet.size > kMaxBytes) {
    forget();
    return;
  }
  PacketPtr reference = allocatePacket();
  if (av_packet_ref(reference.get(), &packet) < 0) throw std::bad_alloc();
  bytes_ += packet.size;
  byDts_[packet.dts] = packets_.size();
  packets_.push_back({std::move(reference), -1});
}

void RecentVideoPackets::forget() {
  packets_.clear();
  bytes_ = 0;
  replay_.clear();
  byDts_.clear();
}

bool RecentVideoPackets::canReplayFrom(const AVIndexEntry* keyframe, int64_t start) const {
  if (packets_.empty() || !replay_.empty()) return false;
  // The keyframe a seek would find is the last one at or before the start (indexes count decode
  // or presentation times, so it is told by its place in the file or its presentation time);
  // it must also be shown at or before the start.
  const AVPacket& first = *packets_.front().packet;
  return keyframe && (keyframe->pos == first.pos || keyframe->timestamp == first.pts) &&
         first.pts <= start;
}

void RecentVideoPackets::replay() {
  for (const Packet& recent : packets_) {
    PacketPtr copy = allocatePacket();
    if (recent.writtenAs < 0) {
      if (av_packet_ref(copy.get(), recent.packet.get()) < 0) throw std::bad_alloc();
    } else {
      // Written already: it comes back as a stand-in, which needs no bytes but must know its
      // sample even once a later keyframe has made the packets be forgotten.
      if (av_packet_copy_props(copy.get(), recent.packet.get()) < 0) throw std::bad_alloc();
      copy->opaque = reinterpret_cast<void*>(static_cast<intptr_t>(recent.writtenAs + 1));
    }
    replay_.push_back(std::move(copy));
  }
}

bool RecentVideoPackets::nextReplayed(PacketPtr& packet) {
  if (replay_.empty()) return false;
  packet = std::move(replay_.front());
  replay_.pop_front();
  return true;
}

int64_t RecentVideoPackets::noteWritten(const AVPacket& packet, int64_t sample) {
  if (packet.opaque) return reinterpret_cast<intptr_t>(packet.opaque) - 1;
  const auto found = byDts_.find(packet.dts);
  if (found == byDts_.end()) return -1;
  Packet& recent = packets_[found->second];
  if (recent.writtenAs >= 0) return recent.writtenAs;
  // Written now: a replay of it shares these bytes, so it needs no copy of them.
  recent.writtenAs = sample;
  bytes_ -= recent.packet->size;
  av_buffer_unref(&recent.packet->buf);
  recent.packet->data = nullptr;
  recent.packet->size = 0;
  return -1;
}

}  // namespace reelcraft
