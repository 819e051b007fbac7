#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "media/model/file_asset.h"

namespace reelcraft {

// The description `reelcraft-cli info` prints: the asset's duration, natural size and tracks.
nlohmann::ordered_json assetInfoJson(const FileAsset& asset);

// `reelcraft-cli info FILE`.
int runInfoCommand(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace reelcraft
