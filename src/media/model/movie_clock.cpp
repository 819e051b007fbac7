#include "media/model/movie_clock.h"

#include <optional>

#include "media/model/stream_time.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {

MediaTime movieClockStart(const AVFormatContext& file) {
  if (file.start_time == AV_NOPTS_VALUE || file.iformat == av_find_input_format("mov")) {
    return MediaTime::zero();
  }
  // The container's start time is rounded to microseconds.
  std::optional<MediaTime> earliest;
  for (unsigned i = 0; i < file.nb_streams; ++i) {
    const AVStream& stream = *file.streams[i];
    if (stream.start_time == AV_NOPTS_VALUE ||
        av_rescale_q(stream.start_time, stream.time_base, AV_TIME_BASE_Q) != file.start_time) {
      continue;
    }
    const MediaTime start = timeFromTicks(stream.start_time, stream.time_base);
    if (!earliest || compare(start, *earliest) < 0) earliest = start;
  }
  return earliest.value_or(MediaTime::make(file.start_time, AV_TIME_BASE));
}

}  // namespace reelcraft
