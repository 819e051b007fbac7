#include "cli/export_options.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <map>

namespace reelcraft {
namespace {

int64_t parseInteger(const std::string& option, const std::string& text, int64_t lowest,
                     int64_t highest) {
  int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || value < lowest || value > highest) {
    throw ExportUsageError(option + " needs a whole number from " + std::to_string(lowest) +
                           " to " + std::to_string(highest) + ", not '" + text + "'");
  }
  return value;
}

double parseQuality(const std::string& text) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || !(value >= 0.0 && value <= 1.0)) {
    throw ExportUsageError("--quality needs a number from 0 to 1, not '" + text + "'");
  }
  return value;
}

// "1280x720".
void parseSize(const std::string& text, ExportOptions& options) {
  const size_t cross = text.find('x');
  if (cross == std::string::npos) {
    throw ExportUsageError("--size needs WIDTHxHEIGHT, e.g. 1280x720, not '" + text + "'");
  }
  options.width = parseInteger("--size", text.substr(0, cross), 1, kMaxFrameDimension);
  options.height = parseInteger("--size", text.substr(cross + 1), 1, kMaxFrameDimension);
}

}  // namespace

const char* const kExportOptionsHelp =
    "OPTIONS: [--format NAME] [--video-codec NAME] [--audio-codec NAME]\n"
    "         [--size WxH | --width W | --height H] [--video-kbps N] [--audio-kbps N]\n"
    "         [--sample-rate HZ] [--quality Q] [--bit-depth N] [--big-endian] [--float]\n"
    "         [--non-interleaved] [--quiet]\n"
    "\n"
    "Converts IN into OUT, re-encoding it. With no options: MPEG 4 with H.264 video at the\n"
    "movie's own frame size and the encoder's default bit rate, and AAC audio at 44100 Hz and\n"
    "128 kbit/s. `reelcraft-cli formats IN` lists the formats and codecs offered for a movie.\n"
    "\n"
    "Options:\n"
    "  --format NAME        container, by its catalogue name: \"QuickTime Movie\", \"MPEG 4\",\n"
    "                       \"Audio Only: QuickTime Movie\", \"Audio Only: MPEG 4\",\n"
    "                       \"Audio Only: CoreAudio\", \"Audio Only: AIFF\", \"Audio Only: "
    "WAVE\",\n"
    "                       \"Audio Only: MP3\", \"Audio Only: AC3\", \"Video Only: QuickTime "
    "Movie\",\n"
    "                       \"Video Only: MPEG 4\" (default \"MPEG 4\")\n"
    "  --video-codec NAME   \"H.264\" or \"Motion JPEG\" (default: the format's first)\n"
    "  --audio-codec NAME   \"AC3\", \"AAC\", \"MP3\", \"Apple Lossless\" or \"Linear PCM\"\n"
    "                       (default: AAC where offered, else the format's only one)\n"
    "  --size WxH           frame size in pixels (default: the movie's render size)\n"
    "  --width W            frame width; the height follows the movie's aspect ratio\n"
    "  --height H           frame height; the width follows the movie's aspect ratio\n"
    "  --video-kbps N       H.264 average bit rate in kbit/s (default: the encoder's choice)\n"
    "  --quality Q          Motion JPEG quality from 0 to 1\n"
    "  --audio-kbps N       AC3, AAC or MP3 bit rate in kbit/s (default 128)\n"
    "  --sample-rate HZ     audio sample rate (default 44100); audio is always stereo\n"
    "  --bit-depth N        Linear PCM or Apple Lossless bits per sample: 8, 16, 24 or 32\n"
    "                       (default 16)\n"
    "  --big-endian         Linear PCM in big-endian byte order (always so in AIFF)\n"
    "  --float              Linear PCM as floating-point samples (32 or 64 bits)\n"
    "  --non-interleaved    Linear PCM with the channels apart\n"
    "  --quiet              no progress bar (it is shown only when stderr is a terminal)\n"
    "\n"
    "Ctrl-C cancels the export and removes the unfinished file.\n"
    "Exit status: 0 when OUT is written, 1 when the export fails (unreadable IN, a format the\n"
    "movie cannot be converted to, an encoder or writing failure, OUT not writable), 2 for a\n"
    "wrong command line.\n";

ExportOptions parseExportOptions(const std::vector<std::string>& arguments) {
  ExportOptions options;
  std::vector<std::string> positional;
  std::map<std::string, bool> seen;
  bool sizeGiven = false;

  using Handler = std::function<void(const std::string&)>;
  const std::map<std::string, Handler> withValue = {
      {"--format", [&](const std::string& v) { options.format = v; }},
      {"--video-codec", [&](const std::string& v) { options.videoCodec = v; }},
      {"--audio-codec", [&](const std::string& v) { options.audioCodec = v; }},
      {"--size",
       [&](const std::string& v) {
         parseSize(v, options);
         sizeGiven = true;
       }},
      {"--width",
       [&](const std::string& v) {
         options.width = parseInteger("--width", v, 1, kMaxFrameDimension);
       }},
      {"--height",
       [&](const std::string& v) {
         options.height = parseInteger("--height", v, 1, kMaxFrameDimension);
       }},
      {"--video-kbps",
       [&](const std::string& v) {
         options.videoKilobitsPerSecond = parseInteger("--video-kbps", v, 1, 1'000'000);
       }},
      {"--audio-kbps",
       [&](const std::string& v) {
         options.audioKilobitsPerSecond = parseInteger("--audio-kbps", v, 1, 10'000);
       }},
      {"--sample-rate",
       [&](const std::string& v) {
         options.sampleRate = parseInteger("--sample-rate", v, 1, 768'000);
       }},
      {"--quality", [&](const std::string& v) { options.quality = parseQuality(v); }},
      {"--bit-depth",
       [&](const std::string& v) { options.bitDepth = parseInteger("--bit-depth", v, 8, 64); }},
  };
  const std::map<std::string, bool*> flags = {
      {"--big-endian", &options.bigEndian},
      {"--float", &options.isFloat},
      {"--non-interleaved", &options.nonInterleaved},
      {"--quiet", &options.quiet},
  };

  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument.size() < 2 || argument[0] != '-') {
      positional.push_back(argument);
      continue;
    }
    if (seen[argument]) throw ExportUsageError(argument + " is given twice");
    seen[argument] = true;
    if (const auto flag = flags.find(argument); flag != flags.end()) {
      *flag->second = true;
    } else if (const auto option = withValue.find(argument); option != withValue.end()) {
      if (i + 1 == arguments.size()) throw ExportUsageError(argument + " needs a value");
      option->second(arguments[++i]);
    } else {
      throw ExportUsageError("unknown option '" + argument + "'");
    }
  }

  if (sizeGiven && (seen["--width"] || seen["--height"])) {
    throw ExportUsageError("--size cannot be combined with --width or --height");
  }
  if (positional.size() != 2 || positional[0].empty() || positional[1].empty()) {
    throw ExportUsageError("export needs one input file and one output file");
  }
  options.input = positional[0];
  options.output = positional[1];
  return options;
}

}  // namespace reelcraft
