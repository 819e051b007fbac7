#pragma once
// The packets a movie file stores, read in sample table order with the edit lists ignored.

#include <functional>
#include <string>

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft::stored {

// Calls `visit` with every stored packet of `type` in `path`; false when the file cannot be
// opened.
inline bool forEachPacket(const std::string& path, AVMediaType type,
                          const std::function<void(const AVPacket&)>& visit) {
  AVFormatContext* raw = nullptr;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "ignore_editlist", "1", 0);
  const int opened = avformat_open_input(&raw, ("file:" + path).c_str(), nullptr, &options);
  av_dict_free(&options);
  if (opened < 0) return false;
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(raw, packet) >= 0) {
    if (raw->streams[packet->stream_index]->codecpar->codec_type == type) visit(*packet);
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&raw);
  return true;
}

}  // namespace reelcraft::stored
