#pragma once

#include <string>

#include "mediagen/movie_recipe.h"

namespace reelcraft::testmedia {

// Encodes and writes the movie that `recipe` describes. Throws std::runtime_error on failure.
void writeMovie(const std::string& path, const MovieRecipe& recipe);

}  // namespace reelcraft::testmedia
