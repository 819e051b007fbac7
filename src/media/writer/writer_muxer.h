#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/ffmpeg/av_handles.h"
#include "media/writer/writer_encoder_settings.h"

namespace reelcraft {

// The container side of an AssetWriter: one file of one FFmpeg muxer, one stream per track.
// The header is written once every track's encoder is open (the encoders open on their first
// sample, which gives the video frame rate); packets that come before are held until then.
// Packets of all tracks go through FFmpeg's interleaving. Thread-safe: one lock serialises
// everything that touches the file. Failures throw ErrorException naming the file.
class WriterMuxer {
 public:
  // Throws ErrorException when `fileType` names no muxer that writes files.
  WriterMuxer(std::string path, const std::string& fileType);
  WriterMuxer(const WriterMuxer&) = delete;
  WriterMuxer& operator=(const WriterMuxer&) = delete;

  // Whether the container keeps the codecs' parameters in its header.
  bool needsGlobalHeader() const;
  // Why the container cannot take a track of `settings` after `existing` tracks (a sentence
  // without final period), or nothing when it can.
  std::optional<std::string> whyCannotHold(
      const WriterEncoderSettings& settings,
      const std::vector<const WriterEncoderSettings*>& existing) const;

  // Creates the file (replacing one that exists) with `trackCount` tracks.
  void open(int trackCount);
  // `encoder` of `track` is open: its parameters go into the stream, and when every track has
  // them the header is written.
  void setTrackParameters(int track, const AVCodecContext& encoder);
  // Writes `packets` of `track`, timed in the encoder's time base. False when the file has
  // been closed or abandoned (the packets are dropped).
  bool write(int track, std::vector<PacketPtr>& packets);
  // Writes the end of the file and closes it. Does nothing once closed or abandoned.
  void finish();
  // Closes the file without finishing it and removes it. Idempotent.
  void abandon();

 private:
  void writeHeaderIfReady();
  void writePacket(int track, AVPacket& packet);
  [[noreturn]] void throwWritingFailed(const std::string& what, int result) const;

  const std::string path_;
  const AVOutputFormat* format_ = nullptr;
  std::string formatDisplayName_;

  std::mutex mutex_;
  OutputContextPtr context_;
  bool fileCreated_ = false;
  bool headerWritten_ = false;
  bool closed_ = false;
  std::vector<AVRational> encoderTimeBases_;
  std::vector<bool> trackReady_;
  std::vector<std::pair<int, PacketPtr>> heldPackets_;
};

}  // namespace reelcraft
