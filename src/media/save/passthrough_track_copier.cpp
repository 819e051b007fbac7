#include "media/save/passthrough_track_copier.h"

#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "media/base/media_error.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace reelcraft {

PassthroughTrackCopier::PassthroughTrackCopier(const AssetTrack& track)
    : segments_(track.segments.toVector()) {
  for (size_t i = 0; i < segments_.size(); ++i) {
    if (segments_[i].isEmpty()) continue;
    lastMediaSegment_ = i;
    if (!codec_) codec_ = segments_[i].source->codecParameters;
  }
  if (!codec_) throw std::logic_error("PassthroughTrackCopier: a track without media");
  gapAfter_.assign(segments_.size(), MediaTime::zero());
  innerGap_.assign(segments_.size(), false);
  bool mediaBefore = false;
  for (size_t i = 0; i < segments_.size(); ++i) {
    if (!segments_[i].isEmpty()) {
      mediaBefore = true;
      continue;
    }
    innerGap_[i] = mediaBefore && i < lastMediaSegment_;
    if (!innerGap_[i]) continue;
    size_t owner = i;
    while (segments_[owner].isEmpty()) --owner;
    gapAfter_[owner] = add(gapAfter_[owner], segments_[i].targetRange.duration);
  }
}

void PassthroughTrackCopier::openSources(
    const std::function<void(AVFormatContext&, int, const SourceTrack&)>& inspect) {
  std::set<std::pair<std::string, int>> opened;
  bool keptOne = false;
  for (const TrackSegment& segment : segments_) {
    if (segment.isEmpty()) continue;
    const SourceTrack& source = *segment.source;
    if (!opened.insert({source.readPath(), source.streamIndex}).second) continue;
    InputFilePtr file = PassthroughSourceReader::openFile(source);
    if (source.streamIndex < 0 || source.streamIndex >= static_cast<int>(file->nb_streams)) {
      throwMediaError(MediaErrorCode::Damaged, source.path);
    }
    if (inspect) inspect(*file, source.streamIndex, source);
    if (!keptOne) {
      keptOne = true;  // most often the first segment's
      reader_.use(std::move(file), segment.source);
    }
  }
}

bool PassthroughTrackCopier::next(PacketPtr& packet) {
  fill();
  if (ready_.empty()) return false;
  packet = std::move(ready_.front());
  ready_.pop_front();
  return true;
}

void PassthroughTrackCopier::fill() {
  while (ready_.empty() && segmentIndex_ < segments_.size()) {
    if (segmentStarted_) {
      copyMore();
    } else {
      startSegment();
    }
  }
}

void PassthroughTrackCopier::startSegment() {
  const TrackSegment& segment = segments_[segmentIndex_];
  segmentStarted_ = true;
  anchored_ = false;
  if (segment.isEmpty()) {
    startEmptySegment(segment);
  } else {
    startMediaSegment(segment);
  }
}

void PassthroughTrackCopier::finishSegment() {
  const TrackSegment& segment = segments_[segmentIndex_];
  if (segment.isEmpty()) {
    finishEmptySegment(segment);
  } else {
    finishMediaSegment(segment);
  }
  nextSegment();
}

void PassthroughTrackCopier::nextSegment() {
  segmentStarted_ = false;
  ++segmentIndex_;
}

void PassthroughTrackCopier::write(PacketPtr packet) {
  lastDts_ = packet->dts;
  ready_.push_back(std::move(packet));
}

}  // namespace reelcraft
