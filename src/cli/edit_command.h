#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace reelcraft {

// `reelcraft-cli edit IN [EDIT ...] -o OUT`: opens IN, applies the EDIT options in order
// (edit_options.h) and saves the result to OUT as a QuickTime movie without re-encoding,
// through the document's safe save, so OUT (which may be IN) is replaced only by a complete
// movie.
int runEditCommand(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

// The rest of `edit --help`: what the command does and the EDIT options.
std::string_view editCommandDetails();

}  // namespace reelcraft
