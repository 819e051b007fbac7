#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "media/base/error.h"
#include "media/save/passthrough_movie_writer.h"
#include "media/support/composition_reading.h"
#include "media/support/ffmpeg_made.h"
#include "media/support/frame_runs.h"
#include "media/support/sound_checks.h"
#include "mediagen/media_reader.h"

namespace reelcraft {
namespace {

namespace fs = std::filesystem;

// A kind of file that other tools write, made by ffmpeg from the generated H.264 (B-frames,
// keyframes every 25 frames, 30 fps, 90 frames) + AAC (48 kHz position signal) movie.
struct SourceKind {
  std::string name;
  std::string extension;
  std::string ffmpegArguments;
  int packetSamples = 1024;  // of its sound: copied sound is placed within half of it
  bool hasVideo = true;
  friend void PrintTo(const SourceKind& kind, std::ostream* out) { *out << kind.name; }
};

class SavingSourceKinds : public testing::TestWithParam<SourceKind> {
 protected:
  std::string source() const {
    return testsupport::ffmpegMade("h264-aac-mov", GetParam().name + GetParam().extension,
                                   GetParam().ffmpegArguments);
  }
  static std::string outputPath(const std::string& name) {
    return testmedia::testMediaDirectory() + "/saved-" + name + ".mov";
  }
};

// The test deletes [kCutStart, kCutEnd): frames 7...37 of the generated movie, from inside the
// first group of pictures to inside the second.
constexpr double kCutStart = 7 / 30.0;
constexpr double kCutEnd = 38 / 30.0;

// Where the edited movie shows source time `t` (outside the deleted range).
double editedTime(double t) {
  return t < kCutStart ? t : t - (kCutEnd - kCutStart);
}

TEST_P(SavingSourceKinds, KeepsEveryFrameAndTheSoundTheDeleteLeaves) {
  const auto asset = FileAsset::open(source());
  auto composition = reading::wholeOf(*asset);
  // The file's clock at movie time zero (an MP3 starts after its encoder's delay).
  const double clock = asset->tracks().front().segments[0].source->clockStart.seconds();
  composition->removeTimeRange(reading::frameRange(7, 31));
  const std::string path = outputPath(GetParam().name);
  writePassthroughMovie(*composition, path);

  if (GetParam().hasVideo) {
    // The source's frames shown outside the deleted range for more than a millisecond (the
    // rounding of Matroska's times), each from where it starts or from the cut, on the source's
    // own clock (ffmpeg may move a stream's start a little).
    const auto original = testmedia::readVideoFrames(source());
    std::vector<int> expected;
    std::vector<double> times;
    for (size_t i = 0; i < original.size(); ++i) {
      const double start = original[i].seconds - clock;
      const double end = i + 1 < original.size() ? original[i + 1].seconds - clock : 1e9;
      if (start < kCutStart - 1e-3 || end > kCutEnd + 1e-3) {
        expected.push_back(original[i].frameIndex());
        times.push_back(editedTime(start < kCutStart ? start : std::max(start, kCutEnd)));
      }
    }
    const auto decoded = testmedia::readVideoFrames(path);
    std::vector<int> indices;
    for (const auto& frame : decoded) indices.push_back(frame.frameIndex());
    ASSERT_EQ(indices, expected);
    for (size_t i = 0; i < decoded.size(); ++i) {
      EXPECT_NEAR(decoded[i].seconds, times[i], 1 / 30.0) << "frame " << i;
    }
  }
  const auto original = testmedia::readAudio(source());
  const auto audio = testmedia::readAudio(path);
  const double tolerance = (GetParam().packetSamples / 2.0 + 1) / 48000;
  for (double t : {0.05, kCutEnd + 0.05, kCutEnd + 0.6}) {
    const auto wanted = sound::sourceSecondsAt(original, t + clock, t);
    const auto located = sound::sourceSecondsAt(audio, editedTime(t), t);
    ASSERT_TRUE(wanted && located) << "at " << t;
    EXPECT_NEAR(*located, *wanted, tolerance) << "at " << t;
  }
}

// A damaged file is refused with one line naming it, when it is opened or when it is saved;
// nothing is left of the movie being saved.
TEST_P(SavingSourceKinds, DamagedFilesAreRefusedByName) {
  const std::string original = source();
  std::ifstream in(original, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  const std::string truncated = bytes.substr(0, bytes.size() / 2);
  std::string overwritten = bytes;
  std::fill_n(overwritten.begin() + static_cast<long>(bytes.size() / 2), 4096, '\xff');
  for (const auto& [damage, content] :
       {std::pair{"truncated", truncated}, {"overwritten", overwritten}}) {
    const std::string name = GetParam().name + "-" + damage;
    const std::string damaged = testmedia::testMediaDirectory() + "/" + name + GetParam().extension;
    std::ofstream(damaged, std::ios::binary) << content;
    const std::string path = outputPath(name);
    try {
      writePassthroughMovie(*reading::wholeOf(*FileAsset::open(damaged)), path);
    } catch (const ErrorException& e) {
      const std::string& description = e.error().description;
      EXPECT_NE(description.find(fs::path(damaged).filename().string()), std::string::npos)
          << description;
      EXPECT_EQ(description.find('\n'), std::string::npos) << description;
      EXPECT_FALSE(fs::exists(path)) << damage;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, SavingSourceKinds,
    testing::Values(
        SourceKind{"MatroskaH264", ".mkv", "-c copy"},
        // Frames 40 and 41 dropped: a gap in the presentation times.
        SourceKind{
            "MatroskaWithAGap", ".mkv",
            "-vf 'select=not(between(n\\,40\\,41))' -fps_mode passthrough -c:v libx264 -bf 3 "
            "-g 25 -c:a copy"},
        SourceKind{"FragmentedMpeg4", ".mp4", "-c copy -movflags frag_keyframe+empty_moov"},
        // A recording whose clock starts an hour in, with no header that lists its streams.
        SourceKind{"TransportStreamAnHourIn", ".ts", "-c copy -output_ts_offset 3600 -f mpegts"},
        SourceKind{"AviMotionJpegPcm", ".avi", "-c:v mjpeg -q:v 2 -c:a pcm_s16le", 1},
        SourceKind{"MatroskaFfv1", ".mkv", "-c:v ffv1 -c:a copy"},
        // PCM timed in milliseconds: cut within half of one.
        SourceKind{"MatroskaPcm", ".mkv", "-c:v copy -c:a pcm_s16le", 48},
        SourceKind{"OggTheoraVorbis", ".ogg", "-c:v libtheora -q:v 8 -c:a libvorbis", 2048},
        SourceKind{"Mp3", ".mp3", "-vn -c:a libmp3lame -b:a 192k", 1152, false},
        SourceKind{"Wav", ".wav", "-vn -c:a pcm_s16le", 1, false},
        SourceKind{"OggVorbis", ".ogg", "-vn -c:a libvorbis", 2048, false}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace reelcraft
