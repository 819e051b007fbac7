#pragma once

#include <functional>
#include <string>

namespace reelcraft {

// Gives `destination` new contents without ever leaving it half-written. `write` makes the new
// file at a temporary path in the destination's folder (so that the final rename stays on one
// file system), `check` inspects what was written; either throws ErrorException to give up.
// Only then does the temporary file take the destination's name, in one rename, after being
// flushed to the disk. The new file keeps the permissions of the file it replaces (a new file
// gets the usual ones); a destination that is a symbolic link has the file it points to
// replaced.
//
// Whatever fails, the destination is as it was and the temporary file is removed. Throws
// ErrorException (kDocumentErrorDomain) when no temporary file can be made in the folder or
// the rename fails, and passes on the exceptions of `write` and `check`.
void replaceFileSafely(const std::string& destination,
                       const std::function<void(const std::string& temporaryPath)>& write,
                       const std::function<void(const std::string& temporaryPath)>& check);

}  // namespace reelcraft
