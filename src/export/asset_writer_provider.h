#pragma once

#include <memory>
#include <string>

#include "export/movie_file_format.h"
#include "media/model/asset.h"
#include "media/writer/asset_writer.h"
#include "media/writer/asset_writer_input.h"

namespace reelcraft {

// Builds the writing side of an export: an input for each stream format that the output
// format has, and a writer of the format's file type with those inputs.
class AssetWriterProvider {
 public:
  AssetWriterProvider(AssetPtr asset, std::string outputUrl,
                      std::shared_ptr<const MovieFileFormat> outputFormat)
      : asset(std::move(asset)),
        outputUrl(std::move(outputUrl)),
        outputFormat(std::move(outputFormat)) {}

  // Throws ErrorException when an input's settings cannot be honoured, the writer cannot be
  // created at `outputUrl`, or the file type cannot hold an input.
  void build();

  AssetPtr asset;  // the source, kept for reference
  std::string outputUrl;
  std::shared_ptr<const MovieFileFormat> outputFormat;
  std::shared_ptr<AssetWriterInput> audioInput;
  std::shared_ptr<AssetWriterInput> videoInput;
  std::shared_ptr<AssetWriter> assetWriter;
};

}  // namespace reelcraft
