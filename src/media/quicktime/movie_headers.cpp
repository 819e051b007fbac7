#include "media/quicktime/movie_headers.h"

#include "media/base/media_error.h"
#include "media/model/input_file.h"
#include "media/model/movie_clock.h"
#include "media/model/stream_time.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

// Where the stream ends in movie time.
MediaTime streamEnd(const AVFormatContext& file, const AVStream& stream, MediaTime clockStart) {
  if (stream.duration != AV_NOPTS_VALUE && stream.duration >= 0) {
    const int64_t start = stream.start_time != AV_NOPTS_VALUE ? stream.start_time : 0;
    return subtract(timeFromTicks(start + stream.duration, stream.time_base), clockStart);
  }
  if (file.duration != AV_NOPTS_VALUE && file.duration > 0) {
    return MediaTime::make(file.duration, AV_TIME_BASE);
  }
  return MediaTime::zero();
}

}  // namespace

MovieHeaders readMovieHeaders(const std::string& path) {
  AVFormatContext* raw = nullptr;
  const std::string url = "file:" + path;
  if (avformat_open_input(&raw, url.c_str(), nullptr, nullptr) < 0) {
    throwMediaError(MediaErrorCode::Damaged, path);
  }
  const InputFilePtr file(raw);
  MovieHeaders headers;
  const MediaTime clockStart = movieClockStart(*file);
  for (unsigned i = 0; i < file->nb_streams; ++i) {
    const AVStream& stream = *file->streams[i];
    if (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) continue;
    const AVMediaType type = stream.codecpar->codec_type;
    if (type == AVMEDIA_TYPE_VIDEO) {
      ++headers.videoTracks;
    } else if (type == AVMEDIA_TYPE_AUDIO) {
      ++headers.audioTracks;
    } else {
      continue;
    }
    headers.duration = maximum(headers.duration, streamEnd(*file, stream, clockStart));
  }
  headers.duration = movieEnd(*file, headers.duration);
  return headers;
}

}  // namespace reelcraft
