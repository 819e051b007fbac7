#include "media/writer/asset_writer_input.h"

#include <stdexcept>

#include "media/writer/asset_writer.h"
#include "media/writer/writer_encoder.h"
#include "media/writer/writer_encoder_settings.h"
#include "media/writer/writer_error.h"
#include "media/writer/writer_muxer.h"

namespace reelcraft {

std::shared_ptr<AssetWriterInput> AssetWriterInput::create(MediaType mediaType,
                                                           OutputSettings outputSettings) {
  auto encoderSettings = std::make_unique<WriterEncoderSettings>(
      parseWriterEncoderSettings(mediaType, outputSettings));
  return std::shared_ptr<AssetWriterInput>(
      new AssetWriterInput(mediaType, std::move(outputSettings), std::move(encoderSettings)));
}

AssetWriterInput::AssetWriterInput(MediaType mediaType, OutputSettings outputSettings,
                                   std::unique_ptr<WriterEncoderSettings> encoderSettings)
    : mediaType_(mediaType),
      outputSettings_(std::move(outputSettings)),
      encoderSettings_(std::move(encoderSettings)) {}

AssetWriterInput::~AssetWriterInput() = default;

bool AssetWriterInput::isReadyForMoreMediaData() const {
  auto writer = writer_.lock();
  if (!writer) return false;
  std::lock_guard lock(writer->stateMutex_);
  return writer->isInputReadyLocked(trackIndex_);
}

void AssetWriterInput::requestMediaDataWhenReadyOnQueue(std::shared_ptr<SerialQueue> queue,
                                                        std::function<void()> block) {
  if (!queue || !block) throw std::invalid_argument("a request for data needs a queue and a block");
  auto writer = writer_.lock();
  if (!writer) throw std::logic_error("the input has not been added to a writer");
  std::shared_ptr<SerialQueue> oldQueue;
  std::function<void()> oldBlock;
  std::lock_guard lock(writer->stateMutex_);
  oldQueue = std::exchange(requestQueue_, std::move(queue));
  oldBlock = std::exchange(requestBlock_, std::move(block));
  writer->setInputActiveLocked(trackIndex_, true);
  parked_ = false;
  writer->schedulePumpLocked(*this);
  // The old request is released after the lock (declared before it), in case it owns this.
}

void AssetWriterInput::pump() {
  auto writer = writer_.lock();
  if (!writer) return;
  std::shared_ptr<SerialQueue> releasedQueue;
  std::function<void()> releasedBlock, block;
  {
    std::lock_guard lock(writer->stateMutex_);
    const bool over = writer->status_ != AssetWriterStatus::Unknown && !writer->isWritingLocked();
    if (!requestBlock_ || over || writer->inputFinished_[trackIndex_]) {
      pumpScheduled_ = false;
      writer->setInputActiveLocked(trackIndex_, false);
      releasedQueue = std::move(requestQueue_);
      releasedBlock = std::move(requestBlock_);
      return;
    }
    if (!writer->isInputReadyLocked(trackIndex_)) {
      pumpScheduled_ = false;
      parked_ = true;
      return;
    }
    block = requestBlock_;
  }
  const uint64_t appendsBefore = appendCount_.load();
  block();
  block = nullptr;
  std::lock_guard lock(writer->stateMutex_);
  if (appendCount_.load() == appendsBefore && !writer->inputFinished_[trackIndex_] &&
      writer->isWritingLocked()) {
    // The block had nothing to give: stop asking until a new request.
    pumpScheduled_ = false;
    writer->setInputActiveLocked(trackIndex_, false);
    releasedQueue = std::move(requestQueue_);
    releasedBlock = std::move(requestBlock_);
    return;
  }
  pumpScheduled_ = false;
  writer->schedulePumpLocked(*this);
}

bool AssetWriterInput::writePacketsLocked(AssetWriter& writer, bool encoderWasOpen,
                                          std::vector<PacketPtr>& packets) {
  if (!encoderWasOpen && encoder_->isOpen()) {
    writer.muxer().setTrackParameters(trackIndex_, *encoder_->context());
  }
  return writer.muxer().write(trackIndex_, packets);
}

bool AssetWriterInput::appendSampleBuffer(const SampleBuffer& sample) {
  auto writer = writer_.lock();
  if (!writer || sample.mediaType != mediaType_) return false;
  double end = 0;
  {
    std::lock_guard lock(encodeMutex_);
    if (finished_ || !encoder_ || writer->status() != AssetWriterStatus::Writing) return false;
    const MediaTime start = writer->sessionStart(sample.presentationTime);
    try {
      const bool wasOpen = encoder_->isOpen();
      std::vector<PacketPtr> packets;
      encoder_->encode(sample, start, packets);
      if (!writePacketsLocked(*writer, wasOpen, packets)) return false;
    } catch (const ErrorException& e) {
      writer->fail(e.error());
      return false;
    } catch (const std::exception& e) {
      writer->fail(
          makeWriterError(WriterErrorCode::EncodingFailed, writer->outputPath(), e.what()));
      return false;
    }
    ++appendCount_;
    const MediaTime duration =
        sample.duration.isNumeric() ? sample.duration : sample.audio.duration();
    end =
        subtract(add(sample.presentationTime, duration.isNumeric() ? duration : MediaTime::zero()),
                 start)
            .seconds();
  }
  writer->inputAdvanced(*this, end);
  return true;
}

void AssetWriterInput::flushLocked(AssetWriter& writer) {
  if (flushed_ || !encoder_) return;
  flushed_ = true;
  if (writer.status() != AssetWriterStatus::Writing) return;
  try {
    const bool wasOpen = encoder_->isOpen();
    std::vector<PacketPtr> packets;
    encoder_->flush(packets);
    writePacketsLocked(writer, wasOpen, packets);
  } catch (const ErrorException& e) {
    writer.fail(e.error());
  } catch (const std::exception& e) {
    writer.fail(makeWriterError(WriterErrorCode::EncodingFailed, writer.outputPath(), e.what()));
  }
}

void AssetWriterInput::markAsFinished() {
  auto writer = writer_.lock();
  {
    std::lock_guard lock(encodeMutex_);
    if (finished_) return;
    finished_ = true;
    if (writer) flushLocked(*writer);
  }
  if (writer) writer->inputFinished(*this);
}

}  // namespace reelcraft
