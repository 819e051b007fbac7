// Sequential read of a movie's composition, as an exporter reads it, against ffmpeg decoding
// the same file to its null muxer, alternately in the same run.
//
// Our side: AssetReader over a composition showing the whole file; the video composition
// output hands out every frame drawn at the render size in YUV 4:2:0 (a picture of its own
// per frame), the audio mix output the sound mixed into interleaved stereo float at 48 kHz;
// each output is pulled to its end on a thread of its own.
// ffmpeg's side: `ffmpeg -i FILE -f null -` decodes the video (frame threads) and hands the
// decoded frames on by reference, and decodes the audio and converts it to 16-bit PCM.
//
// usage: read_bench FILE [--rounds=N] [--ffmpeg=PATH]

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "benchmark_main.h"
#include "media/reader/asset_reader.h"
#include "media/reader/asset_reader_output.h"
#include "media_bench_support.h"

namespace reelcraft::bench {
namespace {

struct ReadRun {
  double wallSeconds = 0;
  double cpuSeconds = 0;
  int64_t videoFrames = 0;
  int64_t audioFrames = 0;  // stereo sample frames
};

std::vector<AssetTrack> tracksOf(const Asset& asset, MediaType type) {
  std::vector<AssetTrack> tracks;
  for (const AssetTrack* track : asset.tracksWithMediaType(type)) tracks.push_back(*track);
  return tracks;
}

ReadRun readComposition(const std::string& path) {
  const SteadyClock::time_point start = SteadyClock::now();
  const double cpuBefore = processCpuSeconds();

  const std::shared_ptr<const Composition> composition = wholeFileComposition(path);
  const std::shared_ptr<AssetReader> reader = AssetReader::create(composition);
  auto video =
      std::make_shared<AssetReaderVideoCompositionOutput>(tracksOf(*composition, MediaType::Video));
  auto audio =
      std::make_shared<AssetReaderAudioMixOutput>(tracksOf(*composition, MediaType::Audio));
  reader->addOutput(video);
  reader->addOutput(audio);
  if (!reader->startReading()) {
    const std::optional<Error> error = reader->error();
    throw std::runtime_error("reading did not start: " +
                             (error ? error->description : std::string("no error given")));
  }

  ReadRun run;
  std::thread audioThread([&] {
    while (const std::shared_ptr<SampleBuffer> buffer = audio->copyNextSampleBuffer()) {
      run.audioFrames += static_cast<int64_t>(buffer->audio.frameCount());
    }
  });
  while (const std::shared_ptr<SampleBuffer> buffer = video->copyNextSampleBuffer()) {
    ++run.videoFrames;
  }
  audioThread.join();
  if (reader->status() != AssetReaderStatus::Completed) {
    const std::optional<Error> error = reader->error();
    throw std::runtime_error("reading did not complete: " +
                             (error ? error->description : std::string("no error given")));
  }
  run.wallSeconds = secondsSince(start);
  run.cpuSeconds = processCpuSeconds() - cpuBefore;
  return run;
}

CommandRun decodeWithFfmpeg(const std::string& ffmpeg, const std::string& path) {
  const CommandRun run = runCommand(
      {ffmpeg, "-nostdin", "-hide_banner", "-loglevel", "error", "-i", path, "-f", "null", "-"});
  if (run.exitStatus != 0) {
    throw std::runtime_error(ffmpeg + " failed with status " + std::to_string(run.exitStatus));
  }
  return run;
}

int run(const BenchmarkCommandLine& commandLine) {
  const std::string& path = commandLine.arguments.front();
  const int rounds = commandLine.number("rounds", 3, 1);
  const std::string ffmpeg = commandLine.option("ffmpeg", "ffmpeg");

  std::vector<double> oursWall, oursCpu, ffmpegWall, ffmpegCpu;
  for (int round = 0; round < rounds; ++round) {
    // Alternate who goes first, so that neither side always meets a warmer cache or a
    // quieter machine.
    for (int turn = 0; turn < 2; ++turn) {
      if ((round + turn) % 2 == 0) {
        const ReadRun ours = readComposition(path);
        oursWall.push_back(ours.wallSeconds);
        oursCpu.push_back(ours.cpuSeconds);
        std::printf("round %d ours:   %.2f s wall, %.2f s CPU, %lld frames, %lld audio frames\n",
                    round + 1, ours.wallSeconds, ours.cpuSeconds,
                    static_cast<long long>(ours.videoFrames),
                    static_cast<long long>(ours.audioFrames));
      } else {
        const CommandRun theirs = decodeWithFfmpeg(ffmpeg, path);
        ffmpegWall.push_back(theirs.wallSeconds);
        ffmpegCpu.push_back(theirs.cpuSeconds);
        std::printf("round %d ffmpeg: %.2f s wall, %.2f s CPU\n", round + 1, theirs.wallSeconds,
                    theirs.cpuSeconds);
      }
      std::fflush(stdout);
    }
  }

  const double wallRatio = median(oursWall) / median(ffmpegWall);
  const double cpuRatio = median(oursCpu) / median(ffmpegCpu);
  printResult("read: sequential read, wall (median of " + std::to_string(rounds) + ")",
              format("%.2f s", median(oursWall)), format("%.2f s", median(ffmpegWall)), wallRatio,
              "ratio <= 1.1", wallRatio <= 1.1);
  printResult("read: sequential read, CPU time", format("%.2f s", median(oursCpu)),
              format("%.2f s", median(ffmpegCpu)), cpuRatio, "(information)", true);
  return 0;
}

}  // namespace
}  // namespace reelcraft::bench

int main(int argc, char** argv) {
  return reelcraft::bench::benchmarkMain(
      argc, argv, {"read_bench", "FILE [--rounds=N] [--ffmpeg=PATH]"}, reelcraft::bench::run);
}
