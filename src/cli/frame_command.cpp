#include "cli/frame_command.h"

#include <optional>
#include <ostream>

#include "cli/cli_command.h"
#include "cli/time_argument.h"
#include "media/model/composition.h"
#include "media/render/composition_video_source.h"
#include "media/base/error.h"
#include "media/model/file_asset.h"
#include "media/render/png_writer.h"
#include "media/model/video_composition.h"

namespace reelcraft {
namespace {

constexpr const char* kUsage = "usage: reelcraft-cli frame IN TIME -o OUT.png";

struct FrameArguments {
  std::string input;
  std::string time;
  std::string output;
};

// IN and TIME in this order, and -o/--output OUT anywhere; nothing when anything is missing,
// repeated or unknown (a message saying so goes to `err`).
std::optional<FrameArguments> parseArguments(const std::vector<std::string>& arguments,
                                             std::ostream& err) {
  FrameArguments parsed;
  std::vector<std::string> positional;
  bool hasOutput = false;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "-o" || argument == "--output") {
      if (hasOutput || i + 1 == arguments.size() || arguments[i + 1].empty()) {
        err << "reelcraft-cli frame: " << argument << " needs one output file\n";
        return std::nullopt;
      }
      parsed.output = arguments[++i];
      hasOutput = true;
    } else if (argument.size() > 1 && argument[0] == '-' &&
               !parseTimeArgument(argument.substr(1))) {
      err << "reelcraft-cli frame: unknown option '" << argument << "'\n";
      return std::nullopt;
    } else {
      positional.push_back(argument);
    }
  }
  if (positional.size() != 2 || positional[0].empty() || !hasOutput) return std::nullopt;
  parsed.input = positional[0];
  parsed.time = positional[1];
  return parsed;
}

}  // namespace

int runFrameCommand(const std::vector<std::string>& arguments, std::ostream& /*out*/,
                    std::ostream& err) {
  const std::optional<FrameArguments> parsed = parseArguments(arguments, err);
  if (!parsed) {
    err << kUsage << "\n";
    return kExitUsage;
  }
  const std::optional<MediaTime> time = parseTimeArgument(parsed->time);
  if (!time) {
    err << "reelcraft-cli frame: '" << parsed->time
        << "' is not a time; give seconds (5.2), a clock time (0:00:05.20) or a fraction of "
           "seconds (156/30)\n";
    return kExitFailure;
  }

  try {
    const auto asset = FileAsset::open(parsed->input);
    auto composition = MutableComposition::create();
    composition->insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                                 MediaTime::zero());
    const VideoComposition video = VideoComposition::withPropertiesOfAsset(*composition);
    CompositionVideoSource::Options options;
    options.pixelFormat = AV_PIX_FMT_RGB24;
    const auto source = CompositionVideoSource::create(composition->copy(), video, options);
    const VideoFrame frame = source->frameAt(*time);
    writePng(*frame.frame, parsed->output);
    return kExitSuccess;
  } catch (const ErrorException& error) {
    err << error.error().description << "\n";
    return kExitFailure;
  }
}

}  // namespace reelcraft
