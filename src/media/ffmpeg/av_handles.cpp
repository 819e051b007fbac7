#include "media/ffmpeg/av_handles.h"

#include <new>
#include <stdexcept>

extern "C" {
#include <libavutil/error.h>
}

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

CodecParametersPtr allocateCodecParameters() {
  CodecParametersPtr parameters(avcodec_parameters_alloc());
  if (!parameters) throw std::bad_alloc();
  return parameters;
}

std::string ffmpegErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

int checkFFmpeg(int code, const std::string& what) {
  if (code < 0) throw std::runtime_error(what + ": " + ffmpegErrorText(code));
  return code;
}

}  // namespace reelcraft
