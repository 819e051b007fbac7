#include "media/save/passthrough_source_reader.h"

#include <new>
#include <string>

#include "media/base/media_error.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {

InputFilePtr PassthroughSourceReader::openFile(const SourceTrack& source) {
  AVFormatContext* raw = avformat_alloc_context();
  if (!raw) throw std::bad_alloc();
  // The container's samples are whole frames already: parsing them again only costs time.
  raw->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
  // Sound is usually stored in small chunks between the video's: seek over the video rather
  // than read through it.
  if (source.mediaType == MediaType::Audio) raw->avio_flags |= AVIO_FLAG_DIRECT;
  const std::string url = "file:" + source.readPath();
  const int result = avformat_open_input(&raw, url.c_str(), nullptr, nullptr);
  if (result < 0) {
    throwMediaError(result == AVERROR(ENOENT)   ? MediaErrorCode::FileNotFound
                    : result == AVERROR(EACCES) ? MediaErrorCode::PermissionDenied
                                                : MediaErrorCode::Damaged,
                    source.path);
  }
  return InputFilePtr(raw);
}

bool PassthroughSourceReader::open(const std::shared_ptr<const SourceTrack>& source) {
  if (input_ && source->readPath() == source_->readPath() && source->streamIndex == streamIndex_) {
    return false;
  }
  input_.reset();
  use(openFile(*source), source);
  return true;
}

void PassthroughSourceReader::use(InputFilePtr file,
                                  const std::shared_ptr<const SourceTrack>& source) {
  input_ = std::move(file);
  source_ = source;
  const int streamIndex = source->streamIndex;
  if (streamIndex < 0 || streamIndex >= static_cast<int>(input_->nb_streams)) {
    throwMediaError(MediaErrorCode::Damaged, source->path);
  }
  streamIndex_ = streamIndex;
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    input_->streams[i]->discard =
        static_cast<int>(i) == streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  timeBase_ = input_->streams[streamIndex]->time_base;
}

const AVIndexEntry* PassthroughSourceReader::keyframeAtOrBefore(int64_t ticks) const {
  return avformat_index_get_entry_from_timestamp(input_->streams[streamIndex_], ticks,
                                                 AVSEEK_FLAG_BACKWARD);
}

void PassthroughSourceReader::seek(int64_t ticks) {
  atEnd_ = false;
  if (!trySeek(ticks)) {
    // Before the first sample: read from the beginning.
    const std::shared_ptr<const SourceTrack> source = source_;
    input_.reset();
    open(source);
  }
}

bool PassthroughSourceReader::trySeek(int64_t ticks) {
  return av_seek_frame(input_.get(), streamIndex_, ticks, AVSEEK_FLAG_BACKWARD) >= 0;
}

bool PassthroughSourceReader::read(PacketPtr& packet) {
  if (atEnd_) return false;
  packet = allocatePacket();
  while (true) {
    const int result = av_read_frame(input_.get(), packet.get());
    if (result == AVERROR_EOF) {
      atEnd_ = true;
      return false;
    }
    if (result < 0) throwMediaError(MediaErrorCode::Damaged, source_->path);
    if (packet->stream_index == streamIndex_ && packet->pts != AV_NOPTS_VALUE) {
      if (packet->dts == AV_NOPTS_VALUE) packet->dts = packet->pts;
      return true;
    }
    av_packet_unref(packet.get());
  }
}

}  // namespace reelcraft
