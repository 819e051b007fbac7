#include "export/movie_exporter.h"

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>

#include "document/movie.h"
#include "media/base/serial_queue.h"

namespace reelcraft {
namespace {

// One line (framed by blank lines) on standard output, in a single write so that the two
// streams' lines do not interleave.
void printDiagnostic(const std::optional<Error>& error) {
  const std::string line =
      "\n\n\nError: " + (error ? error->description : std::string("nil")) + "\n\n";
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

}  // namespace

std::shared_ptr<MovieExporter> MovieExporter::create(
    std::shared_ptr<Movie> movie, std::string outputUrl,
    std::shared_ptr<const MovieFileFormat> format) {
  return std::shared_ptr<MovieExporter>(
      new MovieExporter(std::move(movie), std::move(outputUrl), std::move(format)));
}

MovieExporter::MovieExporter(std::shared_ptr<Movie> movie, std::string outputUrl,
                             std::shared_ptr<const MovieFileFormat> format)
    : movie(std::move(movie)), format(std::move(format)), outputUrl(std::move(outputUrl)) {}

std::shared_ptr<AssetReaderProvider> MovieExporter::makeReaderProvider(AssetPtr asset) {
  return std::make_shared<AssetReaderProvider>(std::move(asset));
}

void MovieExporter::start(std::function<void()> handler) {
  completionHandler = std::move(handler);
  // The pumps read a snapshot: the movie may be edited while the export runs.
  const AssetPtr asset = movie->composition->copy();

  readerProvider = makeReaderProvider(asset);
  readerProvider->build();
  assetReader = readerProvider->assetReader;
  audioOutput = readerProvider->audioOutput;
  videoOutput = readerProvider->videoOutput;

  writerProvider = std::make_shared<AssetWriterProvider>(asset, outputUrl, format);
  writerProvider->build();
  assetWriter = writerProvider->assetWriter;
  audioInput = writerProvider->audioInput;
  videoInput = writerProvider->videoInput;

  // Failures here show later as a failed status while pumping.
  assetReader->startReading();
  assetWriter->startWriting();
  assetWriter->startSessionAtSourceTime(MediaTime::zero());

  // Counted before any pump runs, so that no stream can finish the writer early.
  const bool hasAudio = audioOutput && audioInput;
  const bool hasVideo = videoOutput && videoInput;
  availableStreamCount = (hasAudio ? 1 : 0) + (hasVideo ? 1 : 0);
  if (hasAudio) startPump(audioOutput, audioInput);
  if (hasVideo) startPump(videoOutput, videoInput);
}

void MovieExporter::startPump(std::shared_ptr<AssetReaderOutput> output,
                              std::shared_ptr<AssetWriterInput> input) {
  auto queue = std::make_shared<SerialQueue>(kQueueLabel);
  input->requestMediaDataWhenReadyOnQueue(
      std::move(queue),
      [self = shared_from_this(), output, input] { self->pumpStep(*output, *input); });
}

void MovieExporter::pumpStep(AssetReaderOutput& output, AssetWriterInput& input) {
  if (const std::shared_ptr<SampleBuffer> sample = output.copyNextSampleBuffer()) {
    if (!input.appendSampleBuffer(*sample) && assetWriter->status() == AssetWriterStatus::Failed) {
      printDiagnostic(assetWriter->error());
    }
    if (onProgress) onProgress(sample->presentationTime);
    return;
  }
  if (assetReader->status() == AssetReaderStatus::Failed) {
    printDiagnostic(assetReader->error());
  } else {
    input.markAsFinished();
  }
  streamFinished();
}

void MovieExporter::streamFinished() {
  const size_t before = finishedStreamCount.fetch_add(1);
  if (before == std::numeric_limits<size_t>::max()) {
    std::fputs("MovieExporter: the finished stream count overflowed\n", stderr);
    std::abort();
  }
  if (before + 1 == availableStreamCount) {
    assetWriter->finishWritingWithCompletionHandler(
        [self = shared_from_this()] { self->completionHandler(); });
  }
}

bool cancelExport(const MovieExporter& exporter) {
  if (!exporter.assetWriter || exporter.assetWriter->status() != AssetWriterStatus::Writing) {
    return false;
  }
  exporter.assetReader->cancelReading();
  exporter.assetWriter->cancelWriting();
  return true;
}

}  // namespace reelcraft
