#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace reelcraft {

// A wrong `export` command line; the message says what is wrong.
class ExportUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The `export` command line, checked for form (numbers, ranges, repeated or conflicting
// options) but not yet against the catalogue.
struct ExportOptions {
  std::string input;
  std::string output;
  std::optional<std::string> format;      // a container's name, e.g. "MPEG 4"
  std::optional<std::string> videoCodec;  // e.g. "H.264"
  std::optional<std::string> audioCodec;  // e.g. "AAC"
  std::optional<int64_t> width;           // alone: the height follows the aspect ratio
  std::optional<int64_t> height;          // alone: the width follows the aspect ratio
  std::optional<int64_t> videoKilobitsPerSecond;
  std::optional<int64_t> audioKilobitsPerSecond;
  std::optional<int64_t> sampleRate;
  std::optional<double> quality;
  std::optional<int64_t> bitDepth;
  bool bigEndian = false;
  bool isFloat = false;
  bool nonInterleaved = false;
  bool quiet = false;
};

inline constexpr int64_t kMaxFrameDimension = 16384;

// Throws ExportUsageError.
ExportOptions parseExportOptions(const std::vector<std::string>& arguments);

// The option reference for `export --help`.
extern const char* const kExportOptionsHelp;

}  // namespace reelcraft
