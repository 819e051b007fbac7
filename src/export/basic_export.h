#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "export/export_error.h"
#include "export/movie_file_format.h"
#include "export/movie_format_config.h"
#include "media/base/error.h"
#include "media/base/geometry.h"
#include "media/base/media_time.h"

namespace reelcraft {

// The basic export: an MPEG-4 file with H.264 video and AAC audio, from a frame size, two bit
// rates and a sample rate.

// The codecs of one catalogue entry that match what is wanted, in catalogue order.
struct CompatibleConfigs {
  std::vector<AudioFormatConfigPtr> audioConfigs;
  std::vector<VideoFormatConfigPtr> videoConfigs;
};

// For each entry of `fileFormats` of type `fileType`, its audio codecs with `formatId` and its
// video codecs with `codec`; only entries that have both, in order.
std::vector<CompatibleConfigs> compatibleConfigs(
    const std::vector<MovieFormatConfigPtr>& fileFormats, const std::string& fileType,
    uint32_t formatId, const std::string& codec);

// The frame size the basic export starts from: the default size of the last H.264 codec of the
// first MPEG-4 entry that offers AAC and H.264. Nothing when there is no such entry.
std::optional<Size> basicExportDefaultSize(const std::vector<MovieFormatConfigPtr>& fileFormats);

// Whether the catalogue offers an MPEG-4 entry with AAC and H.264.
bool canConvert(const std::vector<MovieFormatConfigPtr>& fileFormats);

// "Movie cannot be converted", with what it means for the user.
Error movieConversionError();

// What the user entered. Bit rates are in kbit/s; a value below 1 means the default (the
// encoder's own video rate, 128 kbit/s audio, 44100 Hz).
struct BasicExportValues {
  int64_t videoKilobitsPerSecond = 0;
  int64_t audioKilobitsPerSecond = 0;
  int64_t sampleRate = 0;
  int64_t width = 0;
  int64_t height = 0;
};

// The MPEG-4 / H.264 / AAC target with "mp4" as extension. Throws ErrorException with
// movieConversionError() when canConvert(fileFormats) is false. A bit rate whose value in
// bit/s does not fit a signed 64-bit integer is a programming error that stops the program.
std::shared_ptr<MovieFileFormat> makeBasicFileFormat(
    const std::vector<MovieFormatConfigPtr>& fileFormats, const BasicExportValues& values);

// Turns the times that an exporter reports into a percentage of `duration`, and passes it on
// only when it is more than half a percent beyond the last one passed on: so at most about 200
// updates for a whole export, the first after 0.5 %. Reports may come from several threads.
class ExportProgressRule {
 public:
  ExportProgressRule(MediaTime duration, std::function<void(double percent)> update);

  void report(MediaTime reached);
  double lastProgress() const;

 private:
  double durationSeconds_;
  std::function<void(double)> update_;
  mutable std::mutex mutex_;
  double lastProgress_ = 0;
};

}  // namespace reelcraft
