#include "media/model/file_asset.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "media/base/media_error.h"
#include "media/model/input_file.h"
#include "media/model/movie_clock.h"
#include "media/model/pinned_file.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace reelcraft {
namespace {

MediaType mediaTypeOf(AVMediaType type) {
  switch (type) {
    case AVMEDIA_TYPE_VIDEO:
      return MediaType::Video;
    case AVMEDIA_TYPE_AUDIO:
      return MediaType::Audio;
    case AVMEDIA_TYPE_SUBTITLE:
      return MediaType::Subtitle;
    case AVMEDIA_TYPE_DATA:
      return MediaType::Data;
    default:
      return MediaType::Other;
  }
}

// `value` units of `timeBase` as an exact time.
MediaTime timeInBase(int64_t value, AVRational timeBase) {
  if (timeBase.num == 1) return MediaTime::make(value, timeBase.den);
  return multiplyByRatio(MediaTime::make(value, timeBase.den), timeBase.num, 1);
}

std::shared_ptr<const AVCodecParameters> copyCodecParameters(const AVCodecParameters* source) {
  CodecParametersPtr copy = allocateCodecParameters();
  if (avcodec_parameters_copy(copy.get(), source) < 0) throw std::bad_alloc();
  return copy;
}

// The stream's presentation range in the file's time. Without a duration of its own, the
// stream lasts to the container's end (the container's duration counts from movie time zero).
TimeRange streamTimeRange(const AVFormatContext& file, const AVStream& stream,
                          MediaTime clockStart) {
  const MediaTime start = stream.start_time != AV_NOPTS_VALUE
                              ? timeInBase(stream.start_time, stream.time_base)
                              : add(MediaTime::make(0, stream.time_base.den), clockStart);
  MediaTime duration = MediaTime::zero();
  if (stream.duration != AV_NOPTS_VALUE && stream.duration >= 0) {
    duration = timeInBase(stream.duration, stream.time_base);
  } else if (file.duration != AV_NOPTS_VALUE && file.duration > 0) {
    // The container's duration, in the stream's time base where that is exact enough.
    const MediaTime end = add(clockStart, MediaTime::make(file.duration, AV_TIME_BASE));
    duration = maximum(MediaTime::zero(), convertScale(subtract(end, start), stream.time_base.den));
  }
  return TimeRange::make(start, duration);
}

// A display matrix component in 16.16 fixed point, snapped to whole numbers when it is one
// (quarter turns and flips are exact).
double matrixComponent(int32_t fixedPoint) {
  const double value = fixedPoint / 65536.0;
  const double whole = std::round(value);
  return std::fabs(value - whole) < 1e-4 ? whole : value;
}

// The display matrix as a transform that moves the turned picture back to the origin, as a
// QuickTime track header matrix does.
AffineTransform preferredTransformOf(const AVStream& stream, Size codedSize) {
  size_t size = 0;
  const uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (!data || size < 9 * sizeof(int32_t)) return AffineTransform::identity();
  const auto* matrix = reinterpret_cast<const int32_t*>(data);
  AffineTransform transform{matrixComponent(matrix[0]),
                            matrixComponent(matrix[1]),
                            matrixComponent(matrix[3]),
                            matrixComponent(matrix[4]),
                            0,
                            0};
  if (transform.a * transform.d - transform.b * transform.c == 0) {
    return AffineTransform::identity();  // singular: not a usable matrix
  }
  double minX = 0, minY = 0;
  for (Point corner : {Point{codedSize.width, 0}, Point{0, codedSize.height},
                       Point{codedSize.width, codedSize.height}}) {
    const Point moved = transform.apply(corner);
    minX = std::min(minX, moved.x);
    minY = std::min(minY, moved.y);
  }
  transform.tx = minX == 0 ? 0 : -minX;
  transform.ty = minY == 0 ? 0 : -minY;
  return transform;
}

// The picture size, widened or narrowed by a non-square pixel aspect ratio.
Size naturalSizeOf(AVFormatContext& file, AVStream& stream) {
  const AVCodecParameters& codec = *stream.codecpar;
  double width = codec.width;
  const AVRational pixelAspect = av_guess_sample_aspect_ratio(&file, &stream, nullptr);
  if (pixelAspect.num > 0 && pixelAspect.den > 0 && pixelAspect.num != pixelAspect.den) {
    width = std::round(width * pixelAspect.num / pixelAspect.den);
  }
  return {width, static_cast<double>(codec.height)};
}

// The average rate counts every stored sample over the track's length, so in a movie saved
// with edit lists (samples before a cut point, held frames over gaps) it falls below the real
// cadence. The demuxer's base rate is the cadence itself, unless the timestamps are irregular,
// when it can be far above any real rate; it is trusted up to twice the average.
MediaTime minFrameDurationOf(const AVStream& stream) {
  const AVRational average = stream.avg_frame_rate;
  const AVRational base = stream.r_frame_rate;
  const bool averageValid = average.num > 0 && average.den > 0;
  const bool baseValid = base.num > 0 && base.den > 0;
  if (baseValid && (!averageValid || (av_cmp_q(base, average) >= 0 &&
                                      av_cmp_q(base, av_mul_q(average, {2, 1})) <= 0))) {
    return MediaTime::make(base.den, base.num);
  }
  if (averageValid) return MediaTime::make(average.den, average.num);
  return MediaTime::invalid();
}

// Track ids from the container where it has unique positive ones (QuickTime and MPEG-4 track
// ids), otherwise stream index + 1.
bool containerTrackIDsAreUsable(const AVFormatContext& file) {
  std::set<int> seen;
  for (unsigned i = 0; i < file.nb_streams; ++i) {
    const int id = file.streams[i]->id;
    if (id <= 0 || !seen.insert(id).second) return false;
  }
  return true;
}

bool isUsable(const AVStream& stream) {
  const AVCodecParameters& codec = *stream.codecpar;
  if (codec.codec_type == AVMEDIA_TYPE_VIDEO) {
    return codec.width > 0 && codec.height > 0 &&
           !(stream.disposition & AV_DISPOSITION_ATTACHED_PIC);
  }
  if (codec.codec_type == AVMEDIA_TYPE_AUDIO) {
    return codec.sample_rate > 0 && codec.ch_layout.nb_channels > 0;
  }
  return false;
}

}  // namespace

