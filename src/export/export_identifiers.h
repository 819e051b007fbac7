#pragma once

#include <string>
#include <string_view>

namespace reelcraft {

// The container types that an asset writer is created with: libavformat muxer names.
namespace file_type {
inline constexpr const char* kQuickTimeMovie = "mov";
inline constexpr const char* kMPEG4 = "mp4";
inline constexpr const char* kCoreAudioFormat = "caf";
inline constexpr const char* kAIFF = "aiff";
inline constexpr const char* kWAVE = "wav";
inline constexpr const char* kMPEGLayer3 = "mp3";
inline constexpr const char* kAC3 = "ac3";
}  // namespace file_type

// The video codecs that the writer settings name: libavcodec codec names.
namespace video_codec {
inline constexpr const char* kH264 = "h264";
inline constexpr const char* kJPEG = "mjpeg";
}  // namespace video_codec

// The file name extension (without the dot) of files of `fileType`; empty for a type that is
// not one of file_type's.
std::string fileNameExtensionForFileType(std::string_view fileType);

}  // namespace reelcraft
