#include "media/reader/asset_reader.h"

#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "media/base/media_error_codes.h"
#include "media/model/input_file.h"

namespace reelcraft {
namespace {

// Opens every file that the asset's tracks show media from, so that a file that has gone or
// changed is reported before any reading begins. Throws ErrorException naming the file.
void checkSourcesReadable(const Asset& asset) {
  std::set<std::string> checked;
  for (const AssetTrack& track : asset.tracks()) {
    for (const TrackSegment& segment : track.segments) {
      if (segment.isEmpty() || !checked.insert(segment.source->readPath()).second) continue;
      openInputFile(*segment.source);
    }
  }
}

Error nothingToReadError() {
  return mediaError(MediaErrorCode::NoPlayableTracks,
                    "There is nothing to read: no output was added to the reader.",
                    "Choose a format that contains the movie’s video or sound.");
}

Error unusableSettingsError() {
  return mediaError(MediaErrorCode::UnsupportedCodec,
                    "The movie can’t be read with the settings chosen.",
                    "Choose another size or format, then try again.");
}

// Whether `track` is (a copy of) one of the asset's tracks: copies share their segments.
bool hasTrack(const Asset& asset, const AssetTrack& track) {
  for (const AssetTrack& own : asset.tracks()) {
    if (own.trackID != track.trackID || own.mediaType != track.mediaType) continue;
    if (own.segments.sharesStorageWith(track.segments) ||
        (own.segments.empty() && track.segments.empty())) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::shared_ptr<AssetReader> AssetReader::create(AssetPtr asset) {
  if (!asset) throw std::invalid_argument("a reader needs an asset");
  checkSourcesReadable(*asset);
  return std::shared_ptr<AssetReader>(new AssetReader(std::move(asset)));
}

AssetReader::AssetReader(AssetPtr asset)
    : asset_(std::move(asset)), state_(std::make_shared<AssetReaderState>()) {}

bool AssetReader::canAddOutput(const std::shared_ptr<AssetReaderOutput>& output) const {
  if (!output || status() != AssetReaderStatus::Unknown) return false;
  {
    std::lock_guard lock(output->readMutex_);
    if (output->reader_) return false;
  }
  for (const AssetTrack& track : output->tracks()) {
    if (!hasTrack(*asset_, track)) return false;
  }
  return true;
}

void AssetReader::addOutput(std::shared_ptr<AssetReaderOutput> output) {
  if (!canAddOutput(output)) throw std::invalid_argument("this output cannot be added");
  {
    std::lock_guard lock(output->readMutex_);
    output->reader_ = state_;
  }
  outputs_.push_back(std::move(output));
}

bool AssetReader::startReading() {
  if (status() != AssetReaderStatus::Unknown) return false;
  if (outputs_.empty()) {
    state_->fail(nothingToReadError());
    return false;
  }
  try {
    checkSourcesReadable(*asset_);
    for (const auto& output : outputs_) {
      std::lock_guard lock(output->readMutex_);
      output->prepare(asset_);
    }
  } catch (const ErrorException& failure) {
    state_->fail(failure.error());
    return false;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    // Settings that the media cannot be read with, such as a video composition without a
    // frame duration.
    state_->fail(unusableSettingsError());
    return false;
  }
  // The workers start before the status says Reading, so that an output pulled at once has
  // its worker; they stop when reading ends, whichever output or thread ends it.
  for (const auto& output : outputs_) {
    std::lock_guard lock(output->readMutex_);
    output->startReadingAhead();
  }
  const bool started = state_->start(outputs_.size());
  for (const auto& output : outputs_) {
    state_->whenEnded([weakOutput = std::weak_ptr<AssetReaderOutput>(output)] {
      if (const std::shared_ptr<AssetReaderOutput> output = weakOutput.lock()) {
        output->endReadingAhead();
      }
    });
  }
  return started;
}

void AssetReader::cancelReading() {
  state_->cancel();
}

}  // namespace reelcraft
