#include "mediagen/movie_recipe.h"

namespace reelcraft::testmedia {
namespace {

VideoTrackRecipe codedVideo(Rational frameRate, int frameCount) {
  VideoTrackRecipe video;
  video.frameRate = frameRate;
  video.frameCount = frameCount;
  return video;
}

AudioTrackRecipe signalAudio(int sampleRate, int channels, int64_t sampleCount) {
  AudioTrackRecipe audio;
  audio.sampleRate = sampleRate;
  audio.channels = channels;
  audio.sampleCount = sampleCount;
  return audio;
}

std::vector<NamedVariant> makeVariants() {
  std::vector<NamedVariant> variants;

  // Three seconds of H.264 (B-frames, 25-frame GOPs at 30 fps) with stereo AAC.
  MovieRecipe h264Aac;
  h264Aac.videoTracks = {codedVideo({30, 1}, 90)};
  h264Aac.audioTracks = {signalAudio(48000, 2, 3 * 48000)};

  MovieRecipe mp4 = h264Aac;
  mp4.container = "mp4";
  variants.push_back({"h264-aac-mp4", "H.264 + AAC, 30 fps, 3 s, MPEG-4", ".mp4", mp4});
  variants.push_back({"h264-aac-mov", "H.264 + AAC, 30 fps, 3 s, QuickTime", ".mov", h264Aac});

  MovieRecipe ntsc;
  ntsc.videoTracks = {codedVideo({30000, 1001}, 60)};
  ntsc.audioTracks = {signalAudio(48000, 2, 96096)};  // 60 frames of 1001/30000 s
  variants.push_back({"ntsc-h264-aac-mov", "H.264 + AAC, 30000/1001 fps, 60 frames", ".mov", ntsc});

  MovieRecipe videoOnly;
  videoOnly.container = "mp4";
  videoOnly.videoTracks = {codedVideo({25, 1}, 50)};
  variants.push_back({"video-only-mp4", "H.264 only, 25 fps, 2 s, MPEG-4", ".mp4", videoOnly});

  MovieRecipe audioOnly;
  audioOnly.container = "ipod";
  audioOnly.audioTracks = {signalAudio(44100, 1, 2 * 44100)};
  audioOnly.audioTracks[0].bitRate = 96'000;
  variants.push_back({"audio-only-m4a", "AAC only, 44.1 kHz mono, 2 s", ".m4a", audioOnly});

  MovieRecipe mjpegPcm;
  mjpegPcm.videoTracks = {codedVideo({24, 1}, 48)};
  mjpegPcm.videoTracks[0].encoder = "mjpeg";
  mjpegPcm.videoTracks[0].gopSize = 1;
  mjpegPcm.videoTracks[0].maxBFrames = 0;
  mjpegPcm.audioTracks = {signalAudio(48000, 2, 2 * 48000)};
  mjpegPcm.audioTracks[0].encoder = "pcm_s16le";
  variants.push_back(
      {"mjpeg-pcm-mov", "Motion JPEG + 16-bit PCM, 24 fps, 2 s, QuickTime", ".mov", mjpegPcm});

  MovieRecipe twoAudio;
  twoAudio.videoTracks = {codedVideo({30, 1}, 60)};
  twoAudio.audioTracks = {signalAudio(48000, 2, 2 * 48000), signalAudio(44100, 1, 2 * 44100)};
  variants.push_back(
      {"two-audio-mov", "H.264 + two AAC tracks (48 kHz stereo, 44.1 kHz mono)", ".mov", twoAudio});

  MovieRecipe rotated;
  rotated.videoTracks = {codedVideo({30, 1}, 60)};
  rotated.videoTracks[0].rotationDegreesClockwise = 90;
  rotated.audioTracks = {signalAudio(48000, 2, 2 * 48000)};
  variants.push_back(
      {"rotated-mov", "H.264 + AAC shown turned a quarter clockwise, 2 s", ".mov", rotated});

  // The picture starts half a second after the sound (an empty edit before the video).
  MovieRecipe delayed;
  delayed.videoTracks = {codedVideo({30, 1}, 45)};
  delayed.videoTracks[0].startFrame = 15;
  delayed.audioTracks = {signalAudio(48000, 2, 2 * 48000)};
  variants.push_back({"delayed-video-mov", "H.264 from 0.5 s to 2 s + AAC from 0 to 2 s, QuickTime",
                      ".mov", delayed});

  MovieRecipe sample;
  VideoTrackRecipe showcase = codedVideo({30, 1}, 300);
  showcase.width = 640;
  showcase.height = 360;
  showcase.gopSize = 30;
  showcase.bitRate = 1'200'000;
  showcase.content = PictureContent::Showcase;
  AudioTrackRecipe melody = signalAudio(48000, 2, 10 * 48000);
  melody.content = SoundContent::Melody;
  sample.videoTracks = {showcase};
  sample.audioTracks = {melody};
  variants.push_back({"sample", "A pleasant 10 s H.264 + AAC movie, QuickTime", ".mov", sample});

  return variants;
}

// Full-HD showcase movies for benchmarks; too big to make for every test run.
std::vector<NamedVariant> makeBenchmarkVariants() {
  auto fullHd = [](Rational frameRate, int frameCount, int gopSize) {
    VideoTrackRecipe video = codedVideo(frameRate, frameCount);
    video.width = 1920;
    video.height = 1080;
    video.gopSize = gopSize;
    video.bitRate = 8'000'000;
    video.content = PictureContent::Showcase;
    return video;
  };
  auto melody = [](int64_t seconds) {
    AudioTrackRecipe audio = signalAudio(48000, 2, seconds * 48000);
    audio.content = SoundContent::Melody;
    return audio;
  };
  std::vector<NamedVariant> variants;
  MovieRecipe longGop;
  longGop.container = "mp4";
  longGop.videoTracks = {fullHd({30, 1}, 60 * 30, 300)};
  longGop.audioTracks = {melody(60)};
  variants.push_back({"bench-1080p30-60s",
                      "1920x1080 H.264 (10 s GOPs) + AAC, 30 fps, 60 s, MPEG-4", ".mp4", longGop});
  MovieRecipe fast;
  fast.container = "mp4";
  fast.videoTracks = {fullHd({60, 1}, 10 * 60, 120)};
  fast.audioTracks = {melody(10)};
  variants.push_back(
      {"bench-1080p60-10s", "1920x1080 H.264 + AAC, 60 fps, 10 s, MPEG-4", ".mp4", fast});
  // Keyframes every second, as cameras and phones write them.
  MovieRecipe shortGop;
  shortGop.container = "mp4";
  shortGop.videoTracks = {fullHd({30, 1}, 20 * 30, 30)};
  shortGop.audioTracks = {melody(20)};
  variants.push_back({"bench-1080p30-20s-gop30",
                      "1920x1080 H.264 (1 s GOPs) + AAC, 30 fps, 20 s, MPEG-4", ".mp4", shortGop});
  MovieRecipe cameraGop;
  cameraGop.container = "mp4";
  cameraGop.videoTracks = {fullHd({30, 1}, 60 * 30, 60)};
  cameraGop.audioTracks = {melody(60)};
  variants.push_back({"bench-1080p30-60s-gop60",
                      "1920x1080 H.264 (2 s GOPs) + AAC, 30 fps, 60 s, MPEG-4", ".mp4", cameraGop});
  return variants;
}

}  // namespace

const std::vector<NamedVariant>& benchmarkVariants() {
  static const std::vector<NamedVariant> variants = makeBenchmarkVariants();
  return variants;
}

const std::vector<NamedVariant>& standardVariants() {
  static const std::vector<NamedVariant> variants = makeVariants();
  return variants;
}

const NamedVariant* findVariant(std::string_view name) {
  for (const NamedVariant& variant : standardVariants()) {
    if (variant.name == name) return &variant;
  }
  for (const NamedVariant& variant : benchmarkVariants()) {
    if (variant.name == name) return &variant;
  }
  return nullptr;
}

}  // namespace reelcraft::testmedia
