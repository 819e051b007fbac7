#include "media/save/passthrough_moov_rewriter.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <numeric>
#include <stdexcept>

#include <unistd.h>

#include "media/quicktime/quicktime_headers.h"
#include "media/quicktime/quicktime_sample_table.h"

namespace reelcraft {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// The denominator of `t` in lowest terms.
int64_t reducedDenominator(MediaTime t) {
  if (!t.isNumeric() || t.timescale <= 0) return 1;
  const int64_t divisor = std::gcd(t.value, static_cast<int64_t>(t.timescale));
  return divisor == 0 ? 1 : t.timescale / divisor;
}

uint64_t ticksOf(MediaTime t, uint32_t timescale) {
  return static_cast<uint64_t>(std::llround(static_cast<long double>(t.value) * timescale /
                                            static_cast<long double>(t.timescale)));
}

uint32_t chooseMovieTimescale(const std::vector<PassthroughTrackLayout>& tracks,
                              const std::vector<uint32_t>& mediaTimescales,
                              MediaTime movieDuration) {
  int64_t timescale = 1;
  auto include = [&](int64_t denominator) {
    const int64_t next = std::lcm(timescale, denominator);
    if (next <= INT32_MAX) timescale = next;
  };
  for (uint32_t mediaTimescale : mediaTimescales) include(mediaTimescale);
  include(reducedDenominator(movieDuration));
  for (const PassthroughTrackLayout& track : tracks) {
    for (const PassthroughEdit& edit : track.edits) {
      include(reducedDenominator(edit.start));
      include(reducedDenominator(edit.end));
    }
  }
  // Players work in milliseconds at least.
  if (timescale < 1000)
    timescale = std::lcm(timescale, int64_t{1000}) <= INT32_MAX ? std::lcm(timescale, int64_t{1000})
                                                                : timescale;
  return static_cast<uint32_t>(timescale);
}

int32_t fixed16(double value) {
  return static_cast<int32_t>(std::lround(value * 65536.0));
}

// The transform moved so that the turned picture's corner lies at the origin.
std::array<int32_t, 9> matrixFor(const AffineTransform& transform, Size size) {
  AffineTransform linear = transform;
  linear.tx = linear.ty = 0;
  double minX = 0, minY = 0;
  for (Point corner :
       {Point{size.width, 0}, Point{0, size.height}, Point{size.width, size.height}}) {
    const Point moved = linear.apply(corner);
    minX = std::min(minX, moved.x);
    minY = std::min(minY, moved.y);
  }
  return {fixed16(linear.a), fixed16(linear.b), 0,      fixed16(linear.c), fixed16(linear.d), 0,
          fixed16(-minX),    fixed16(-minY),    1 << 30};
}

std::vector<EditListEntry> editListFor(const std::vector<PassthroughEdit>& edits,
                                       uint32_t movieTimescale, uint32_t mediaTimescale) {
  std::vector<EditListEntry> entries;
  for (const PassthroughEdit& edit : edits) {
    // Each edge is rounded once, so the edits stay in step with the timeline.
    const uint64_t start = ticksOf(edit.start, movieTimescale);
    const uint64_t end = ticksOf(edit.end, movieTimescale);
    if (end <= start) continue;
    EditListEntry entry{end - start, edit.mediaTime < 0 ? -1 : edit.mediaTime};
    if (!entries.empty()) {
      EditListEntry& previous = entries.back();
      const bool bothEmpty = previous.mediaTime < 0 && entry.mediaTime < 0;
      // Media that continues where the previous edit's ends needs no new edit.
      const uint64_t scaled = previous.segmentDuration * mediaTimescale;
      const bool continues =
          previous.mediaTime >= 0 && entry.mediaTime >= 0 && scaled % movieTimescale == 0 &&
          previous.mediaTime + static_cast<int64_t>(scaled / movieTimescale) == entry.mediaTime;
      if (bothEmpty || continues) {
        previous.segmentDuration += entry.segmentDuration;
        continue;
      }
    }
    entries.push_back(entry);
  }
  // Empty time at the end shows nothing; the movie's duration covers it.
  while (!entries.empty() && entries.back().mediaTime < 0) entries.pop_back();
  return entries;
}

// Points each stand-in sample of `trak` at the bytes of the sample it shares them with.
void shareSampleBytes(QuickTimeBox& trak, const std::vector<PassthroughSharedSample>& shared) {
  QuickTimeBox* stbl = trak.find("mdia/minf/stbl");
  if (!stbl) throw std::runtime_error("a track without sample table");
  std::vector<SampleLocation> locations = readSampleLocations(*stbl);
  const auto count = static_cast<int64_t>(locations.size());
  for (const PassthroughSharedSample& standIn : shared) {
    if (standIn.sameAs < 0 || standIn.sameAs >= standIn.sample || standIn.sample >= count) {
      throw std::runtime_error("a shared sample outside its track");
    }
    SampleLocation& location = locations[standIn.sample];
    if (location.size != 1) throw std::runtime_error("a stand-in sample that was not kept");
    location.offset = locations[standIn.sameAs].offset;
    location.size = locations[standIn.sameAs].size;
  }
  writeSampleLocations(*stbl, locations);
}

}  // namespace

