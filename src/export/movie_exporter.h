#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "export/asset_reader_provider.h"
#include "export/asset_writer_provider.h"
#include "export/movie_file_format.h"
#include "media/base/media_time.h"

namespace reelcraft {

class Movie;

// Converts a movie into a new file: reads its composition with an asset reader and writes it
// with an asset writer in `format`, sample by sample, the audio and the video stream each on
// its own serial queue. When every stream has run dry the writer is finished and the
// completion handler runs (on the writer's worker thread), whether the export succeeded or
// not: the outcome is the writer's status and error.
//
// A failed append while the writer has failed, and a failed reader, are reported on standard
// output as "\n\n\nError: <description>\n\n"; pumping carries on, and a stream whose reader
// failed still counts as run dry.
//
// The pumps and the finishing hold the exporter, so it lives until the writer has finished
// even when its creator lets go.
class MovieExporter : public std::enable_shared_from_this<MovieExporter> {
 public:
  static std::shared_ptr<MovieExporter> create(std::shared_ptr<Movie> movie, std::string outputUrl,
                                               std::shared_ptr<const MovieFileFormat> format);
  virtual ~MovieExporter() = default;
  MovieExporter(const MovieExporter&) = delete;
  MovieExporter& operator=(const MovieExporter&) = delete;

  // Builds reader and writer, starts them at time zero and starts a pump for each stream that
  // has both a reader output and a writer input; returns at once. Throws ErrorException from
  // building the reader or the writer; nothing has been started then. `completionHandler` is
  // required.
  void start(std::function<void()> completionHandler);

  std::shared_ptr<Movie> movie;
  std::shared_ptr<const MovieFileFormat> format;
  std::string outputUrl;
  std::shared_ptr<AssetReaderProvider> readerProvider;
  std::shared_ptr<AssetWriterProvider> writerProvider;
  std::function<void()> completionHandler;
  std::shared_ptr<AssetReaderOutput> audioOutput;
  std::shared_ptr<AssetReaderOutput> videoOutput;
  std::shared_ptr<AssetReader> assetReader;
  std::shared_ptr<AssetWriterInput> audioInput;
  std::shared_ptr<AssetWriterInput> videoInput;
  std::shared_ptr<AssetWriter> assetWriter;
  std::atomic<size_t> availableStreamCount{0};
  std::atomic<size_t> finishedStreamCount{0};
  // Called with the presentation time of every sample read, on the queue of its stream (two
  // queues at once with two streams). Set before start.
  std::function<void(MediaTime)> onProgress;

  static constexpr const char* kQueueLabel = "serialization queue MovieExporter";

 protected:
  MovieExporter(std::shared_ptr<Movie> movie, std::string outputUrl,
                std::shared_ptr<const MovieFileFormat> format);

  // The reader side for `asset`, not yet built.
  virtual std::shared_ptr<AssetReaderProvider> makeReaderProvider(AssetPtr asset);

 private:
  void startPump(std::shared_ptr<AssetReaderOutput> output,
                 std::shared_ptr<AssetWriterInput> input);
  // Moves one sample from `output` to `input`, or counts the stream as run dry.
  void pumpStep(AssetReaderOutput& output, AssetWriterInput& input);
  void streamFinished();
};

// The cancel rule of an export in progress: only while the writer is writing, cancels the
// reader and then the writer (which removes the partial file). Otherwise does nothing.
// Returns whether it cancelled.
bool cancelExport(const MovieExporter& exporter);

}  // namespace reelcraft
