#include "media/render/track_picture_stream.h"

#include <utility>

namespace reelcraft {
namespace {

bool contains(const DecodedFrame& frame, MediaTime t) {
  return compare(frame.time, t) <= 0 && compare(t, add(frame.time, frame.duration)) < 0;
}

bool endsBy(const DecodedFrame& frame, MediaTime t) {
  return compare(add(frame.time, frame.duration), t) <= 0;
}

}  // namespace

TrackPictureStream::TrackPictureStream(AssetTrack track) : reader_(std::move(track)) {}

std::optional<MediaTime> TrackPictureStream::position() const {
  if (current_) return current_->time;
  return std::nullopt;
}

std::optional<DecodedFrame> TrackPictureStream::frameAt(MediaTime t) {
  if (current_ && contains(*current_, t)) return current_;
  if (current_ && endsBy(*current_, t)) {
    // Playing on: the next frame is usually the one.
    std::optional<DecodedFrame> next = readNext();
    if (!next) return std::nullopt;
    if (compare(next->time, t) > 0) {
      ahead_ = std::move(next);
      return std::nullopt;
    }
    current_ = std::move(next);
    if (contains(*current_, t)) return current_;
    // Further on: the reader finds the quickest way there, decoding on or seeking.
  }
  reposition(t);
  return readUpTo(t, nullptr);
}

std::optional<DecodedFrame> TrackPictureStream::frameAt(MediaTime t, MediaTime from,
                                                        const Visitor& visit) {
  reposition(from);
  return readUpTo(t, &visit);
}

std::optional<DecodedFrame> TrackPictureStream::readNext() {
  if (ahead_) return std::exchange(ahead_, std::nullopt);
  if (ended_) return std::nullopt;
  std::optional<DecodedFrame> frame = reader_.next();
  if (!frame) ended_ = true;
  return frame;
}

std::optional<DecodedFrame> TrackPictureStream::readUpTo(MediaTime t, const Visitor* visit) {
  while (std::optional<DecodedFrame> frame = readNext()) {
    if (compare(frame->time, t) > 0) {
      ahead_ = std::move(frame);
      return std::nullopt;
    }
    current_ = std::move(frame);
    if (!endsBy(*current_, t)) return current_;
    if (visit) (*visit)(*current_);
  }
  return std::nullopt;
}

void TrackPictureStream::reposition(MediaTime t) {
  reader_.seek(t);
  current_.reset();
  ahead_.reset();
  ended_ = false;
}

}  // namespace reelcraft
