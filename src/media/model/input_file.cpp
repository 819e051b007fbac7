#include "media/model/input_file.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <new>
#include <string_view>

#include "media/base/media_error.h"
#include "media/model/asset.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/avstring.h>
}

namespace reelcraft {
namespace {

// Demuxers of movie and sound containers (the first name of FFmpeg's comma-separated list).
constexpr std::array<std::string_view, 19> kMovieDemuxers = {
    "mov", "matroska", "avi",  "mpeg", "mpegts", "flv", "ogg", "wav", "aiff", "mp3",
    "aac", "ac3",      "eac3", "caf",  "flac",   "w64", "asf", "mxf", "dv"};

bool isMovieDemuxer(const AVInputFormat* format) {
  const std::string_view names = format->name;
  const std::string_view first = names.substr(0, names.find(','));
  for (std::string_view known : kMovieDemuxers) {
    if (first == known) return true;
  }
  return false;
}

[[noreturn]] void throwForOpenFailure(int code, const std::string& path) {
  if (code == AVERROR(ENOENT)) throwMediaError(MediaErrorCode::FileNotFound, path);
  if (code == AVERROR(EACCES) || code == AVERROR(EPERM)) {
    throwMediaError(MediaErrorCode::PermissionDenied, path);
  }
  if (code == AVERROR(ENOMEM)) throw std::bad_alloc();
  throwMediaError(MediaErrorCode::Damaged, path);
}

// What kind of file is at `url`; throws when it is not a movie or sound file.
const AVInputFormat* probeFormat(const std::string& url, const std::string& path) {
  const std::string nameHint = "file:" + path;
  AVIOContext* rawIo = nullptr;
  if (const int result = avio_open(&rawIo, url.c_str(), AVIO_FLAG_READ); result < 0) {
    throwForOpenFailure(result, path);
  }
  IoContextPtr io(rawIo);
  const AVInputFormat* format = nullptr;
  const int score = av_probe_input_buffer2(io.get(), &format, nameHint.c_str(), nullptr, 0, 0);
  // A low score is FFmpeg guessing at a file it does not really recognise.
  if (score <= AVPROBE_SCORE_RETRY || !format || !isMovieDemuxer(format)) {
    throwMediaError(MediaErrorCode::UnrecognizedFormat, path);
  }
  return format;
}

}  // namespace

InputFilePtr openInputFile(const std::string& path) {
  return openInputFile(path, path);
}

InputFilePtr openInputFile(const SourceTrack& source) {
  return openInputFile(source.path, source.readPath());
}

InputFilePtr openInputFile(const std::string& path, const std::string& readPath) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status status = fs::status(readPath, error);
  if (status.type() == fs::file_type::not_found) {
    throwMediaError(MediaErrorCode::FileNotFound, path);
  }
  if (status.type() == fs::file_type::directory) {
    throwMediaError(MediaErrorCode::UnrecognizedFormat, path);
  }
  if (!error && access(readPath.c_str(), R_OK) != 0 && errno == EACCES) {
    throwMediaError(MediaErrorCode::PermissionDenied, path);
  }

  // The file protocol, so that a colon in the name is not taken for another protocol.
  const std::string url = "file:" + readPath;
  const AVInputFormat* format = probeFormat(url, path);

  AVFormatContext* raw = nullptr;
  if (const int result = avformat_open_input(&raw, url.c_str(), format, nullptr); result < 0) {
    throwForOpenFailure(result, path);
  }
  InputFilePtr input(raw);
  if (const int result = avformat_find_stream_info(raw, nullptr); result < 0) {
    throwForOpenFailure(result, path);
  }
  return input;
}

MediaTime movieEnd(const AVFormatContext& file, MediaTime tracksEnd) {
  // FFmpeg's QuickTime reader gives the movie header's duration as the file's. Headers count in
  // ticks as coarse as 1/600 s, and writers round the movie's end up to one.
  const MediaTime rounding = MediaTime::make(1, 100);
  if (!file.iformat || !av_match_name("mov", file.iformat->name) ||
      file.duration == AV_NOPTS_VALUE) {
    return tracksEnd;
  }
  const MediaTime stated = MediaTime::make(file.duration, AV_TIME_BASE);
  return compare(stated, add(tracksEnd, rounding)) > 0 ? stated : tracksEnd;
}

}  // namespace reelcraft
