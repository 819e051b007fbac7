#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "media/model/asset.h"
#include "media/reader/asset_reader_output.h"
#include "media/reader/asset_reader_state.h"
#include "media/base/error.h"

namespace reelcraft {

// Reads the decoded media of an asset (a file or a composition) through outputs: add outputs,
// start reading, then pull each output until it runs dry. The reader's status and error, and
// cancelling, may be used from any thread while outputs are pulled on others.
//
// Status: Unknown until startReading; Reading until every output has run dry (Completed),
// reading fails (Failed, with the error) or cancelReading is called (Cancelled).
class AssetReader {
 public:
  // Throws ErrorException when the media of `asset` cannot be read (a source file is missing,
  // unreadable or damaged), std::invalid_argument for no asset.
  static std::shared_ptr<AssetReader> create(AssetPtr asset);

  const AssetPtr& asset() const { return asset_; }
  const std::vector<std::shared_ptr<AssetReaderOutput>>& outputs() const { return outputs_; }

  // Whether `output` can be added: the reader has not started, the output belongs to no
  // reader, and its tracks are tracks of this reader's asset.
  bool canAddOutput(const std::shared_ptr<AssetReaderOutput>& output) const;
  // Throws std::invalid_argument when canAddOutput is false.
  void addOutput(std::shared_ptr<AssetReaderOutput> output);

  // Prepares every output and starts reading. False when the reader was already started, or
  // when preparing fails; the status is then Failed with the error (unless the reader had
  // been started or cancelled before).
  bool startReading();
  // Stops reading: the status becomes Cancelled (unless reading has already ended) and the
  // outputs hand out nothing more. Thread-safe.
  void cancelReading();

  AssetReaderStatus status() const { return state_->status(); }
  std::optional<Error> error() const { return state_->error(); }

 private:
  explicit AssetReader(AssetPtr asset);

  AssetPtr asset_;
  std::shared_ptr<AssetReaderState> state_;
  std::vector<std::shared_ptr<AssetReaderOutput>> outputs_;
};

}  // namespace reelcraft