std::shared_ptr<const FileAsset> FileAsset::open(const std::string& path) {
  const std::shared_ptr<const PinnedFile> pinned = PinnedFile::open(path);
  InputFilePtr input = openInputFile(path, pinned->readPath());
  AVFormatContext& file = *input;

  std::shared_ptr<FileAsset> asset(new FileAsset());
  asset->path_ = path;
  const bool useContainerIDs = containerTrackIDsAreUsable(file);
  // The asset's timeline is the movie's, which starts at the file's first sample wherever the
  // file's clock stood then.
  const MediaTime clockStart = movieClockStart(file);
  int undecodableTracks = 0;

  for (unsigned i = 0; i < file.nb_streams; ++i) {
    AVStream& stream = *file.streams[i];
    const AVCodecParameters& codec = *stream.codecpar;
    if (!isUsable(stream)) continue;
    if (!avcodec_find_decoder(codec.codec_id)) {
      ++undecodableTracks;
      continue;
    }

    auto source = std::make_shared<SourceTrack>();
    source->path = path;
    source->file = pinned;
    source->streamIndex = static_cast<int>(i);
    source->trackID = useContainerIDs ? stream.id : static_cast<int32_t>(i + 1);
    source->mediaType = mediaTypeOf(codec.codec_type);
    source->codecName = avcodec_get_name(codec.codec_id);
    source->codecParameters = copyCodecParameters(&codec);
    source->timeRange = streamTimeRange(file, stream, clockStart);
    source->clockStart = clockStart;
    if (source->mediaType == MediaType::Video) {
      source->naturalSize = naturalSizeOf(file, stream);
      source->preferredTransform = preferredTransformOf(stream, source->naturalSize);
      source->minFrameDuration = minFrameDurationOf(stream);
    } else {
      source->sampleRate = codec.sample_rate;
      source->channels = codec.ch_layout.nb_channels;
    }
    asset->sourceTracks_.push_back(source);
    asset->tracks_.push_back(AssetTrack::fromSource(std::move(source)));
  }

  if (asset->tracks_.empty()) {
    throwMediaError(
        undecodableTracks > 0 ? MediaErrorCode::UnsupportedCodec : MediaErrorCode::NoPlayableTracks,
        path);
  }

  MediaTime end = MediaTime::invalid();
  for (const auto& source : asset->sourceTracks_) {
    if (compare(source->timeRange.duration, MediaTime::zero()) <= 0) continue;
    const MediaTime trackEnd = source->movieTimeRange().end();
    end = end.isValid() ? maximum(end, trackEnd) : trackEnd;
  }
  if (end.isValid()) end = movieEnd(file, end);
  if (!end.isValid() && file.duration != AV_NOPTS_VALUE && file.duration > 0) {
    end = MediaTime::make(file.duration, AV_TIME_BASE);
  }
  asset->duration_ = end.isValid() ? end : MediaTime::zero();

  for (const auto& source : asset->sourceTracks_) {
    if (source->mediaType == MediaType::Video) {
      asset->naturalSize_ = source->preferredTransform.applyToSize(source->naturalSize);
      break;
    }
  }
  return asset;
}

}  // namespace reelcraft