void rewritePassthroughMovieHeaders(const std::string& path,
                                    const std::vector<PassthroughTrackLayout>& tracks,
                                    MediaTime movieDuration) {
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "r+b"));
  if (!file) throw std::runtime_error("cannot open " + path);
  const std::vector<QuickTimeBoxLocation> boxes = listTopLevelQuickTimeBoxes(file.get());
  size_t moovIndex = boxes.size();
  for (size_t i = 0; i < boxes.size(); ++i) {
    if (boxes[i].type == "moov") moovIndex = i;
  }
  if (moovIndex == boxes.size()) throw std::runtime_error("no movie box in " + path);
  const QuickTimeBoxLocation location = boxes[moovIndex];
  std::vector<uint8_t> bytes(location.size);
  if (std::fseek(file.get(), static_cast<long>(location.offset), SEEK_SET) != 0 ||
      std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
    throw std::runtime_error("cannot read the movie box of " + path);
  }
  QuickTimeBox moov = parseQuickTimeBox(bytes.data(), bytes.size());

  std::vector<QuickTimeBox*> traks = moov.childrenOfType("trak");
  if (traks.size() != tracks.size()) throw std::runtime_error("unexpected track count");
  std::vector<uint32_t> mediaTimescales;
  for (QuickTimeBox* trak : traks) {
    QuickTimeBox* mdhd = trak->find("mdia/mdhd");
    if (!mdhd) throw std::runtime_error("a track without media header");
    mediaTimescales.push_back(MediaHeader::read(*mdhd).timescale);
  }
  const uint32_t movieTimescale = chooseMovieTimescale(tracks, mediaTimescales, movieDuration);

  uint64_t longest = movieDuration.isNumeric() ? ticksOf(movieDuration, movieTimescale) : 0;
  for (size_t i = 0; i < traks.size(); ++i) {
    QuickTimeBox& trak = *traks[i];
    QuickTimeBox* tkhdBox = trak.child("tkhd");
    if (!tkhdBox) throw std::runtime_error("a track without track header");
    const std::vector<EditListEntry> entries =
        editListFor(tracks[i].edits, movieTimescale, mediaTimescales[i]);
    uint64_t duration = 0;
    for (const EditListEntry& entry : entries) duration += entry.segmentDuration;
    TrackHeader tkhd = TrackHeader::read(*tkhdBox);
    tkhd.duration = duration;
    if (tracks[i].hasTransform)
      tkhd.setMatrix(matrixFor(tracks[i].transform, tracks[i].naturalSize));
    tkhd.writeTo(*tkhdBox);
    longest = std::max(longest, duration);

    if (!tracks[i].sharedSamples.empty()) shareSampleBytes(trak, tracks[i].sharedSamples);

    std::erase_if(trak.children, [](const QuickTimeBox& box) { return box.type == "edts"; });
    for (size_t c = 0; c < trak.children.size(); ++c) {
      if (trak.children[c].type == "tkhd") {
        trak.children.insert(trak.children.begin() + static_cast<std::ptrdiff_t>(c) + 1,
                             makeEditBox(entries));
        break;
      }
    }
  }
  QuickTimeBox* mvhdBox = moov.child("mvhd");
  if (!mvhdBox) throw std::runtime_error("no movie header in " + path);
  MovieHeader mvhd = MovieHeader::read(*mvhdBox);
  mvhd.timescale = movieTimescale;
  mvhd.duration = longest;
  mvhd.writeTo(*mvhdBox);

  const std::vector<uint8_t> rewritten = serializeQuickTimeBox(moov);
  uint64_t writeAt = location.offset;
  if (moovIndex + 1 != boxes.size()) {
    // Something follows the movie box: turn the old one into free space, append the new one.
    const uint64_t end = boxes.back().offset + boxes.back().size;
    if (std::fseek(file.get(), static_cast<long>(location.offset + 4), SEEK_SET) != 0 ||
        std::fwrite("free", 1, 4, file.get()) != 4) {
      throw std::runtime_error("cannot write " + path);
    }
    writeAt = end;
  }
  if (std::fseek(file.get(), static_cast<long>(writeAt), SEEK_SET) != 0 ||
      std::fwrite(rewritten.data(), 1, rewritten.size(), file.get()) != rewritten.size() ||
      std::fflush(file.get()) != 0 ||
      ftruncate(fileno(file.get()), static_cast<off_t>(writeAt + rewritten.size())) != 0) {
    throw std::runtime_error("cannot write " + path);
  }
  if (std::fclose(file.release()) != 0) throw std::runtime_error("cannot write " + path);
}

}  // namespace reelcraft
