#pragma once

#include "media/base/geometry.h"

namespace reelcraft {

// How a picture is turned for display, in the steps that pixels can be moved by exactly: first
// mirrored left to right (when `mirrored`), then turned clockwise by quarter turns. Clockwise as
// seen on screen, where y grows downwards.
struct PictureOrientation {
  int quarterTurnsClockwise = 0;  // 0...3
  bool mirrored = false;

  // The orientation nearest to the turn and mirroring of `transform`'s linear part. Turns
  // that are not whole quarter turns are rounded to the nearest one: pictures are only ever
  // drawn upright, sideways or upside down.
  static PictureOrientation nearestTo(const AffineTransform& transform);

  // Whether width and height trade places.
  bool swapsAxes() const { return quarterTurnsClockwise % 2 != 0; }
  bool isIdentity() const { return quarterTurnsClockwise == 0 && !mirrored; }
};

inline bool operator==(const PictureOrientation& a, const PictureOrientation& b) {
  return a.quarterTurnsClockwise == b.quarterTurnsClockwise && a.mirrored == b.mirrored;
}

// The size that a picture of `naturalSize` covers when shown with `transform`: its width and
// height scaled as the transform scales them, traded when the nearest orientation turns the
// picture sideways. For quarter turns, flips and scales this is the transformed picture's
// bounding box; other angles are drawn as the nearest quarter turn, so their size is that of
// the picture drawn. Components within a millionth of a whole pixel are made whole, so that
// the rounding in rotated transforms (cos π/2 is not quite 0) leaves sizes exact.
Size displayedSize(Size naturalSize, const AffineTransform& transform);

}  // namespace reelcraft
