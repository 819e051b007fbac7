#pragma once

// The one place of FFmpeg glue: owning handles for every FFmpeg object the project allocates,
// and FFmpeg's text for its error codes.

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavformat/avio.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/frame.h>
#include <libavutil/tx.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace reelcraft {

// Deleters that call FFmpeg's function for freeing the object: most take the address of the
// pointer (and clear it), a few the pointer itself.
template <auto freeFunction>
struct FreeByAddress {
  template <typename T>
  void operator()(T* object) const {
    freeFunction(&object);
  }
};
template <auto freeFunction>
struct FreeByPointer {
  template <typename T>
  void operator()(T* object) const {
    freeFunction(object);
  }
};

// A muxer's context from avformat_alloc_output_context2; the file it opened with avio_open
// (if still open) is closed too.
struct OutputContextDeleter {
  void operator()(AVFormatContext* context) const {
    if (context->pb && !(context->oformat->flags & AVFMT_NOFILE)) avio_closep(&context->pb);
    avformat_free_context(context);
  }
};

using CodecContextPtr = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using CodecParametersPtr =
    std::unique_ptr<AVCodecParameters, FreeByAddress<avcodec_parameters_free>>;
using PacketPtr = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using FramePtr = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;
using ResamplerPtr = std::unique_ptr<SwrContext, FreeByAddress<swr_free>>;
using ScalerPtr = std::unique_ptr<SwsContext, FreeByPointer<sws_freeContext>>;
using FilterGraphPtr = std::unique_ptr<AVFilterGraph, FreeByAddress<avfilter_graph_free>>;
using FilterInOutPtr = std::unique_ptr<AVFilterInOut, FreeByAddress<avfilter_inout_free>>;
using IoContextPtr = std::unique_ptr<AVIOContext, FreeByAddress<avio_closep>>;
// A demuxer's context from avformat_open_input.
using InputContextPtr = std::unique_ptr<AVFormatContext, FreeByAddress<avformat_close_input>>;
using OutputContextPtr = std::unique_ptr<AVFormatContext, OutputContextDeleter>;
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, FreeByPointer<av_audio_fifo_free>>;
using TxContextPtr = std::unique_ptr<AVTXContext, FreeByAddress<av_tx_uninit>>;

// New, empty objects; each throws std::bad_alloc when there is no memory.
FramePtr allocateFrame();
PacketPtr allocatePacket();
CodecParametersPtr allocateCodecParameters();

// FFmpeg's text for an error code.
std::string ffmpegErrorText(int code);

// Returns `code`, or throws std::runtime_error("<what>: <FFmpeg's text>") when it is an error.
int checkFFmpeg(int code, const std::string& what);

}  // namespace reelcraft
