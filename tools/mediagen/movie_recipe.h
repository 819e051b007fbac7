#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace reelcraft::testmedia {

struct Rational {
  int num = 0;
  int den = 1;
};

enum class PictureContent {
  FrameCode,  // every frame shows its own index (see frame_code.h)
  Showcase,   // a moving gradient with a ball and a clock, for people to look at
};

enum class SoundContent {
  PositionSignal,  // samples that reveal their own time (see position_signal.h)
  Melody,          // a soft arpeggio, for people to listen to
};

struct VideoTrackRecipe {
  std::string encoder = "libx264";  // libavcodec encoder name: "libx264" or "mjpeg"
  int width = 320;
  int height = 240;
  Rational frameRate{30, 1};
  int frameCount = 90;
  // The first frame is shown at startFrame / frameRate, which must be a whole number of
  // milliseconds (the QuickTime writer's edit lists count in milliseconds).
  int startFrame = 0;
  int gopSize = 25;
  int maxBFrames = 2;
  int64_t bitRate = 300'000;  // H.264 only; Motion JPEG uses a fixed high quality
  // Clockwise rotation that players apply when showing the track (stored as a display matrix).
  int rotationDegreesClockwise = 0;
  PictureContent content = PictureContent::FrameCode;

  // frameCount / frameRate and startFrame / frameRate as numerator over denominator seconds.
  Rational duration() const { return {frameCount * frameRate.den, frameRate.num}; }
  Rational start() const { return {startFrame * frameRate.den, frameRate.num}; }
};

struct AudioTrackRecipe {
  std::string encoder = "aac";  // libavcodec encoder name: "aac" or "pcm_s16le"
  int sampleRate = 48000;
  int channels = 2;
  int64_t sampleCount = 144'000;
  int64_t bitRate = 128'000;
  SoundContent content = SoundContent::PositionSignal;
};

// A movie to write: tracks are stored video first, then audio, each in the order given.
struct MovieRecipe {
  std::string container = "mov";  // libavformat muxer name: "mov", "mp4", "ipod"
  std::vector<VideoTrackRecipe> videoTracks;
  std::vector<AudioTrackRecipe> audioTracks;
};

struct NamedVariant {
  std::string name;
  std::string description;
  std::string extension;  // with the dot: ".mov"
  MovieRecipe recipe;
};

// The variants that tests and the tool know by name.
const std::vector<NamedVariant>& standardVariants();
// Large movies for benchmarks, made on demand only.
const std::vector<NamedVariant>& benchmarkVariants();
// Null when no variant (standard or benchmark) has that name.
const NamedVariant* findVariant(std::string_view name);

}  // namespace reelcraft::testmedia
