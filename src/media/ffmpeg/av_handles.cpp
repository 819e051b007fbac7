#include "media/ffmpeg/av_handles.h"

#include <new>

namespace reelcraft {

FramePtr allocateFrame() {
  FramePtr frame(av_frame_alloc());
  if (!frame) throw std::bad_alloc();
  return frame;
}

PacketPtr allocatePacket() {
  PacketPtr packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  return packet;
}

}  // namespace reelcraft
