#pragma once

// Turning a composition as the movie's rotate edit does, for tests of the media layer.

#include <numbers>
#include <vector>

#include "media/model/composition.h"

namespace reelcraft::turning {

// The natural size swaps and every video track's transform takes a quarter turn on top of
// the one it has: clockwise for a right turn, counter-clockwise for a left one.
inline void rotate(MutableComposition& composition, bool left) {
  const Size size = composition.naturalSize();
  composition.setNaturalSize(Size{size.height, size.width});
  const double angle = left ? -std::numbers::pi / 2 : std::numbers::pi / 2;
  for (const AssetTrack& track : std::vector<AssetTrack>(composition.tracks())) {
    if (track.mediaType != MediaType::Video) continue;
    composition.setPreferredTransform(track.trackID, track.preferredTransform.rotated(angle));
  }
}

}  // namespace reelcraft::turning
