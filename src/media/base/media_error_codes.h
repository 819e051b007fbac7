#pragma once

#include <array>
#include <concepts>
#include <string>
#include <string_view>
#include <utility>

#include "media/base/error.h"

namespace reelcraft {

inline constexpr std::string_view kMediaErrorDomain = "ReelcraftMediaErrorDomain";

// Every code of kMediaErrorDomain, one enum per stage of the pipeline, each stage in a range of
// its own so that a code names one failure whichever stage reports it. Each stage's helper
// (makeMediaError, makeWriterError, throwSaveError...) writes the texts; a new code also goes
// into kMediaErrorCodes below.

// Opening a file (1–99). Reading a movie reports its failures with these too.
enum class MediaErrorCode {
  FileNotFound = 1,
  PermissionDenied = 2,
  UnrecognizedFormat = 3,  // not a movie or sound file, or a kind Reelcraft does not open
  NoPlayableTracks = 4,    // a movie file with neither video nor audio
  Damaged = 5,             // recognised, but damaged or incomplete
  UnsupportedCodec = 6,    // every video and audio track is in a codec that cannot be decoded
};

// Editing a composition (101–199).
enum class CompositionError {
  InvalidTimeRange = 101,       // the range to insert is invalid, negative or not numeric
  TimeRangeOutsideAsset = 102,  // the range to insert does not lie within the inserted asset
  InvalidInsertionTime = 103,   // the insertion time is invalid, negative or after the end
  AssetHasNoTracks = 104,       // the asset to insert from has no tracks
};

// Drawing a movie's video (201–299).
enum class VideoCompositionError {
  NoVideo = 201,             // nothing to draw: no video track, or an empty picture size
  UnsupportedPicture = 202,  // a decoded picture that cannot be converted for drawing
  TimeOutsideMovie = 203,    // a picture was asked for at a time the movie does not have
};

// Writing a media file with re-encoding (301–399).
enum class WriterErrorCode {
  UnsupportedSettings = 301,  // output settings that no encoder here can honour
  UnknownFileType = 302,      // a file type that cannot be written
  FolderNotFound = 303,       // the file's folder does not exist
  PermissionDenied = 304,     // the folder or file may not be written
  IncompatibleInput = 305,    // the file type cannot hold this track
  EncodingFailed = 306,       // the encoder refused or failed on the media
  WritingFailed = 307,        // the file could not be written to the end (disk full...)
};

// Saving a movie by copying its compressed samples (401–499).
enum class SaveError {
  CannotWrite = 401,     // the file could not be created or written (folder, permissions, space)
  NothingToSave = 402,   // the composition has no video or audio to write
  CannotReencode = 403,  // a track that must be re-encoded could not be
  ContainerCannotHold = 404,  // the file's kind cannot hold a track's codec, the other kind can
};

// Playing a movie (501–599).
enum class PlaybackError {
  Failed = 501,  // something unexpected stopped the decoding for playback
};

// Writing a picture file (601–699).
enum class PictureWritingError {
  NotWritten = 601,  // the picture file could not be created or written
};

// Every code above, so that a test can check that no two are the same.
inline constexpr std::array kMediaErrorCodes = errorCodeValues(
    MediaErrorCode::FileNotFound, MediaErrorCode::PermissionDenied,
    MediaErrorCode::UnrecognizedFormat, MediaErrorCode::NoPlayableTracks, MediaErrorCode::Damaged,
    MediaErrorCode::UnsupportedCodec, CompositionError::InvalidTimeRange,
    CompositionError::TimeRangeOutsideAsset, CompositionError::InvalidInsertionTime,
    CompositionError::AssetHasNoTracks, VideoCompositionError::NoVideo,
    VideoCompositionError::UnsupportedPicture, VideoCompositionError::TimeOutsideMovie,
    WriterErrorCode::UnsupportedSettings, WriterErrorCode::UnknownFileType,
    WriterErrorCode::FolderNotFound, WriterErrorCode::PermissionDenied,
    WriterErrorCode::IncompatibleInput, WriterErrorCode::EncodingFailed,
    WriterErrorCode::WritingFailed, SaveError::CannotWrite, SaveError::NothingToSave,
    SaveError::CannotReencode, SaveError::ContainerCannotHold, PlaybackError::Failed,
    PictureWritingError::NotWritten);

// The enums above, whose codes alone belong to kMediaErrorDomain.
template <typename Code>
concept MediaErrorCodeEnum = std::same_as<Code, MediaErrorCode> ||
    std::same_as<Code, CompositionError> || std::same_as<Code, VideoCompositionError> ||
    std::same_as<Code, WriterErrorCode> || std::same_as<Code, SaveError> ||
    std::same_as<Code, PlaybackError> || std::same_as<Code, PictureWritingError>;

// An error in kMediaErrorDomain with `code` and the texts given.
Error mediaError(MediaErrorCodeEnum auto code, std::string description,
                 std::string recoverySuggestion) {
  return makeError(kMediaErrorDomain, code, std::move(description), std::move(recoverySuggestion));
}

}  // namespace reelcraft
