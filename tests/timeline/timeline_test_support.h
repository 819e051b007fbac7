#pragma once

// A stand-in for the timeline view and helpers to load and decode generated movies.

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "core/bindable.h"
#include "document/movie.h"
#include "media/model/file_asset.h"
#include "media/model/sample_buffer.h"
#include "media/model/video_composition.h"
#include "media/reader/asset_reader.h"
#include "media/reader/asset_reader_output.h"
#include "mediagen/frame_code.h"
#include "mediagen/test_media.h"
#include "timeline/timeline.h"

namespace reelcraft {

// Numeric equality, whatever the timescales.
inline bool operator==(const TimelineSelection& a, const TimelineSelection& b) {
  return a.start == b.start && a.duration == b.duration;
}
inline std::ostream& operator<<(std::ostream& out, const TimelineSelection& s) {
  return out << "{" << s.start.debugString() << " +" << s.duration.debugString() << "}";
}

}  // namespace reelcraft

namespace reelcraft::timeline_testing {

// Keeps selections and cursor as the timeline view does: its cursor follows its own
// current-time Bindable, which the player's is bound to.
class FakeTimeline : public Timeline {
 public:
  FakeTimeline() {
    currentTimeBindable->observers.push_back([this](const MediaTime& time) { cursor = time; });
  }

  std::vector<TimelineSelection> selections() const override { return selections_; }
  void setSelections(std::vector<TimelineSelection> selections) override {
    selections_ = std::move(selections);
    drawn = false;
  }
  MediaTime currentTime() const override { return cursor; }
  void setNeedsDisplay() override {
    drawn = true;
    ++redraws;
  }

  // Whether the view has been asked to redraw since its selections last changed.
  bool drawn = true;
  int redraws = 0;
  MediaTime cursor = MediaTime::make(0, 1);
  const std::shared_ptr<Bindable<MediaTime>> currentTimeBindable =
      Bindable<MediaTime>::create(MediaTime::make(0, 100));

 private:
  std::vector<TimelineSelection> selections_;
};

inline std::shared_ptr<const FileAsset> openVariant(const std::string& name) {
  return FileAsset::open(testmedia::testMediaPath(name));
}

// A movie holding the whole of a generated movie, with no undo entries yet.
inline std::shared_ptr<Movie> movieOf(const std::string& variant) {
  const auto movie = Movie::create();
  const auto asset = openVariant(variant);
  auto& composition = *movie->composition;
  while (!composition.tracks().empty()) composition.removeTrack(composition.tracks()[0].trackID);
  composition.insertTimeRange(TimeRange::make(MediaTime::zero(), asset->duration()), *asset,
                              MediaTime::zero());
  return movie;
}

struct ShownFrame {
  MediaTime time;
  int index = -1;  // the frame code of the source frame, -1 where none can be read
};

// Every picture of the composition's video as a player shows it, decoded.
inline std::vector<ShownFrame> decodedFrames(
    const std::shared_ptr<const Composition>& composition) {
  std::vector<AssetTrack> tracks;
  for (const AssetTrack* track : composition->tracksWithMediaType(MediaType::Video)) {
    tracks.push_back(*track);
  }
  auto output = std::make_shared<AssetReaderVideoCompositionOutput>(tracks);
  output->setVideoComposition(VideoComposition::withPropertiesOfAsset(*composition));
  const auto reader = AssetReader::create(composition);
  reader->addOutput(output);
  std::vector<ShownFrame> frames;
  if (!reader->startReading()) return frames;
  while (const auto sample = output->copyNextSampleBuffer()) {
    const auto code = testmedia::readFrameCode(*sample->videoFrame);
    frames.push_back({sample->presentationTime, code ? code->index : -1});
  }
  return frames;
}

// The source frame shown at `time`: that of the last picture that starts at or before it.
inline int frameShownAt(const std::vector<ShownFrame>& frames, MediaTime time) {
  int index = -1;
  for (const ShownFrame& frame : frames) {
    if (frame.time > time) break;
    index = frame.index;
  }
  return index;
}

}  // namespace reelcraft::timeline_testing
