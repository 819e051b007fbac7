#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

#include "media/base/media_time.h"
#include "media/ffmpeg/av_handles.h"
#include "media/model/asset.h"
#include "media/model/input_file.h"

struct AVStream;

namespace reelcraft {

// A decoded frame of one source stream with its presentation interval in the source's time.
struct SourceFrame {
  std::shared_ptr<AVFrame> frame;
  MediaTime time;
  MediaTime duration;

  MediaTime end() const { return add(time, duration); }
};

// Decodes one stream of one file in presentation order, with exact positioning: after
// seek(t) the first frame is the one whose interval contains t (or the first after t). Keeps
// its file open; a seek that lies ahead of the present decoding position within reach is
// served by decoding on instead of asking the demuxer to seek.
class SourceStreamDecoder {
 public:
  // Opens the file and the stream's decoder. Throws ErrorException (media_error.h) when the
  // file cannot be opened, or no longer holds the stream described by `source`.
  explicit SourceStreamDecoder(std::shared_ptr<const SourceTrack> source);
  ~SourceStreamDecoder();

  const SourceTrack& source() const { return *source_; }

  void seek(MediaTime t);

  // The next frame without taking it, or null at the end of the stream. The pointer stays
  // valid until the next call of any other member.
  const SourceFrame* peek();
  // Takes the frame that peek() shows; there must be one.
  SourceFrame pop();

 private:
  bool canDecodeOnTo(MediaTime t) const;
  void seekDemuxer(MediaTime t);
  void seekToTicks(int64_t ticks);
  void restartFromBeginning();
  bool beforeStreamStart(int64_t ticks) const;
  // Seeks again, earlier than the last seek, when it landed too late for the target.
  void seekFurtherBack();
  // Decodes until the first frame's duration is settled (for video, by the next frame) or
  // the stream has ended.
  void fillDecoded();
  // Reads and decodes one more packet; false when the stream has ended.
  bool decodeMore();
  bool packetEndsBeforeTarget(const AVPacket& packet) const;
  void sendPacket(AVPacket* packet);
  void receiveFrames();
  void acceptFrame(FramePtr frame);
  MediaTime nominalFrameDuration() const;

  std::shared_ptr<const SourceTrack> source_;
  InputFilePtr input_;
  AVStream* stream_ = nullptr;
  CodecContextPtr decoder_;
  PacketPtr packet_;
  bool isVideo_ = false;

  // Frames decoded and not yet taken; the last one's duration may still be open.
  std::deque<SourceFrame> decoded_;
  // The last frame taken, kept so that a following seek inside it can hand it out again.
  std::optional<SourceFrame> lastTaken_;
  // Frames that end at or before this time are dropped.
  MediaTime dropBefore_ = MediaTime::negativeInfinity();
  // The demuxer position we sought to, to check that the first frame is not already past
  // the target (the index of some containers is in decode order).
  std::optional<int64_t> seekTicks_;
  int64_t seekBackoffTicks_ = 0;
  bool reseekRequested_ = false;
  int64_t lastPacketDts_ = INT64_MIN;
  MediaTime nextExpectedTime_ = MediaTime::invalid();
  bool positioned_ = false;  // a seek has been made and frames after its target are available
  bool demuxerEnded_ = false;
  bool decoderEnded_ = false;
};

}  // namespace reelcraft
