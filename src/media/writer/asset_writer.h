#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/writer/asset_writer_input.h"
#include "media/writer/asset_writer_status.h"
#include "media/base/error.h"
#include "media/base/media_time.h"
#include "media/base/serial_queue.h"

namespace reelcraft {

class WriterMuxer;

// Writes a new media file from samples appended to its inputs: create it for a path and a
// file type, add inputs, start writing, start the session, append through the inputs, then
// finish (or cancel).
//
// File types are FFmpeg muxer names: "mov", "mp4", "caf", "aiff", "wav", "mp3", "ac3". An
// existing file at the path is replaced. The file is written as it goes, without moving the
// index to the front.
//
// Status: Unknown until startWriting; Writing until finishing ends (Completed or Failed), a
// failure (Failed, with the error; the partial file is removed) or cancelWriting (Cancelled;
// the partial file is removed). Status and error may be read from any thread.
class AssetWriter : public std::enable_shared_from_this<AssetWriter> {
 public:
  // Throws ErrorException when the file type is unknown or nothing can be written at `path`
  // (its folder is missing or read-only, or the path is a folder).
  static std::shared_ptr<AssetWriter> create(std::string path, std::string fileType);
  ~AssetWriter();
  AssetWriter(const AssetWriter&) = delete;
  AssetWriter& operator=(const AssetWriter&) = delete;

  const std::string& outputPath() const { return path_; }
  const std::string& fileType() const { return fileType_; }
  std::vector<std::shared_ptr<AssetWriterInput>> inputs() const;

  // Whether `input` can be added: writing has not started, the input belongs to no writer,
  // and the file type can hold its codec next to the inputs already added.
  bool canAddInput(const std::shared_ptr<AssetWriterInput>& input) const;
  // Throws ErrorException, with a message saying why, when the file type cannot hold the
  // input (video in a sound-only file, a codec the file type cannot store, a second track in
  // a one-track file); std::invalid_argument for no input, one already added to a writer, or
  // once writing has started.
  void addInput(std::shared_ptr<AssetWriterInput> input);

  // Opens the file. False when the writer was already started or opening fails; the status is
  // then Failed with the error (unless the writer had been started or cancelled before).
  bool startWriting();
  // Samples are written relative to `startTime`; earlier samples are dropped. Without a call,
  // the session starts at the first appended sample.
  void startSessionAtSourceTime(MediaTime startTime);

  // Finishes every input not yet finished, writes the end of the file and then calls
  // `handler` (if any) on a worker thread; the status is then Completed or Failed. When the
  // writer is not writing the handler is called (on the worker thread) without changing it.
  void finishWritingWithCompletionHandler(std::function<void()> handler);

  // Stops writing and removes the partial file; the status becomes Cancelled. Does nothing
  // once writing has completed, failed or been cancelled. Thread-safe.
  void cancelWriting();

  AssetWriterStatus status() const;
  std::optional<Error> error() const;

 private:
  friend class AssetWriterInput;

  AssetWriter(std::string path, std::string fileType);

  // The inputs' side. Everything named ...Locked runs under stateMutex_.
  size_t indexOf(const AssetWriterInput& input) const { return input.trackIndex_; }
  bool isInputReadyLocked(size_t index) const;
  bool isWritingLocked() const { return status_ == AssetWriterStatus::Writing; }
  // Queues a pump of `input` on its request queue, unless one is queued or running.
  void schedulePumpLocked(AssetWriterInput& input);
  // Resumes paused pumps that may go on (or must stop and release their request).
  void wakeParkedInputsLocked();
  void setInputActiveLocked(size_t index, bool active);
  // `input` has appended media up to `seconds` past the session start.
  void inputAdvanced(const AssetWriterInput& input, double seconds);
  // `input` is finished: it no longer holds the others back.
  void inputFinished(const AssetWriterInput& input);
  // The session's start time; the first call fixes it at `firstSampleTime` when no session
  // was started.
  MediaTime sessionStart(MediaTime firstSampleTime);
  WriterMuxer& muxer() { return *muxer_; }

  // Writing → Failed with `error`, and the partial file is removed.
  void fail(Error error);
  void finishWriting();

  const std::string path_;
  const std::string fileType_;
  const std::unique_ptr<WriterMuxer> muxer_;

  // Status, error, the inputs and their scheduling state.
  mutable std::mutex stateMutex_;
  AssetWriterStatus status_ = AssetWriterStatus::Unknown;
  std::optional<Error> error_;
  bool finishing_ = false;
  std::optional<MediaTime> sessionStart_;
  std::vector<std::shared_ptr<AssetWriterInput>> inputs_;
  std::vector<double> inputPositions_;  // seconds appended past the session start
  std::vector<bool> inputActive_;       // has a request for data
  std::vector<bool> inputFinished_;
  std::unique_ptr<SerialQueue> finishQueue_;
};

}  // namespace reelcraft
