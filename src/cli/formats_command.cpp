#include "cli/formats_command.h"

#include <ostream>

#include "cli/cli_command.h"
#include "cli/json_values.h"
#include "cli/movie_loading.h"
#include "export/export_identifiers.h"
#include "media/base/error.h"

namespace reelcraft {

nlohmann::ordered_json fileFormatsJson(const std::vector<MovieFormatConfigPtr>& fileFormats) {
  nlohmann::ordered_json formats = nlohmann::ordered_json::array();
  for (const MovieFormatConfigPtr& format : fileFormats) {
    nlohmann::ordered_json video = nlohmann::ordered_json::array();
    for (const VideoFormatConfigPtr& codec : format->videoConfigs) {
      video.push_back({{"name", codec->name},
                       {"codec", codec->codec},
                       {"defaultSize", sizeJson(codec->defaultSize)}});
    }
    nlohmann::ordered_json audio = nlohmann::ordered_json::array();
    for (const AudioFormatConfigPtr& codec : format->audioConfigs) {
      audio.push_back(
          {{"name", codec->name}, {"formatId", codec->formatId}, {"lossless", !isLossy(*codec)}});
    }
    formats.push_back({{"name", format->name},
                       {"fileType", format->avFileFormat},
                       {"extension", fileNameExtensionForFileType(format->avFileFormat)},
                       {"videoCodecs", video},
                       {"audioCodecs", audio}});
  }
  return formats;
}

int runFormatsCommand(const std::vector<std::string>& arguments, std::ostream& out,
                      std::ostream& err) {
  if (arguments.size() != 1 || arguments[0].empty() || arguments[0][0] == '-') {
    err << "usage: reelcraft-cli formats FILE\n";
    return kExitUsage;
  }
  try {
    out << fileFormatsJson(fileFormatsForMovie(*loadMovie(arguments[0]))).dump(2) << "\n";
    return kExitSuccess;
  } catch (const ErrorException& error) {
    err << error.error().description << "\n";
    return kExitFailure;
  }
}

}  // namespace reelcraft
