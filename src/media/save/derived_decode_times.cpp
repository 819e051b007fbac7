#include "media/save/derived_decode_times.h"

#include <algorithm>

namespace reelcraft {

DerivedDecodeTimes::DerivedDecodeTimes(int depth, int64_t frameTicks)
    : depth_(std::max(0, depth)), frameTicks_(std::max<int64_t>(1, frameTicks)) {
  latest_.reserve(depth_ + 1);
}

void DerivedDecodeTimes::reset() {
  latest_.clear();
  started_ = false;
}

int64_t DerivedDecodeTimes::next(int64_t pts) {
  latest_.insert(std::upper_bound(latest_.begin(), latest_.end(), pts), pts);
  if (latest_.size() > static_cast<size_t>(depth_) + 1) latest_.erase(latest_.begin());
  const auto missing = static_cast<int64_t>(depth_ + 1 - latest_.size());
  int64_t dts = latest_.front() - missing * frameTicks_;
  // Repeated presentation times, or frames reordered further than `depth`: still one after
  // the other.
  if (started_ && dts <= last_) dts = last_ + 1;
  started_ = true;
  last_ = dts;
  return dts;
}

}  // namespace reelcraft
