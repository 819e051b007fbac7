#pragma once

#include <array>
#include <string_view>

#include "media/base/error.h"

namespace reelcraft {

inline constexpr std::string_view kMovieExporterErrorDomain = "MovieExporter ErrorDomain";

// The codes of kMovieExporterErrorDomain. Failures of reading or writing during an export keep
// the media error that the reader or writer reports.
enum class ExportErrorCode {
  CannotExport = 0,  // the movie cannot be converted to the output format, or the export failed
};

inline constexpr std::array kExportErrorCodes = errorCodeValues(ExportErrorCode::CannotExport);

}  // namespace reelcraft
