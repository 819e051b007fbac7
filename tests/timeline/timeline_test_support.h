#pragma once

// A stand-in for the timeline view and a helper that decodes what a composition shows.

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "core/bindable.h"
#include "document/document_test_support.h"
#include "media/model/video_composition.h"
#include "media/render/composition_video_source.h"
#include "media/support/picture_checks.h"
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

struct ShownFrame {
  MediaTime time;
  int index = -1;  // the frame code of the source frame, -1 where none can be read
};

// Every picture of the composition's video as a player shows it, decoded.
inline std::vector<ShownFrame> decodedFrames(std::shared_ptr<const Composition> composition) {
  const VideoComposition video = VideoComposition::withPropertiesOfAsset(*composition);
  const auto source = CompositionVideoSource::create(std::move(composition), video);
  std::vector<ShownFrame> frames;
  while (const auto frame = source->nextFrame()) {
    frames.push_back({frame->time, pictures::frameIndexOf(*frame->frame)});
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
