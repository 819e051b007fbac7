#include "media/save/passthrough_movie_writer.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>

#include "media/base/media_error.h"
#include "media/ffmpeg/av_handles.h"
#include "media/save/compressed_audio_track_copier.h"
#include "media/save/passthrough_audio_range_encoder.h"
#include "media/save/passthrough_moov_rewriter.h"
#include "media/save/passthrough_track_reencoder.h"
#include "media/save/pcm_audio_track_copier.h"
#include "media/save/save_error.h"
#include "media/save/saved_movie_container.h"
#include "media/save/video_track_copier.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

namespace reelcraft {
namespace {

// Removes the file being written unless the save completes.
class PartialFileRemover {
 public:
  explicit PartialFileRemover(std::string path) : path_(std::move(path)) {}
  ~PartialFileRemover() {
    if (!path_.empty()) std::remove(path_.c_str());
  }
  void keep() { path_.clear(); }

 private:
  std::string path_;
};

bool hasMedia(const AssetTrack& track) {
  for (const TrackSegment& segment : track.segments) {
    if (!segment.isEmpty()) return true;
  }
  return false;
}

bool sameCodecConfiguration(const AVCodecParameters* a, const AVCodecParameters* b) {
  if (a == b) return true;
  if (!a || !b) return false;
  if (a->codec_id != b->codec_id || a->extradata_size != b->extradata_size ||
      a->width != b->width || a->height != b->height || a->sample_rate != b->sample_rate ||
      a->ch_layout.nb_channels != b->ch_layout.nb_channels || a->format != b->format) {
    return false;
  }
  return a->extradata_size == 0 ||
         std::equal(a->extradata, a->extradata + a->extradata_size, b->extradata);
}

// The ranges of `track`'s timeline that play their source at another speed.
std::vector<TimeRange> stretchedRanges(const AssetTrack& track) {
  std::vector<TimeRange> ranges;
  for (const TrackSegment& segment : track.segments) {
    if (!segment.isEmpty() &&
        compare(segment.sourceRange.duration, segment.targetRange.duration) != 0) {
      ranges.push_back(segment.targetRange);
    }
  }
  return ranges;
}

// Why `track` cannot be copied as it is, or empty when it can.
std::string reasonToReencode(const AssetTrack& track) {
  const AVCodecParameters* first = nullptr;
  for (const TrackSegment& segment : track.segments) {
    if (segment.isEmpty()) continue;
    if (!segment.source->codecParameters) return "a source has no codec configuration";
    if (!first) first = segment.source->codecParameters.get();
    if (!sameCodecConfiguration(first, segment.source->codecParameters.get())) {
      return "its parts come from sources with different codec configurations";
    }
  }
  if (track.mediaType == MediaType::Audio && !stretchedRanges(track).empty()) {
    // Stretched ranges are encoded again on their own when the encoder can match the
    // configuration of the copied packets around them.
    const std::string mismatch = PassthroughAudioRangeEncoder::reasonItCannotMatch(*first);
    if (!mismatch.empty()) {
      return "a part of its sound plays at a different speed and " + mismatch;
    }
  }
  return {};
}

// The codec configuration of the first part of `track` with media.
const AVCodecParameters* firstCodecOf(const AssetTrack& track) {
  for (const TrackSegment& segment : track.segments) {
    if (!segment.isEmpty()) return segment.source->codecParameters.get();
  }
  return nullptr;
}

// How `container` takes `track` copied as it is (as reasonToReencode() allows).
enum class Fit { Holds, OnlyTheOtherHolds, NeitherHolds };
Fit fitOf(const AssetTrack& track, SavedMovieContainer container) {
  const AVCodecParameters& codec = *firstCodecOf(track);
  if (containerHolds(container, codec)) return Fit::Holds;
  return containerHolds(otherContainer(container), codec) ? Fit::OnlyTheOtherHolds
                                                          : Fit::NeitherHolds;
}

// The video and sound tracks that show some media, the ones a save writes.
std::vector<const AssetTrack*> savedTracks(const Composition& composition) {
  std::vector<const AssetTrack*> tracks;
  for (const AssetTrack& track : composition.tracks()) {
    if (track.mediaType != MediaType::Video && track.mediaType != MediaType::Audio) continue;
    if (hasMedia(track)) tracks.push_back(&track);
  }
  return tracks;
}

// Why `track` cannot be copied into `container`, or empty when it can. Throws
// SaveError::ContainerCannotHold when only the other container holds its codec.
std::string reasonToReencodeInto(SavedMovieContainer container, const AssetTrack& track,
                                 const std::string& path) {
  std::string reason = reasonToReencode(track);
  if (!reason.empty()) return reason;
  const Fit fit = fitOf(track, container);
  if (fit == Fit::Holds) return {};
  const char* codecName = avcodec_get_name(firstCodecOf(track)->codec_id);
  if (fit == Fit::NeitherHolds) {
    return std::string("neither a QuickTime nor an MPEG-4 movie can hold ") + codecName;
  }
  const SavedMovieContainer other = otherContainer(container);
  throwContainerCannotHold(path, displayNameOf(container),
                           std::string(mediaTypeName(track.mediaType)) + " track " +
                               std::to_string(track.trackID) + " (" + codecName + ")",
                           displayNameOf(other), extensionOf(other));
}

// The copier for the kind of samples `track` holds, which reasonToReencode() allows copying.
std::unique_ptr<PassthroughTrackSource> makeCopier(const AssetTrack& track) {
  const AVCodecParameters* codec = firstCodecOf(track);
  if (codec && codec->codec_type == AVMEDIA_TYPE_VIDEO) {
    return std::make_unique<VideoTrackCopier>(track);
  }
  if (codec && PcmAudioTrackCopier::isPcm(codec->codec_id)) {
    return std::make_unique<PcmAudioTrackCopier>(track);
  }
  return std::make_unique<CompressedAudioTrackCopier>(track);
}

std::string sourcePathOf(const AssetTrack& track) {
  for (const TrackSegment& segment : track.segments) {
    if (segment.source) return segment.source->path;
  }
  return {};
}

std::string secondsText(MediaTime t) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f s", t.seconds());
  return text;
}

}  // namespace

