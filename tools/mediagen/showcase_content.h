#pragma once

// Pictures and sound meant for people: the bundled sample movie.

#include <cstddef>
#include <cstdint>

namespace reelcraft::testmedia {

// Frame `index` at `framesPerSecond` as packed RGB24: a slowly drifting colour gradient, a
// bouncing ball and a seven-segment clock (seconds.hundredths).
void drawShowcasePicture(int index, double framesPerSecond, uint8_t* rgb, int width, int height,
                         std::ptrdiff_t stride);

// A soft pentatonic arpeggio over a low drone, faded in and out over a piece of
// `totalSeconds`; `channel` pans the notes a little.
float melodyValue(double seconds, double totalSeconds, int channel, int channelCount);

}  // namespace reelcraft::testmedia
