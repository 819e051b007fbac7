#include "media/save/passthrough_track_reencoder.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "media/model/sample_buffer.h"
#include "media/model/video_composition.h"
#include "media/reader/asset_reader.h"
#include "media/reader/asset_reader_output.h"
#include "media/save/save_error.h"
#include "media/writer/writer_encoder.h"
#include "media/writer/writer_encoder_settings.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace reelcraft {
namespace {

int evenAtLeastTwo(double value) {
  return std::max(2, static_cast<int>(std::lround(value / 2)) * 2);
}

WriterEncoderSettings settingsFor(const AssetTrack& track) {
  WriterEncoderSettings settings;
  settings.mediaType = track.mediaType;
  if (track.mediaType == MediaType::Video) {
    settings.encoderName = "libx264";
    settings.codecId = AV_CODEC_ID_H264;
    settings.displayName = "H.264";
    settings.width = evenAtLeastTwo(track.naturalSize.width);
    settings.height = evenAtLeastTwo(track.naturalSize.height);
    settings.pixelFormat = AV_PIX_FMT_YUV420P;
    // About 0.25 bit per pixel at 30 frames per second: visually lossless for most material.
    settings.averageBitRate = static_cast<int64_t>(settings.width) * settings.height * 30 / 4;
    return settings;
  }
  int sampleRate = 48000;
  for (const TrackSegment& segment : track.segments) {
    if (!segment.isEmpty() && segment.source->sampleRate > 0) {
      sampleRate = segment.source->sampleRate;
      break;
    }
  }
  settings.encoderName = "aac";
  settings.codecId = AV_CODEC_ID_AAC;
  settings.displayName = "AAC";
  settings.sampleRate = sampleRate;
  settings.sampleFormat = AV_SAMPLE_FMT_FLTP;
  settings.bitRate = 256'000;
  return settings;
}

[[noreturn]] void throwCannotEncode(const std::string& what) {
  throwCannotReencode("A track could not be re-encoded (" + what + ").");
}

}  // namespace

PassthroughTrackReencoder::PassthroughTrackReencoder(const Composition& composition,
                                                     const AssetTrack& track)
    : mediaType_(track.mediaType) {
  // A composition of this track alone, drawn unturned: the track header turns it.
  auto single = composition.mutableCopy();
  for (const AssetTrack& other : composition.tracks()) {
    if (other.trackID != track.trackID) single->removeTrack(other.trackID);
  }
  single->setPreferredTransform(track.trackID, AffineTransform::identity());
  single->setNaturalSize(track.naturalSize);
  std::shared_ptr<const Composition> snapshot = single->copy();
  const std::vector<AssetTrack> tracks{*snapshot->trackWithID(track.trackID)};

  const WriterEncoderSettings settings = settingsFor(track);
  if (mediaType_ == MediaType::Video) {
    auto output = std::make_shared<AssetReaderVideoCompositionOutput>(tracks);
    VideoComposition videoComposition = VideoComposition::withPropertiesOfAsset(*snapshot);
    videoComposition.renderSize = {static_cast<double>(settings.width),
                                   static_cast<double>(settings.height)};
    output->setVideoComposition(videoComposition);
    output_ = output;
  } else {
    AudioSettings audio;
    audio.sampleRate = settings.sampleRate;
    output_ = std::make_shared<AssetReaderAudioMixOutput>(tracks, audio);
  }
  reader_ = AssetReader::create(snapshot);
  reader_->addOutput(output_);
  if (!reader_->startReading()) checkReader();

  try {
    encoder_ = WriterEncoder::create(settings, true);
    std::shared_ptr<SampleBuffer> first = output_->copyNextSampleBuffer();
    checkReader();
    encoder_->open(first.get());
    std::vector<PacketPtr> packets;
    if (first) encoder_->encode(*first, MediaTime::zero(), packets);
    for (PacketPtr& packet : packets) ready_.push_back(std::move(packet));
  } catch (const std::runtime_error& failure) {
    if (dynamic_cast<const ErrorException*>(&failure)) throw;
    throwCannotEncode(failure.what());
  }
  parameters_ = allocateCodecParameters();
  if (avcodec_parameters_from_context(parameters_.get(), encoder_->context()) < 0) {
    throw std::bad_alloc();
  }
  edits_.push_back({MediaTime::zero(), track.timeRange().end(), 0});
}

PassthroughTrackReencoder::~PassthroughTrackReencoder() {
  if (reader_) reader_->cancelReading();
}

AVRational PassthroughTrackReencoder::preferredTimeBase() const {
  return encoder_->context()->time_base;
}

const char* PassthroughTrackReencoder::codecName() const {
  return mediaType_ == MediaType::Video ? "H.264" : "AAC";
}

void PassthroughTrackReencoder::checkReader() const {
  if (reader_->status() == AssetReaderStatus::Failed) {
    if (auto error = reader_->error()) throw ErrorException(*error);
    throwCannotEncode("the media could not be read");
  }
}

bool PassthroughTrackReencoder::next(PacketPtr& packet) {
  try {
    while (ready_.empty() && !flushed_) {
      std::vector<PacketPtr> packets;
      if (std::shared_ptr<SampleBuffer> sample = output_->copyNextSampleBuffer()) {
        encoder_->encode(*sample, MediaTime::zero(), packets);
      } else {
        checkReader();
        encoder_->flush(packets);
        flushed_ = true;
      }
      for (PacketPtr& encoded : packets) ready_.push_back(std::move(encoded));
    }
  } catch (const std::runtime_error& failure) {
    if (dynamic_cast<const ErrorException*>(&failure)) throw;
    throwCannotEncode(failure.what());
  }
  if (ready_.empty()) return false;
  packet = std::move(ready_.front());
  ready_.pop_front();
  // A video encoder's time base is one frame: every picture lasts one tick.
  if (packet->duration <= 0 && mediaType_ == MediaType::Video) packet->duration = 1;
  av_packet_rescale_ts(packet.get(), encoder_->context()->time_base, outputTimeBase_);
  if (packet->dts == AV_NOPTS_VALUE) packet->dts = packet->pts;
  if (!offsetKnown_) {
    // Encoders may start before zero (AAC's priming): the media starts at zero and the edit
    // skips what precedes the first sample.
    offsetKnown_ = true;
    offset_ = std::max<int64_t>(0, -std::min(packet->dts, packet->pts));
    edits_.front().mediaTime = offset_;
  }
  packet->pts += offset_;
  packet->dts += offset_;
  if (packet->dts <= lastDts_) packet->dts = lastDts_ + 1;
  packet->pts = std::max(packet->pts, packet->dts);
  lastDts_ = packet->dts;
  packet->pos = -1;
  return true;
}

}  // namespace reelcraft
