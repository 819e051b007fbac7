#pragma once

#include <memory>

#include "media/read_ahead.h"
#include "media/sample_buffer.h"

namespace reelcraft {

// Reads the samples of a reader output ahead of the one who takes them (see ReadAhead): null
// marks the end.
class SampleReadAhead : public ReadAhead<std::shared_ptr<SampleBuffer>> {
 public:
  using ReadAhead::ReadAhead;
};

}  // namespace reelcraft
