#include "mediagen/showcase_content.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

namespace reelcraft::testmedia {
namespace {

struct Rgb {
  double r, g, b;
};

Rgb hueColour(double hue, double saturation, double value) {
  const auto channel = [&](double shift) {
    const double k = std::fmod(shift + hue * 6, 6.0);
    return value - value * saturation * std::clamp(std::min(k, 4 - k), 0.0, 1.0);
  };
  return {channel(5), channel(3), channel(1)};
}

// Segments a..g of the digits 0-9, bit 0 = a (top), clockwise, bit 6 = g (middle).
constexpr std::array<uint8_t, 10> kDigitSegments = {0x3f, 0x06, 0x5b, 0x4f, 0x66,
                                                    0x6d, 0x7d, 0x07, 0x7f, 0x6f};

bool segmentCovers(int segment, double x, double y) {
  // The digit's box is 1 wide and 2 high; segments are 0.2 thick.
  constexpr double t = 0.2;
  switch (segment) {
    case 0:
      return y < t && x > 0 && x < 1;
    case 1:
      return x > 1 - t && x < 1 && y > 0 && y < 1;
    case 2:
      return x > 1 - t && x < 1 && y > 1 && y < 2;
    case 3:
      return y > 2 - t && y < 2 && x > 0 && x < 1;
    case 4:
      return x < t && x > 0 && y > 1 && y < 2;
    case 5:
      return x < t && x > 0 && y > 0 && y < 1;
    case 6:
      return std::abs(y - 1) < t / 2 && x > 0 && x < 1;
  }
  return false;
}

// Whether pixel (x, y) is lit by `text` (digits and '.') drawn from (left, top) with digits
// `digitHeight` high.
bool clockCovers(const std::string& text, double left, double top, double digitHeight, double x,
                 double y) {
  const double unit = digitHeight / 2;
  const double u = (x - left) / unit;
  const double v = (y - top) / unit;
  if (v < 0 || v > 2 || u < 0) return false;
  double cursor = 0;
  for (char c : text) {
    if (c == '.') {
      if (u > cursor + 0.1 && u < cursor + 0.3 && v > 1.8) return true;
      cursor += 0.5;
      continue;
    }
    const uint8_t segments = kDigitSegments[c - '0'];
    for (int segment = 0; segment < 7; ++segment) {
      if ((segments >> segment & 1) && segmentCovers(segment, u - cursor, v)) return true;
    }
    cursor += 1.4;
  }
  return false;
}

double noteEnvelope(double sinceStart) {
  if (sinceStart < 0) return 0;
  const double attack = std::min(1.0, sinceStart / 0.01);
  return attack * std::exp(-sinceStart * 3.0);
}

}  // namespace

void drawShowcasePicture(int index, double framesPerSecond, uint8_t* rgb, int width, int height,
                         std::ptrdiff_t stride) {
  const double seconds = index / framesPerSecond;
  const double diagonal = std::hypot(width, height);

  // The ball bounces inside the frame on a path that never quite repeats.
  const double radius = height * 0.09;
  const auto bounce = [](double phase) { return std::abs(std::fmod(phase, 2.0) - 1.0); };
  const double ballX = radius + bounce(seconds * 0.37) * (width - 2 * radius);
  const double ballY = radius + bounce(seconds * 0.53 + 0.4) * (height - 2 * radius);

  char clockText[16];
  std::snprintf(clockText, sizeof clockText, "%02d.%02d", static_cast<int>(seconds) % 100,
                static_cast<int>(seconds * 100) % 100);
  const double digitHeight = height * 0.14;
  const double clockLeft = width * 0.05;
  const double clockTop = height * 0.08;

  // The gradient's colour depends only on the distance along the diagonal: one table per
  // frame, with a step of a tenth of a pixel.
  constexpr int kStepsPerPixel = 10;
  std::vector<Rgb> gradient(static_cast<size_t>((width + 0.6 * height) * kStepsPerPixel) + 2);
  for (size_t i = 0; i < gradient.size(); ++i) {
    const double along = static_cast<double>(i) / kStepsPerPixel / diagonal;
    gradient[i] =
        hueColour(std::fmod(0.55 + along * 0.25 + seconds * 0.02, 1.0), 0.55, 0.55 + 0.25 * along);
  }
  const double glowReach = radius * 6;

  for (int y = 0; y < height; ++y) {
    uint8_t* line = rgb + y * stride;
    const bool clockRow = y >= clockTop && y <= clockTop + digitHeight;
    const bool ballRow = std::abs(y - ballY) < glowReach;
    for (int x = 0; x < width; ++x) {
      Rgb colour = gradient[static_cast<size_t>((x + y * 0.6) * kStepsPerPixel)];
      if (ballRow && std::abs(x - ballX) < glowReach) {
        const double distance = std::hypot(x - ballX, y - ballY);
        const double ball = std::clamp(radius - distance, 0.0, 1.5) / 1.5;  // antialiased edge
        const double glow = 0.25 * std::exp(-std::pow(distance / (radius * 2.5), 2));
        colour.r = colour.r * (1 - ball) + ball * 0.98 + glow;
        colour.g = colour.g * (1 - ball) + ball * 0.95 + glow;
        colour.b = colour.b * (1 - ball) + ball * 0.85 + glow;
      }
      if (clockRow && clockCovers(clockText, clockLeft, clockTop, digitHeight, x, y)) {
        colour = {0.97, 0.97, 0.97};
      }
      line[3 * x + 0] = static_cast<uint8_t>(std::clamp(colour.r, 0.0, 1.0) * 255 + 0.5);
      line[3 * x + 1] = static_cast<uint8_t>(std::clamp(colour.g, 0.0, 1.0) * 255 + 0.5);
      line[3 * x + 2] = static_cast<uint8_t>(std::clamp(colour.b, 0.0, 1.0) * 255 + 0.5);
    }
  }
}

float melodyValue(double seconds, double totalSeconds, int channel, int channelCount) {
  constexpr double kBeat = 0.25;
  // C major pentatonic from C5, as semitones above C5.
  constexpr std::array<int, 16> kPattern = {0, 4, 7, 9, 12, 9, 7, 4, 2, 7, 9, 12, 14, 12, 9, 7};
  const double pan = channelCount > 1 ? static_cast<double>(channel) / (channelCount - 1) : 0.5;

  double value = 0;
  const int beat = static_cast<int>(seconds / kBeat);
  // The three most recent notes still ring.
  for (int back = 0; back < 3; ++back) {
    const int note = beat - back;
    if (note < 0) break;
    const double since = seconds - note * kBeat;
    const double frequency = 523.25 * std::pow(2.0, kPattern[note % kPattern.size()] / 12.0);
    const double notePan = (note % 2 == 0) ? 0.35 : 0.65;
    const double gain = 1 - std::abs(pan - notePan);
    const double phase = 2 * std::numbers::pi * frequency * since;
    value += gain * noteEnvelope(since) *
             (0.22 * std::sin(phase) + 0.05 * std::sin(2 * phase) + 0.02 * std::sin(3 * phase));
  }
  // A drone on C3 and G3 that swells gently.
  const double swell = 0.75 + 0.25 * std::sin(2 * std::numbers::pi * seconds / 4);
  value += swell * (0.06 * std::sin(2 * std::numbers::pi * 130.81 * seconds) +
                    0.04 * std::sin(2 * std::numbers::pi * 196.00 * seconds));
  const double fade = std::clamp(std::min(seconds, totalSeconds - seconds) / 0.5, 0.0, 1.0);
  return static_cast<float>(value * fade);
}

}  // namespace reelcraft::testmedia
