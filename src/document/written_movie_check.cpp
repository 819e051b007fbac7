#include "document/written_movie_check.h"

#include <cmath>
#include <cstdio>
#include <memory>

#include "document/document_error.h"
#include "media/base/error.h"
#include "media/quicktime/movie_headers.h"

namespace reelcraft {
namespace {

bool showsMedia(const AssetTrack& track) {
  for (const TrackSegment& segment : track.segments) {
    if (!segment.isEmpty()) return true;
  }
  return false;
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f s", seconds);
  return text;
}

void checkTrackCount(const Composition& composition, size_t found, MediaType type,
                     const std::string& destination) {
  size_t withMedia = 0;
  size_t all = 0;
  for (const AssetTrack& track : composition.tracks()) {
    if (track.mediaType != type) continue;
    ++all;
    if (showsMedia(track)) ++withMedia;
  }
  if (found >= withMedia && found <= all) return;
  throw ErrorException(makeSaveError(DocumentErrorCode::WriteFailed, destination,
                                     "the written movie has " + std::to_string(found) + " " +
                                         std::string(mediaTypeName(type)) +
                                         " track(s) instead of " + std::to_string(withMedia)));
}

}  // namespace

bool hasMedia(const Composition& composition) {
  for (const AssetTrack& track : composition.tracks()) {
    if (showsMedia(track)) return true;
  }
  return false;
}

void checkWrittenMovie(const std::string& path, const Composition& composition,
                       const std::string& destination) {
  MovieHeaders written;
  try {
    written = readMovieHeaders(path);
  } catch (const ErrorException&) {
    throw ErrorException(makeSaveError(DocumentErrorCode::WriteFailed, destination,
                                       "the written movie cannot be read back"));
  }
  checkTrackCount(composition, written.videoTracks, MediaType::Video, destination);
  checkTrackCount(composition, written.audioTracks, MediaType::Audio, destination);

  const double expected = composition.duration().seconds();
  const double found = written.duration.seconds();
  if (!(std::fabs(found - expected) <= kWrittenDurationToleranceSeconds)) {
    throw ErrorException(makeSaveError(
        DocumentErrorCode::WriteFailed, destination,
        "the written movie lasts " + secondsText(found) + " instead of " + secondsText(expected)));
  }
}

}  // namespace reelcraft
