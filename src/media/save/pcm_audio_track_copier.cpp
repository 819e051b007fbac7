#include "media/save/pcm_audio_track_copier.h"

#include <algorithm>
#include <cstdlib>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mathematics.h>
}

namespace reelcraft {

void PcmAudioTrackCopier::startCopying(int64_t sourceStart) {
  start_ = sourceStart;
  end_ = start_ + targetEndSamples_ - outputPosition_;
  copiedEnd_ = start_;
  nextPacket_ = -1;
  reader_.seek(av_rescale_q(start_, {1, sampleRate_}, reader_.timeBase()));
}

void PcmAudioTrackCopier::copyPacket(PacketPtr packet) {
  const int blockAlign = codec_->block_align > 0
                             ? codec_->block_align
                             : codec_->ch_layout.nb_channels *
                                   std::max(1, av_get_bits_per_sample(codec_->codec_id) / 8);
  const int64_t count = packet->size / blockAlign;
  // A time base coarser than the samples (Matroska's milliseconds) places packets only roughly:
  // one that starts about where the previous one ended follows it.
  const AVRational base = reader_.timeBase();
  int64_t first = av_rescale_q(packet->pts, base, {1, sampleRate_});
  if (nextPacket_ >= 0 &&
      std::abs(first - nextPacket_) <= av_rescale_q(1, base, {1, sampleRate_})) {
    first = nextPacket_;
  }
  nextPacket_ = first + count;
  if (first >= end_) {
    finishSegment();
    return;
  }
  const int64_t from = std::max(first, copiedEnd_);
  const int64_t to = std::min(first + count, end_);
  if (to <= from) return;
  PacketPtr slice = newPacket((to - from) * blockAlign);
  std::copy_n(packet->data + (from - first) * blockAlign, (to - from) * blockAlign, slice->data);
  if (!anchored_) {
    anchored_ = true;
    anchorSource_ = start_;
    anchorOutput_ = nextDts_;
  }
  slice->pts = slice->dts = anchorOutput_ + (from - start_);
  slice->duration = to - from;
  copiedEnd_ = to;
  writeAudio(std::move(slice));
  if (to >= end_) finishSegment();
}

std::optional<int64_t> PcmAudioTrackCopier::writeSilence(int64_t samples) {
  const int blockAlign = codec_->block_align;
  const uint8_t zero = codec_->codec_id == AV_CODEC_ID_PCM_U8 ? 0x80 : 0;
  int64_t written = 0;
  while (written < samples && blockAlign > 0) {
    const int64_t count = std::min<int64_t>(samples - written, 4096);
    PacketPtr packet = newPacket(count * blockAlign);
    std::fill_n(packet->data, count * blockAlign, zero);
    writeAtEnd(std::move(packet), count);
    written += count;
  }
  return written;
}

}  // namespace reelcraft
