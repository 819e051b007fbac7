#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace reelcraft {

// `reelcraft-cli export IN OUT [options]`: converts IN into OUT (see kExportOptionsHelp).
// The option reference of `export --help`, edit options included.
std::string_view exportCommandDetails();

int runExportCommand(const std::vector<std::string>& arguments, std::ostream& out,
                     std::ostream& err);

}  // namespace reelcraft
