#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace reelcraft {

// `reelcraft-cli frame IN TIME -o OUT.png`: writes the picture that a player shows at TIME
// (turned as the movie is displayed) as a PNG file.
int runFrameCommand(const std::vector<std::string>& arguments, std::ostream& out,
                    std::ostream& err);

}  // namespace reelcraft
