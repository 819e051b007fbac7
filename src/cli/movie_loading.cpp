#include "cli/movie_loading.h"

#include "document/movie.h"
#include "media/model/composition.h"
#include "media/model/file_asset.h"

namespace reelcraft {

std::shared_ptr<Movie> loadMovie(const std::string& path) {
  const auto asset = FileAsset::open(path);
  auto movie = Movie::create();
  auto composition = MutableComposition::create();
  composition->insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                               MediaTime::zero());
  movie->composition = composition;
  movie->bindableAsset->setValue(composition);
  return movie;
}

}  // namespace reelcraft
