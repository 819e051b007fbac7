#pragma once

#include <memory>
#include <vector>

#include "media/ffmpeg/av_handles.h"
#include "media/base/media_time.h"
#include "media/model/sample_buffer.h"
#include "media/writer/writer_encoder_settings.h"

namespace reelcraft {

// Turns one writer input's samples into compressed packets, timed in the codec context's time
// base from the session's start. Not thread-safe: the input serialises its calls. Failures
// throw std::runtime_error with a sentence (without final period) saying what went wrong.
class WriterEncoder {
 public:
  // `globalHeader`: the container wants the codec's parameters in its header.
  static std::unique_ptr<WriterEncoder> create(const WriterEncoderSettings& settings,
                                               bool globalHeader);
  virtual ~WriterEncoder();

  bool isOpen() const { return opened_; }
  // Opens the encoder. `first` is the first sample (it gives the video frame rate), or null
  // when there is none.
  virtual void open(const SampleBuffer* first) = 0;
  // Encodes `sample`, dropping whatever lies before `sessionStart`. Opens the encoder first
  // if needed.
  virtual void encode(const SampleBuffer& sample, MediaTime sessionStart,
                      std::vector<PacketPtr>& packets) = 0;
  // Encodes whatever is held back and drains the encoder.
  virtual void flush(std::vector<PacketPtr>& packets) = 0;

  // Valid once open.
  const AVCodecContext* context() const { return context_.get(); }

 protected:
  WriterEncoder(const WriterEncoderSettings& settings, bool globalHeader);

  // Allocates the context of the settings' encoder; open it with openContext.
  AVCodecContext* allocateContext();
  void openContext();
  // Sends `frame` (null: end of stream) and collects every packet the encoder has ready.
  void sendFrame(const AVFrame* frame, std::vector<PacketPtr>& packets);

  const WriterEncoderSettings settings_;
  const bool globalHeader_;
  CodecContextPtr context_;
  bool opened_ = false;
};

}  // namespace reelcraft
