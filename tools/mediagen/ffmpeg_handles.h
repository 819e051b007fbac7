#pragma once

// Owning handles and error text for the FFmpeg objects the test media code uses.

#include <memory>
#include <stdexcept>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace reelcraft::testmedia {

struct InputContextDeleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct CodecContextDeleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct SwrDeleter {
  void operator()(SwrContext* context) const { swr_free(&context); }
};
struct SwsDeleter {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};

using InputContextPtr = std::unique_ptr<AVFormatContext, InputContextDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using SwrPtr = std::unique_ptr<SwrContext, SwrDeleter>;
using SwsPtr = std::unique_ptr<SwsContext, SwsDeleter>;

inline std::string ffmpegErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

// Throws std::runtime_error("<what>: <FFmpeg's message>") when `code` is an FFmpeg error.
inline int checkFFmpeg(int code, const std::string& what) {
  if (code < 0) throw std::runtime_error(what + ": " + ffmpegErrorText(code));
  return code;
}

}  // namespace reelcraft::testmedia
