#include "export/asset_writer_provider.h"

namespace reelcraft {

void AssetWriterProvider::build() {
  if (outputFormat->audioFormat) {
    audioInput =
        AssetWriterInput::create(MediaType::Audio, outputFormat->audioFormat->outputSettings());
  }
  if (outputFormat->videoFormat) {
    videoInput =
        AssetWriterInput::create(MediaType::Video, outputFormat->videoFormat->outputSettings());
  }
  assetWriter = AssetWriter::create(outputUrl, outputFormat->type);
  if (audioInput) assetWriter->addInput(audioInput);
  if (videoInput) assetWriter->addInput(videoInput);
}

}  // namespace reelcraft
