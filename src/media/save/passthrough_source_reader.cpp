#include "media/save/passthrough_source_reader.h"

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "media/base/media_error.h"
#include "media/model/stream_time.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {

InputFilePtr PassthroughSourceReader::openFile(const SourceTrack& source) {
  // Opened as FFmpeg's own tools open it: the demuxer's parsers cut whole frames out of the
  // stored data and fill in the timestamps that the container leaves out (MP3, FLAC, WAV, AVI).
  AVFormatContext* raw = nullptr;
  const std::string url = "file:" + source.readPath();
  // Samples stored without a presentation time (the keyframes of some program streams) get
  // one from the frames that follow them.
  AVDictionary* options = nullptr;
  av_dict_set(&options, "fflags", "+genpts", 0);
  const int result = avformat_open_input(&raw, url.c_str(), nullptr, &options);
  av_dict_free(&options);
  if (result < 0) {
    throwMediaError(result == AVERROR(ENOENT)   ? MediaErrorCode::FileNotFound
                    : result == AVERROR(EACCES) ? MediaErrorCode::PermissionDenied
                                                : MediaErrorCode::Damaged,
                    source.path);
  }
  InputFilePtr file(raw);
  // Program and transport streams have no header: their streams are found by reading, in the
  // same order as when the movie was opened.
  if ((file->ctx_flags & AVFMTCTX_NOHEADER) && avformat_find_stream_info(file.get(), nullptr) < 0) {
    throwMediaError(MediaErrorCode::Damaged, source.path);
  }
  return file;
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
  atEnd_ = false;
  held_.reset();
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
  decodeTimes_.reset();
  if (source->mediaType == MediaType::Video) {
    const FrameReordering& reordering = reorderingOf(*input_, *source);
    decodeTimes_.emplace(reordering.depth, reordering.frameTicks);
  }
}

const FrameReordering& PassthroughSourceReader::reorderingOf(AVFormatContext& file,
                                                             const SourceTrack& source) {
  const auto key = std::make_pair(source.readPath(), source.streamIndex);
  if (const auto found = reorderings_.find(key); found != reorderings_.end()) {
    return found->second;
  }
  const AVStream& stream = *file.streams[source.streamIndex];
  for (unsigned i = 0; i < file.nb_streams; ++i) {
    file.streams[i]->discard =
        static_cast<int>(i) == source.streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  std::vector<int64_t> shown;  // presentation times in decode order
  PacketPtr packet = allocatePacket();
  while (shown.size() < 120 && av_read_frame(&file, packet.get()) >= 0) {
    if (packet->stream_index == source.streamIndex && packet->pts != AV_NOPTS_VALUE) {
      shown.push_back(packet->pts);
    }
    av_packet_unref(packet.get());
  }
  FrameReordering reordering;
  // What the decoder found while the file was opened, unless the packets show more.
  if (source.codecParameters) reordering.depth = source.codecParameters->video_delay;
  for (size_t i = 0; i < shown.size(); ++i) {
    const auto later = std::count_if(shown.begin(), shown.begin() + static_cast<long>(i),
                                     [&](int64_t pts) { return pts > shown[i]; });
    reordering.depth = std::max(reordering.depth, static_cast<int>(later));
  }
  if (source.minFrameDuration.isNumeric()) {
    reordering.frameTicks =
        std::max<int64_t>(1, ticksAtOrBefore(source.minFrameDuration, stream.time_base));
  }
  DerivedDecodeTimes decodeTimes(reordering.depth, reordering.frameTicks);
  for (const int64_t pts : shown) {
    reordering.longestWait = std::max(reordering.longestWait, pts - decodeTimes.next(pts));
  }
  return reorderings_.emplace(key, reordering).first->second;
}

const AVIndexEntry* PassthroughSourceReader::keyframeAtOrBefore(int64_t ticks) const {
  return avformat_index_get_entry_from_timestamp(input_->streams[streamIndex_], ticks,
                                                 AVSEEK_FLAG_BACKWARD);
}

void PassthroughSourceReader::seek(int64_t ticks) {
  // Demuxers that seek by decode time, by bit rate or by a coarse table can land after `ticks`:
  // step back until the first packet read is shown at or before it.
  int64_t target = ticks;
  for (int attempt = 0; attempt < 8 && trySeek(target); ++attempt) {
    PacketPtr first;
    if (!read(first)) return;
    if (first->pts <= ticks) {
      held_ = std::move(first);
      return;
    }
    target = std::min(target, ticks) - (first->pts - ticks) * (int64_t{2} << attempt);
  }
  // Before the first sample: read from the beginning.
  const std::shared_ptr<const SourceTrack> source = source_;
  input_.reset();
  open(source);
}

bool PassthroughSourceReader::trySeek(int64_t ticks) {
  if (av_seek_frame(input_.get(), streamIndex_, ticks, AVSEEK_FLAG_BACKWARD) < 0) return false;
  atEnd_ = false;
  held_.reset();
  if (decodeTimes_) decodeTimes_->reset();
  return true;
}

bool PassthroughSourceReader::read(PacketPtr& packet) {
  if (held_) {
    packet = std::move(held_);
    return true;
  }
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
      packet->dts = decodeTimes_ ? decodeTimes_->next(packet->pts) : packet->pts;
      return true;
    }
    av_packet_unref(packet.get());
  }
}

}  // namespace reelcraft
