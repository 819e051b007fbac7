#pragma once

// Decoding helpers for checking what a movie really contains: the frame code of every video
// frame and the samples of an audio stream, each with its presentation time. They read any
// file FFmpeg can decode and honour the container's edit lists as a player does.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mediagen/frame_code.h"
#include "mediagen/movie_recipe.h"

namespace reelcraft::testmedia {

struct DecodedVideoFrame {
  int64_t pts = 0;  // best-effort presentation timestamp in timeBase units
  Rational timeBase;
  double seconds = 0;
  int width = 0;
  int height = 0;
  std::optional<FrameCode> code;  // nothing when the picture shows no frame code

  int frameIndex() const { return code ? code->index : -1; }
};

// Every frame of a video stream in presentation order. `streamIndex` -1 takes the first video
// stream. Throws std::runtime_error when the file or stream cannot be decoded.
std::vector<DecodedVideoFrame> readVideoFrames(const std::string& path, int streamIndex = -1);

// The frame indices alone, in presentation order (-1 where no code could be read).
std::vector<int> readFrameIndices(const std::string& path, int streamIndex = -1);

struct DecodedAudio {
  int sampleRate = 0;                        // of `channels`
  int sourceSampleRate = 0;                  // as stored in the file
  double startSeconds = 0;                   // presentation time of the first sample
  std::vector<std::vector<float>> channels;  // planar samples, one vector per channel

  // One entry per decoded frame: where its samples begin in `channels` and its timestamp.
  struct Block {
    size_t offset = 0;
    size_t count = 0;
    int64_t pts = 0;  // in timeBase units
    double seconds = 0;
  };
  Rational timeBase;
  std::vector<Block> blocks;

  size_t sampleCount() const { return channels.empty() ? 0 : channels[0].size(); }
  // Presentation time of sample `index`, counted from the first decoded sample.
  double secondsAt(size_t index) const {
    return startSeconds + static_cast<double>(index) / sampleRate;
  }
};

// All samples of an audio stream as floats, up to the track's end as the container gives it
// (without the padding that fills the codec's last frame). `streamIndex` -1 takes the first audio
// stream; `sampleRate` 0 keeps the stream's rate, anything else resamples. Throws
// std::runtime_error when the file or stream cannot be decoded.
DecodedAudio readAudio(const std::string& path, int streamIndex = -1, int sampleRate = 0);

}  // namespace reelcraft::testmedia
