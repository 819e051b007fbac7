#include "media/writer/asset_writer.h"

#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "media/writer/writer_encoder.h"
#include "media/writer/writer_encoder_settings.h"
#include "media/writer/writer_error.h"
#include "media/writer/writer_muxer.h"

namespace reelcraft {
namespace {

// How far (in seconds of media) an input fed through a request may run ahead of the others.
constexpr double kMaxLeadSeconds = 1.0;

void checkWritableLocation(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const fs::path file(path);
  if (file.filename().empty() || fs::is_directory(file, ignored)) {
    throwWriterError(WriterErrorCode::WritingFailed, path, "the location is a folder");
  }
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  const std::string folderName = folder.filename().string();
  if (!fs::is_directory(folder, ignored)) {
    throwWriterError(WriterErrorCode::FolderNotFound, path,
                     "the folder “" + folderName + "” doesn’t exist");
  }
  if (access(folder.c_str(), W_OK | X_OK) != 0 ||
      (fs::exists(file, ignored) && access(file.c_str(), W_OK) != 0)) {
    throwWriterError(WriterErrorCode::PermissionDenied, path,
                     "you don’t have permission to write in the folder “" + folderName + "”");
  }
}

}  // namespace

std::shared_ptr<AssetWriter> AssetWriter::create(std::string path, std::string fileType) {
  return std::shared_ptr<AssetWriter>(new AssetWriter(std::move(path), std::move(fileType)));
}

AssetWriter::AssetWriter(std::string path, std::string fileType)
    : path_(std::move(path)),
      fileType_(std::move(fileType)),
      muxer_(std::make_unique<WriterMuxer>(path_, fileType_)) {
  checkWritableLocation(path_);
}

AssetWriter::~AssetWriter() {
  // A file left unfinished is of no use to anyone.
  if (status_ == AssetWriterStatus::Writing) muxer_->abandon();
}

std::vector<std::shared_ptr<AssetWriterInput>> AssetWriter::inputs() const {
  std::lock_guard lock(stateMutex_);
  return inputs_;
}

bool AssetWriter::canAddInput(const std::shared_ptr<AssetWriterInput>& input) const {
  if (!input || !input->writer_.expired()) return false;
  std::lock_guard lock(stateMutex_);
  if (status_ != AssetWriterStatus::Unknown) return false;
  std::vector<const WriterEncoderSettings*> existing;
  for (const auto& added : inputs_) existing.push_back(added->encoderSettings_.get());
  return !muxer_->whyCannotHold(*input->encoderSettings_, existing);
}

void AssetWriter::addInput(std::shared_ptr<AssetWriterInput> input) {
  if (!input) throw std::invalid_argument("no writer input");
  if (!input->writer_.expired()) throw std::invalid_argument("the input belongs to a writer");
  std::lock_guard lock(stateMutex_);
  if (status_ != AssetWriterStatus::Unknown) {
    throw std::invalid_argument("inputs are added before writing starts");
  }
  std::vector<const WriterEncoderSettings*> existing;
  for (const auto& added : inputs_) existing.push_back(added->encoderSettings_.get());
  if (auto reason = muxer_->whyCannotHold(*input->encoderSettings_, existing)) {
    throwWriterError(WriterErrorCode::IncompatibleInput, path_, *reason);
  }
  input->writer_ = weak_from_this();
  input->trackIndex_ = inputs_.size();
  inputs_.push_back(input);
  inputPositions_.push_back(0);
  inputActive_.push_back(false);
  inputFinished_.push_back(false);
}

bool AssetWriter::startWriting() {
  std::vector<std::shared_ptr<AssetWriterInput>> inputs;
  {
    std::lock_guard lock(stateMutex_);
    if (status_ != AssetWriterStatus::Unknown || finishing_) return false;
    finishing_ = false;
    inputs = inputs_;
  }
  try {
    muxer_->open(static_cast<int>(inputs.size()));
    for (const auto& input : inputs) {
      std::lock_guard lock(input->encodeMutex_);
      input->encoder_ =
          WriterEncoder::create(*input->encoderSettings_, muxer_->needsGlobalHeader());
    }
  } catch (const ErrorException& e) {
    fail(e.error());
    return false;
  }
  std::lock_guard lock(stateMutex_);
  if (status_ != AssetWriterStatus::Unknown) {
    muxer_->abandon();  // cancelled meanwhile
    return false;
  }
  status_ = AssetWriterStatus::Writing;
  wakeParkedInputsLocked();
  return true;
}

void AssetWriter::startSessionAtSourceTime(MediaTime startTime) {
  std::lock_guard lock(stateMutex_);
  if (startTime.isNumeric()) sessionStart_ = startTime;
}

MediaTime AssetWriter::sessionStart(MediaTime firstSampleTime) {
  std::lock_guard lock(stateMutex_);
  if (!sessionStart_) {
    sessionStart_ = firstSampleTime.isNumeric() ? firstSampleTime : MediaTime::zero();
  }
  return *sessionStart_;
}

void AssetWriter::finishWritingWithCompletionHandler(std::function<void()> handler) {
  bool finish = false;
  {
    std::lock_guard lock(stateMutex_);
    if (status_ == AssetWriterStatus::Writing && !finishing_) finish = finishing_ = true;
    if (!finishQueue_) finishQueue_ = std::make_unique<SerialQueue>("asset writer " + path_);
  }
  // The task keeps the writer alive until the handler has run.
  finishQueue_->async([self = shared_from_this(), finish, handler = std::move(handler)] {
    if (finish) self->finishWriting();
    if (handler) handler();
  });
}

void AssetWriter::finishWriting() {
  for (const auto& input : inputs()) {
    {
      std::lock_guard lock(input->encodeMutex_);
      input->finished_ = true;
      input->flushLocked(*this);
    }
    inputFinished(*input);
  }
  try {
    muxer_->finish();
  } catch (const ErrorException& e) {
    fail(e.error());
  }
  std::lock_guard lock(stateMutex_);
  if (status_ == AssetWriterStatus::Writing) status_ = AssetWriterStatus::Completed;
  wakeParkedInputsLocked();
}

void AssetWriter::cancelWriting() {
  {
    std::lock_guard lock(stateMutex_);
    if (status_ != AssetWriterStatus::Unknown && status_ != AssetWriterStatus::Writing) return;
    status_ = AssetWriterStatus::Cancelled;
    wakeParkedInputsLocked();
  }
  muxer_->abandon();
}

void AssetWriter::fail(Error error) {
  {
    std::lock_guard lock(stateMutex_);
    if (status_ != AssetWriterStatus::Unknown && status_ != AssetWriterStatus::Writing) return;
    status_ = AssetWriterStatus::Failed;
    error_ = std::move(error);
    wakeParkedInputsLocked();
  }
  muxer_->abandon();
}

AssetWriterStatus AssetWriter::status() const {
  std::lock_guard lock(stateMutex_);
  return status_;
}

std::optional<Error> AssetWriter::error() const {
  std::lock_guard lock(stateMutex_);
  return error_;
}

bool AssetWriter::isInputReadyLocked(size_t index) const {
  if (!isWritingLocked() || inputFinished_[index]) return false;
  for (size_t other = 0; other < inputs_.size(); ++other) {
    if (other == index || !inputActive_[other] || inputFinished_[other]) continue;
    if (inputPositions_[index] > inputPositions_[other] + kMaxLeadSeconds) return false;
  }
  return true;
}

void AssetWriter::schedulePumpLocked(AssetWriterInput& input) {
  if (input.pumpScheduled_ || !input.requestQueue_) return;
  input.pumpScheduled_ = true;
  input.requestQueue_->async([weak = input.weak_from_this()] {
    if (auto input = weak.lock()) input->pump();
  });
}

void AssetWriter::wakeParkedInputsLocked() {
  for (size_t index = 0; index < inputs_.size(); ++index) {
    AssetWriterInput& input = *inputs_[index];
    if (!input.parked_) continue;
    // Resume a pump that may go on, or that must end and let go of its request.
    if (isInputReadyLocked(index) || status_ != AssetWriterStatus::Writing ||
        inputFinished_[index]) {
      input.parked_ = false;
      schedulePumpLocked(input);
    }
  }
}

void AssetWriter::setInputActiveLocked(size_t index, bool active) {
  if (inputActive_[index] == active) return;
  inputActive_[index] = active;
  if (!active) wakeParkedInputsLocked();
}

void AssetWriter::inputAdvanced(const AssetWriterInput& input, double seconds) {
  std::lock_guard lock(stateMutex_);
  const size_t index = indexOf(input);
  if (seconds > inputPositions_[index]) {
    inputPositions_[index] = seconds;
    wakeParkedInputsLocked();
  }
}

void AssetWriter::inputFinished(const AssetWriterInput& input) {
  std::lock_guard lock(stateMutex_);
  const size_t index = indexOf(input);
  if (inputFinished_[index]) return;
  inputFinished_[index] = true;
  wakeParkedInputsLocked();
}

}  // namespace reelcraft
