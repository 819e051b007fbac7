#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "media/model/asset.h"
#include "media/ffmpeg/av_handles.h"
#include "media/writer/output_settings.h"
#include "media/model/sample_buffer.h"
#include "media/base/serial_queue.h"

namespace reelcraft {

class AssetWriter;
class WriterEncoder;
struct WriterEncoderSettings;

// One track of the file an AssetWriter writes: samples appended to it are converted to the
// format its output settings ask for and encoded.
//
// Video settings: kVideoCodec ("h264" through libx264, "mjpeg"), kVideoWidth and kVideoHeight
// (the picture is scaled to that size), and kVideoCompressionProperties with
// kVideoAverageBitRate (H.264; libx264's own rate control with preset "medium" without it) or
// kVideoQuality (Motion JPEG, 0 to 1; 0.75 without it).
// Audio settings: kFormatID (AAC, AC-3, MP3, Apple Lossless, linear PCM), kSampleRate,
// kEncoderBitRate (the codec's default without it), and for linear PCM the bit depth, byte
// order and float flags. Audio is always written as two-channel stereo at the requested rate.
//
// Appending is thread-safe; inputs of one writer are usually fed from two threads at once.
class AssetWriterInput : public std::enable_shared_from_this<AssetWriterInput> {
 public:
  // Throws ErrorException when the settings cannot be honoured (unknown codec or format,
  // missing or bad size, unsupported sample rate, bad bit depth...), std::invalid_argument for
  // a media type other than video or audio.
  static std::shared_ptr<AssetWriterInput> create(MediaType mediaType,
                                                  OutputSettings outputSettings);
  ~AssetWriterInput();
  AssetWriterInput(const AssetWriterInput&) = delete;
  AssetWriterInput& operator=(const AssetWriterInput&) = delete;

  MediaType mediaType() const { return mediaType_; }
  const OutputSettings& outputSettings() const { return outputSettings_; }

  // True while the writer is writing, the input is not finished and it is not too far ahead
  // of the writer's other inputs (so that the file stays interleaved and memory bounded).
  bool isReadyForMoreMediaData() const;

  // Calls `block` on `queue` again and again while the input is ready for more data; the
  // block should append a sample (or a few) or call markAsFinished, and return. When the input
  // is not ready (it is ahead of another input) the calls pause and resume by themselves.
  // They stop for good once the input is finished or the writer is no longer writing. A call
  // that neither appends nor finishes the input also ends the calls (the block has nothing to
  // give); asking again starts them anew. A new request replaces the previous one. Throws
  // std::logic_error when the input has not been added to a writer, std::invalid_argument for
  // no queue or no block.
  void requestMediaDataWhenReadyOnQueue(std::shared_ptr<SerialQueue> queue,
                                        std::function<void()> block);

  // Encodes `sample` (its presentation time counted from the session's start time). False
  // when the input belongs to no writer, the writer is not writing, the input is finished, the
  // sample is of the wrong media type, or encoding or writing fails; the last makes the
  // writer's status Failed with the error.
  bool appendSampleBuffer(const SampleBuffer& sample);

  // No more samples: the encoder's delayed output is written. Later appends fail.
  void markAsFinished();

 private:
  friend class AssetWriter;

  AssetWriterInput(MediaType mediaType, OutputSettings outputSettings,
                   std::unique_ptr<WriterEncoderSettings> encoderSettings);

  // One turn of the request loop, on the request queue.
  void pump();
  // Encodes whatever the encoder holds back and writes it, once; under encodeMutex_.
  void flushLocked(AssetWriter& writer);
  // Writes `packets`, opening the track in the file first when the encoder has just opened;
  // under encodeMutex_. False when the writer fails or no longer writes.
  bool writePacketsLocked(AssetWriter& writer, bool encoderWasOpen,
                          std::vector<PacketPtr>& packets);

  const MediaType mediaType_;
  const OutputSettings outputSettings_;
  const std::unique_ptr<WriterEncoderSettings> encoderSettings_;

  // Set by AssetWriter::addInput, before any other thread uses the input.
  std::weak_ptr<AssetWriter> writer_;
  size_t trackIndex_ = 0;

  // Guards the encoder and the flags below; appends to one input are serialised.
  mutable std::mutex encodeMutex_;
  std::unique_ptr<WriterEncoder> encoder_;  // made by startWriting
  bool finished_ = false;
  bool flushed_ = false;
  std::atomic<uint64_t> appendCount_{0};

  // The request for data; guarded by the writer's stateMutex_.
  std::shared_ptr<SerialQueue> requestQueue_;
  std::function<void()> requestBlock_;
  bool pumpScheduled_ = false;  // a pump is queued or running
  bool parked_ = false;         // waiting until the input is ready again
};

}  // namespace reelcraft
