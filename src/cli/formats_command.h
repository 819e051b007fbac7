#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "export/movie_format_config.h"

namespace reelcraft {

// The catalogue as a JSON array in its own order: for each container its name, file type,
// file name extension, video codecs (name, codec, default size) and audio codecs (name,
// four-character format code as a number, whether lossless).
nlohmann::ordered_json fileFormatsJson(const std::vector<MovieFormatConfigPtr>& fileFormats);

// `reelcraft-cli formats FILE`: the export formats offered for the movie in FILE.
int runFormatsCommand(const std::vector<std::string>& arguments, std::ostream& out,
                      std::ostream& err);

}  // namespace reelcraft
