#include "media/render/png_writer.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>

#include "media/base/error.h"
#include "media/base/media_error_codes.h"
#include "media/ffmpeg/av_handles.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

namespace reelcraft {
namespace {

[[noreturn]] void throwNotWritten(const std::string& path, const std::string& reason) {
  throw ErrorException(mediaError(PictureWritingError::NotWritten,
                                  "The picture couldn’t be saved as “" +
                                      std::filesystem::path(path).filename().string() +
                                      "” because " + reason + ".",
                                  "Choose another name or folder, then try again."));
}

std::string reasonFor(int error) {
  switch (error) {
    case ENOENT:
      return "its folder doesn’t exist";
    case EACCES:
    case EPERM:
      return "you don’t have permission to write there";
    case EISDIR:
      return "a folder of that name is there";
    case ENOSPC:
      return "the disk is full";
    default: {
      std::string reason = std::strerror(error);
      if (!reason.empty()) reason[0] = static_cast<char>(std::tolower(reason[0]));
      return reason;
    }
  }
}

// The picture as RGB, which the PNG encoder takes (a picture in RGB already is only
// referenced).
FramePtr rgbPicture(const AVFrame& picture) {
  FramePtr rgb = allocateFrame();
  if (picture.format == AV_PIX_FMT_RGB24 || picture.format == AV_PIX_FMT_RGBA) {
    if (av_frame_ref(rgb.get(), &picture) < 0) throw std::bad_alloc();
    return rgb;
  }
  rgb->format = AV_PIX_FMT_RGB24;
  rgb->width = picture.width;
  rgb->height = picture.height;
  if (av_frame_get_buffer(rgb.get(), 0) < 0) throw std::bad_alloc();
  ScalerPtr scaler(sws_getContext(
      picture.width, picture.height, static_cast<AVPixelFormat>(picture.format), picture.width,
      picture.height, AV_PIX_FMT_RGB24, SWS_BICUBIC, nullptr, nullptr, nullptr));
  if (!scaler || sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height,
                           rgb->data, rgb->linesize) <= 0) {
    return nullptr;
  }
  return rgb;
}

}  // namespace

void writePng(const AVFrame& picture, const std::string& path) {
  const FramePtr rgb = rgbPicture(picture);
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
  if (!rgb || !codec) throwNotWritten(path, "the picture couldn’t be converted");
  CodecContextPtr encoder(avcodec_alloc_context3(codec));
  if (!encoder) throw std::bad_alloc();
  encoder->width = rgb->width;
  encoder->height = rgb->height;
  encoder->pix_fmt = static_cast<AVPixelFormat>(rgb->format);
  encoder->time_base = AVRational{1, 1};
  PacketPtr packet = allocatePacket();
  if (avcodec_open2(encoder.get(), codec, nullptr) < 0 ||
      avcodec_send_frame(encoder.get(), rgb.get()) < 0 ||
      avcodec_send_frame(encoder.get(), nullptr) < 0 ||
      avcodec_receive_packet(encoder.get(), packet.get()) < 0) {
    throwNotWritten(path, "the picture couldn’t be encoded");
  }

  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) throwNotWritten(path, reasonFor(errno));
  file.write(reinterpret_cast<const char*>(packet->data), packet->size);
  file.close();
  if (!file) throwNotWritten(path, "the disk couldn’t take it");
}

}  // namespace reelcraft
