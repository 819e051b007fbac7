#pragma once

#include <memory>
#include <string>

namespace reelcraft {

class Movie;

// A movie whose composition holds the whole of the file at `path`, as a document opening the
// file would have it. Throws ErrorException when the file cannot be used.
std::shared_ptr<Movie> loadMovie(const std::string& path);

}  // namespace reelcraft
