#include "media/save/saved_movie_container.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <new>

#include "media/ffmpeg/av_handles.h"

namespace reelcraft {
namespace {

std::string lowercaseExtension(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

}  // namespace

std::optional<SavedMovieContainer> savedMovieContainerForPath(const std::string& path) {
  const std::string extension = lowercaseExtension(path);
  if (extension.empty() || extension == ".mov") return SavedMovieContainer::QuickTime;
  if (extension == ".mp4" || extension == ".m4v" || extension == ".m4a") {
    return SavedMovieContainer::Mpeg4;
  }
  return std::nullopt;
}

OutputContextPtr newMuxerContext(SavedMovieContainer container) {
  AVFormatContext* raw = nullptr;
  const char* muxer = container == SavedMovieContainer::QuickTime ? "mov" : "mp4";
  if (avformat_alloc_output_context2(&raw, nullptr, muxer, nullptr) < 0 || !raw) {
    throw std::bad_alloc();
  }
  // FFmpeg 5.1 still calls FLAC in MPEG-4 experimental, a published mapping that its reader
  // reads.
  if (container == SavedMovieContainer::Mpeg4)
    raw->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
  return OutputContextPtr(raw);
}

std::string_view displayNameOf(SavedMovieContainer container) {
  return container == SavedMovieContainer::QuickTime ? "a QuickTime movie (.mov)"
                                                     : "an MPEG-4 movie (.mp4)";
}

std::string_view extensionOf(SavedMovieContainer container) {
  return container == SavedMovieContainer::QuickTime ? ".mov" : ".mp4";
}

SavedMovieContainer otherContainer(SavedMovieContainer container) {
  return container == SavedMovieContainer::QuickTime ? SavedMovieContainer::Mpeg4
                                                     : SavedMovieContainer::QuickTime;
}

bool containerHolds(SavedMovieContainer container, const AVCodecParameters& codec) {
  OutputContextPtr output = newMuxerContext(container);
  AVFormatContext* raw = output.get();
  AVStream* stream = avformat_new_stream(raw, nullptr);
  if (!stream || avcodec_parameters_copy(stream->codecpar, &codec) < 0) throw std::bad_alloc();
  stream->codecpar->codec_tag = 0;
  stream->time_base = {1, codec.sample_rate > 0 ? codec.sample_rate : 90000};
  // The muxer checks its tracks when it is set up, and wants a seekable file to write to.
  if (avio_open(&raw->pb, "file:/dev/null", AVIO_FLAG_WRITE) < 0) return false;
  return avformat_init_output(raw, nullptr) >= 0;
}

}  // namespace reelcraft
