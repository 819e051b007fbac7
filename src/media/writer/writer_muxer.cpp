#include "media/writer/writer_muxer.h"

#include <cerrno>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <string_view>
#include <system_error>

#include "media/writer/writer_error.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

std::string displayNameOfFileType(const std::string& fileType, const AVOutputFormat* format) {
  static const std::map<std::string, std::string> names = {
      {"mov", "QuickTime movie"},
      {"mp4", "MPEG-4"},
      {"caf", "Core Audio"},
      {"aiff", "AIFF"},
      {"wav", "WAVE"},
      {"mp3", "MP3"},
      {"ac3", "AC-3"},
  };
  auto it = names.find(fileType);
  if (it != names.end()) return it->second;
  return format->long_name ? format->long_name : fileType;
}

bool isNamed(const AVOutputFormat* format, std::initializer_list<std::string_view> names) {
  for (std::string_view name : names) {
    if (name == format->name) return true;
  }
  return false;
}

// Whether the container takes a track in `codec`. The raw streams take their own codec only
// (FFmpeg cannot tell for them); CAF's muxer refuses AAC when it starts although it lists it.
bool holdsCodec(const AVOutputFormat* format, AVCodecID codec) {
  if (isNamed(format, {"mp3", "ac3"})) return codec == format->audio_codec;
  if (isNamed(format, {"caf"}) && codec == AV_CODEC_ID_AAC) return false;
  return avformat_query_codec(format, codec, FF_COMPLIANCE_NORMAL) == 1;
}

}  // namespace

WriterMuxer::WriterMuxer(std::string path, const std::string& fileType) : path_(std::move(path)) {
  format_ = fileType.empty() ? nullptr : av_guess_format(fileType.c_str(), nullptr, nullptr);
  if (!format_ || std::string(format_->name) != fileType || (format_->flags & AVFMT_NOFILE)) {
    throwWriterError(WriterErrorCode::UnknownFileType, path_,
                     "“" + fileType + "” is not a file type that can be written");
  }
  formatDisplayName_ = displayNameOfFileType(fileType, format_);
}

bool WriterMuxer::needsGlobalHeader() const {
  return format_->flags & AVFMT_GLOBALHEADER;
}

std::optional<std::string> WriterMuxer::whyCannotHold(
    const WriterEncoderSettings& settings,
    const std::vector<const WriterEncoderSettings*>& existing) const {
  const std::string file = "a " + formatDisplayName_ + " file";
  // MP3 and AIFF files may carry a cover picture, but no video.
  const bool soundOnly =
      format_->video_codec == AV_CODEC_ID_NONE || isNamed(format_, {"mp3", "aiff"});
  if (settings.mediaType == MediaType::Video && soundOnly) return file + " can’t hold video";
  if (soundOnly && !existing.empty()) return file + " holds only one sound track";
  if (!holdsCodec(format_, settings.codecId)) {
    return file + " can’t hold " + settings.displayName + " " +
           (settings.mediaType == MediaType::Video ? "video" : "sound");
  }
  return std::nullopt;
}

void WriterMuxer::open(int trackCount) {
  std::lock_guard lock(mutex_);
  if (trackCount < 1) {
    throwWriterError(WriterErrorCode::WritingFailed, path_, "there is nothing to write in it");
  }
  AVFormatContext* context = nullptr;
  int result = avformat_alloc_output_context2(&context, format_, nullptr, path_.c_str());
  if (result < 0) throwWritingFailed("the file couldn’t be set up", result);
  context_.reset(context);
  for (int i = 0; i < trackCount; ++i) {
    if (!avformat_new_stream(context, nullptr)) throw std::bad_alloc();
  }
  encoderTimeBases_.assign(trackCount, AVRational{0, 1});
  trackReady_.assign(trackCount, false);
  result = avio_open(&context_->pb, path_.c_str(), AVIO_FLAG_WRITE);
  if (result < 0) {
    if (result == AVERROR(EACCES) || result == AVERROR(EPERM) || result == AVERROR(EROFS)) {
      throwWriterError(WriterErrorCode::PermissionDenied, path_,
                       "you don’t have permission to write it");
    }
    throwWritingFailed("it couldn’t be created", result);
  }
  fileCreated_ = true;
}

void WriterMuxer::setTrackParameters(int track, const AVCodecContext& encoder) {
  std::lock_guard lock(mutex_);
  if (closed_ || !context_) return;
  AVStream* stream = context_->streams[track];
  const int result = avcodec_parameters_from_context(stream->codecpar, &encoder);
  if (result < 0) throwWritingFailed("the track couldn’t be set up", result);
  stream->time_base = encoder.time_base;
  if (encoder.codec_type == AVMEDIA_TYPE_VIDEO) {
    stream->avg_frame_rate = encoder.framerate;
    stream->sample_aspect_ratio = encoder.sample_aspect_ratio;
  }
  encoderTimeBases_[track] = encoder.time_base;
  trackReady_[track] = true;
  writeHeaderIfReady();
}

void WriterMuxer::writeHeaderIfReady() {
  if (headerWritten_) return;
  for (bool ready : trackReady_) {
    if (!ready) return;
  }
  const int result = avformat_write_header(context_.get(), nullptr);
  if (result < 0) throwWritingFailed("the file couldn’t be started", result);
  headerWritten_ = true;
  std::vector<std::pair<int, PacketPtr>> held = std::move(heldPackets_);
  for (auto& [track, packet] : held) writePacket(track, *packet);
}

void WriterMuxer::writePacket(int track, AVPacket& packet) {
  av_packet_rescale_ts(&packet, encoderTimeBases_[track], context_->streams[track]->time_base);
  packet.stream_index = track;
  const int result = av_interleaved_write_frame(context_.get(), &packet);
  if (result < 0) throwWritingFailed("its data couldn’t be written", result);
}

bool WriterMuxer::write(int track, std::vector<PacketPtr>& packets) {
  std::lock_guard lock(mutex_);
  if (closed_ || !context_) return false;
  for (PacketPtr& packet : packets) {
    if (headerWritten_) {
      writePacket(track, *packet);
    } else {
      heldPackets_.emplace_back(track, std::move(packet));
    }
  }
  packets.clear();
  return true;
}

void WriterMuxer::finish() {
  std::lock_guard lock(mutex_);
  if (closed_ || !context_) return;
  writeHeaderIfReady();
  if (!headerWritten_) {
    throwWriterError(WriterErrorCode::WritingFailed, path_, "a track was never started");
  }
  int result = av_write_trailer(context_.get());
  if (result < 0) throwWritingFailed("its end couldn’t be written", result);
  result = avio_closep(&context_->pb);
  if (result < 0) throwWritingFailed("it couldn’t be closed", result);
  closed_ = true;
}

void WriterMuxer::abandon() {
  std::lock_guard lock(mutex_);
  if (closed_) return;
  closed_ = true;
  heldPackets_.clear();
  if (context_) avio_closep(&context_->pb);
  if (fileCreated_) {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
}

void WriterMuxer::throwWritingFailed(const std::string& what, int result) const {
  throwWriterError(WriterErrorCode::WritingFailed, path_,
                   what + " (" + ffmpegErrorText(result) + ")");
}

}  // namespace reelcraft
