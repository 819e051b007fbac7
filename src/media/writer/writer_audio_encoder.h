#pragma once

#include <cstdint>

#include "media/writer/writer_encoder.h"

namespace reelcraft {

// AAC, AC-3, MP3, Apple Lossless or linear PCM, two-channel stereo at the requested rate.
// Interleaved stereo float of any rate is resampled to the encoder's rate and sample format
// and cut into frames of the encoder's frame size. Times are counted in samples from the
// session's start: the first sample gives the position, the rest follow on without gaps.
class WriterAudioEncoder final : public WriterEncoder {
 public:
  WriterAudioEncoder(const WriterEncoderSettings& settings, bool globalHeader);

  void open(const SampleBuffer* first) override;
  void encode(const SampleBuffer& sample, MediaTime sessionStart,
              std::vector<PacketPtr>& packets) override;
  void flush(std::vector<PacketPtr>& packets) override;

 private:
  void makeResampler(int inputRate);
  // Resamples `frameCount` interleaved stereo frames (none: the resampler's remainder) into
  // the FIFO.
  void resample(const float* samples, int frameCount);
  // Encodes whole frames from the FIFO; with `all`, also the last partial one.
  void encodeQueued(std::vector<PacketPtr>& packets, bool all);

  ResamplerPtr resampler_;
  int resamplerInputRate_ = 0;
  AudioFifoPtr fifo_;
  int frameSize_ = 0;
  int64_t nextPts_ = 0;  // of the next sample taken from the FIFO
  bool started_ = false;
};

}  // namespace reelcraft
