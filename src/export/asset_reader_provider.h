#pragma once

#include <memory>

#include "media/model/asset.h"
#include "media/reader/asset_reader.h"
#include "media/reader/asset_reader_output.h"

namespace reelcraft {

// Builds the reading side of an export: a reader on the asset with an audio mix output over
// all its audio tracks and a video composition output over all its video tracks, in the
// decoded forms the reader gives by default.
class AssetReaderProvider {
 public:
  explicit AssetReaderProvider(AssetPtr asset) : asset(std::move(asset)) {}
  virtual ~AssetReaderProvider() = default;

  // Makes both outputs, then the reader (throws its ErrorException when the asset's media
  // cannot be read), then adds each output that the reader accepts. An output over no tracks
  // is not added (it has nothing to read), but it stays here, and yields no samples.
  virtual void build();

  AssetPtr asset;
  std::shared_ptr<AssetReaderOutput> audioOutput;
  std::shared_ptr<AssetReaderOutput> videoOutput;
  std::shared_ptr<AssetReader> assetReader;

 protected:
  // Adds `output` when the reader accepts it.
  void addIfAccepted(const std::shared_ptr<AssetReaderOutput>& output);
};

}  // namespace reelcraft