PassthroughWriteReport writePassthroughMovie(const Composition& composition,
                                             const std::string& path) {
  const SavedMovieContainer container =
      savedMovieContainerForPath(path).value_or(SavedMovieContainer::QuickTime);
  // Every track is checked before any is read, so that a refusal comes first.
  const std::vector<const AssetTrack*> tracks = savedTracks(composition);
  if (tracks.empty()) throwSaveError(SaveError::NothingToSave, path, {});
  std::vector<std::string> reasons;
  for (const AssetTrack* track : tracks) {
    reasons.push_back(reasonToReencodeInto(container, *track, path));
  }

  PassthroughWriteReport report;
  std::vector<std::unique_ptr<PassthroughTrackSource>> copiers;
  for (size_t i = 0; i < tracks.size(); ++i) {
    const AssetTrack& track = *tracks[i];
    const std::string& reason = reasons[i];
    if (reason.empty()) {
      copiers.push_back(makeCopier(track));
      if (track.mediaType == MediaType::Audio) {
        const char* codec = avcodec_get_name(copiers.back()->codecParameters().codec_id);
        for (const TimeRange& range : stretchedRanges(track)) {
          report.reencodedTracks.push_back(
              "The audio track " + std::to_string(track.trackID) + " was re-encoded (" + codec +
              ") from " + secondsText(range.start) + " to " + secondsText(range.end()) +
              " because it plays at a different speed there.");
        }
      }
    } else {
      auto reencoder = std::make_unique<PassthroughTrackReencoder>(composition, track);
      report.reencodedTracks.push_back("The " + std::string(mediaTypeName(track.mediaType)) +
                                       " track " + std::to_string(track.trackID) +
                                       " was re-encoded (" + reencoder->codecName() + ") because " +
                                       reason + ".");
      copiers.push_back(std::move(reencoder));
    }
  }

  OutputContextPtr output = newMuxerContext(container);
  for (const auto& copier : copiers) {
    AVStream* stream = avformat_new_stream(output.get(), nullptr);
    if (!stream || avcodec_parameters_copy(stream->codecpar, &copier->codecParameters()) < 0) {
      throw std::bad_alloc();
    }
    stream->codecpar->codec_tag = 0;
    stream->time_base = copier->preferredTimeBase();
  }

  // The file protocol, so that a colon in the name is not taken for another protocol.
  const int opened = avio_open(&output->pb, ("file:" + path).c_str(), AVIO_FLAG_WRITE);
  if (opened < 0) throwSaveError(SaveError::CannotWrite, path, ffmpegErrorText(opened));
  PartialFileRemover remover(path);

  AVDictionary* options = nullptr;
  av_dict_set(&options, "use_editlist", "0", 0);
  const int header = avformat_write_header(output.get(), &options);
  av_dict_free(&options);
  if (header < 0) throwSaveError(SaveError::CannotWrite, path, ffmpegErrorText(header));
  for (size_t i = 0; i < copiers.size(); ++i) {
    copiers[i]->setOutputTimeBase(output->streams[i]->time_base);
  }

  // Interleave the tracks by decode time, one packet at a time.
  std::vector<PacketPtr> heads(copiers.size());
  for (size_t i = 0; i < copiers.size(); ++i) {
    if (!copiers[i]->next(heads[i])) heads[i].reset();
  }
  while (true) {
    int earliest = -1;
    for (size_t i = 0; i < heads.size(); ++i) {
      if (!heads[i]) continue;
      if (earliest < 0 ||
          av_compare_ts(heads[i]->dts, output->streams[i]->time_base, heads[earliest]->dts,
                        output->streams[earliest]->time_base) < 0) {
        earliest = static_cast<int>(i);
      }
    }
    if (earliest < 0) break;
    PacketPtr& packet = heads[earliest];
    packet->stream_index = earliest;
    const int written = av_write_frame(output.get(), packet.get());
    if (written == AVERROR_INVALIDDATA || written == AVERROR(EINVAL)) {
      // The muxer refuses what a damaged source gave, e.g. timestamps out of order.
      throwMediaError(MediaErrorCode::Damaged, sourcePathOf(*tracks[earliest]));
    }
    if (written < 0) throwSaveError(SaveError::CannotWrite, path, ffmpegErrorText(written));
    if (!copiers[earliest]->next(packet)) packet.reset();
  }
  const int trailer = av_write_trailer(output.get());
  if (trailer < 0) throwSaveError(SaveError::CannotWrite, path, ffmpegErrorText(trailer));
  const int ioError = output->pb->error;
  const int closed = avio_closep(&output->pb);
  if (ioError < 0 || closed < 0) {
    throwSaveError(SaveError::CannotWrite, path, ffmpegErrorText(ioError < 0 ? ioError : closed));
  }

  std::vector<PassthroughTrackLayout> layouts;
  for (size_t i = 0; i < tracks.size(); ++i) {
    PassthroughTrackLayout layout;
    layout.edits = copiers[i]->edits();
    layout.sharedSamples = copiers[i]->sharedSamples();
    if (tracks[i]->mediaType == MediaType::Video) {
      layout.hasTransform = true;
      layout.transform = tracks[i]->preferredTransform;
      layout.naturalSize = tracks[i]->naturalSize;
    }
    layouts.push_back(std::move(layout));
  }
  try {
    rewritePassthroughMovieHeaders(path, layouts, composition.duration());
  } catch (const std::runtime_error& failure) {
    throwSaveError(SaveError::CannotWrite, path, failure.what());
  }
  remover.keep();
  return report;
}

std::optional<std::string> extensionHoldingAllTracks(const Composition& composition) {
  const std::vector<const AssetTrack*> tracks = savedTracks(composition);
  for (SavedMovieContainer container :
       {SavedMovieContainer::QuickTime, SavedMovieContainer::Mpeg4}) {
    const bool holdsAll = std::none_of(tracks.begin(), tracks.end(), [&](const AssetTrack* track) {
      return reasonToReencode(*track).empty() && fitOf(*track, container) == Fit::OnlyTheOtherHolds;
    });
    if (holdsAll) return std::string(extensionOf(container));
  }
  return std::nullopt;
}

}  // namespace reelcraft
