#include "export/asset_reader_provider.h"

#include "media/model/video_composition.h"

namespace reelcraft {
namespace {

std::vector<AssetTrack> tracksOf(const Asset& asset, MediaType type) {
  std::vector<AssetTrack> tracks;
  for (const AssetTrack* track : asset.tracksWithMediaType(type)) tracks.push_back(*track);
  return tracks;
}

}  // namespace

void AssetReaderProvider::build() {
  audioOutput = std::make_shared<AssetReaderAudioMixOutput>(tracksOf(*asset, MediaType::Audio));
  auto video =
      std::make_shared<AssetReaderVideoCompositionOutput>(tracksOf(*asset, MediaType::Video));
  // The same drawing as the size that the catalogue offers.
  video->setVideoComposition(VideoComposition::withPropertiesOfAsset(*asset));
  videoOutput = std::move(video);
  assetReader = AssetReader::create(asset);
  addIfAccepted(audioOutput);
  addIfAccepted(videoOutput);
}

void AssetReaderProvider::addIfAccepted(const std::shared_ptr<AssetReaderOutput>& output) {
  if (output && !output->tracks().empty() && assetReader->canAddOutput(output)) {
    assetReader->addOutput(output);
  }
}

}  // namespace reelcraft
