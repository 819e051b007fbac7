#pragma once

#include "media/writer/writer_encoder.h"

namespace reelcraft {

// H.264 (libx264) or Motion JPEG. Pictures of any size and pixel format are scaled to the
// requested size. The time base is the first sample's duration (one frame), so the encoder
// sees the source's frame rate; a frame that would land on its predecessor's tick is moved
// one tick on.
class WriterVideoEncoder final : public WriterEncoder {
 public:
  WriterVideoEncoder(const WriterEncoderSettings& settings, bool globalHeader);

  void open(const SampleBuffer* first) override;
  void encode(const SampleBuffer& sample, MediaTime sessionStart,
              std::vector<PacketPtr>& packets) override;
  void flush(std::vector<PacketPtr>& packets) override;

 private:
  // `source` as a frame of the encoder's size and pixel format.
  FramePtr convert(const AVFrame& source);

  ScalerPtr scaler_;
  int64_t lastPts_ = INT64_MIN;
};

}  // namespace reelcraft
