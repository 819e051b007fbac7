#include "cli/info_command.h"

#include <ostream>

#include "cli/cli_command.h"
#include "cli/json_values.h"
#include "media/base/error.h"

namespace reelcraft {
namespace {

nlohmann::ordered_json trackJson(const SourceTrack& track) {
  nlohmann::ordered_json json = {
      {"id", track.trackID},
      {"mediaType", mediaTypeName(track.mediaType)},
      {"codec", track.codecName},
      {"timeRange", timeRangeJson(track.movieTimeRange())},
      {"naturalSize", sizeJson(track.naturalSize)},
      {"preferredTransform", transformJson(track.preferredTransform)},
      {"minFrameDuration", mediaTimeJson(track.minFrameDuration)},
  };
  if (track.mediaType == MediaType::Audio) {
    json["sampleRate"] = track.sampleRate;
    json["channels"] = track.channels;
  }
  return json;
}

}  // namespace

nlohmann::ordered_json assetInfoJson(const FileAsset& asset) {
  nlohmann::ordered_json tracks = nlohmann::ordered_json::array();
  for (const auto& track : asset.sourceTracks()) tracks.push_back(trackJson(*track));
  return {
      {"path", asset.path()},
      {"duration", mediaTimeJson(asset.duration())},
      {"naturalSize", sizeJson(asset.naturalSize())},
      {"tracks", tracks},
  };
}

int runInfoCommand(const std::vector<std::string>& arguments, std::ostream& out,
                   std::ostream& err) {
  if (arguments.size() != 1 || arguments[0].empty()) {
    err << "usage: reelcraft-cli info FILE\n";
    return kExitUsage;
  }
  try {
    const auto asset = FileAsset::open(arguments[0]);
    out << assetInfoJson(*asset).dump(2) << "\n";
    return kExitSuccess;
  } catch (const ErrorException& error) {
    err << error.error().description << "\n";
    return kExitFailure;
  }
}

}  // namespace reelcraft
