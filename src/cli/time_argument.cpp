#include "cli/time_argument.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <vector>

namespace reelcraft {
namespace {

constexpr int kMaxFractionDigits = 9;

std::optional<int64_t> parseDigits(std::string_view text) {
  if (text.empty()) return std::nullopt;
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
  }
  return value;
}

bool allDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// "12", "12.", "12.25", ".5": whole seconds and a decimal fraction, as value / 10^digits.
// Digits past the nanosecond (as a calculator prints them) round to the nearest nanosecond.
std::optional<MediaTime> parseDecimalSeconds(std::string_view text) {
  const size_t point = text.find('.');
  const std::string_view whole = text.substr(0, point);
  std::string_view fraction =
      point == std::string_view::npos ? std::string_view{} : text.substr(point + 1);
  if (whole.empty() && fraction.empty()) return std::nullopt;
  if (!allDigits(fraction)) return std::nullopt;
  const bool roundUp = fraction.size() > kMaxFractionDigits && fraction[kMaxFractionDigits] >= '5';
  fraction = fraction.substr(0, kMaxFractionDigits);
  const auto wholeValue = whole.empty() ? std::optional<int64_t>(0) : parseDigits(whole);
  const auto fractionValue = fraction.empty() ? std::optional<int64_t>(0) : parseDigits(fraction);
  if (!wholeValue || !fractionValue) return std::nullopt;
  int32_t timescale = 1;
  for (size_t i = 0; i < fraction.size(); ++i) timescale *= 10;
  if (*wholeValue > std::numeric_limits<int64_t>::max() / timescale - 1) return std::nullopt;
  return MediaTime::make(*wholeValue * timescale + *fractionValue + (roundUp ? 1 : 0), timescale);
}

std::optional<MediaTime> parseFraction(std::string_view text) {
  const size_t slash = text.find('/');
  const auto numerator = parseDigits(text.substr(0, slash));
  const auto denominator = parseDigits(text.substr(slash + 1));
  if (!numerator || !denominator || *denominator == 0 ||
      *denominator > std::numeric_limits<int32_t>::max()) {
    return std::nullopt;
  }
  return MediaTime::make(*numerator, static_cast<int32_t>(*denominator));
}

// "H:MM:SS.ff" or "M:SS.ff": minutes and seconds below 60 after a larger unit.
std::optional<MediaTime> parseClock(std::string_view text) {
  std::vector<std::string_view> parts;
  for (size_t start = 0;;) {
    const size_t colon = text.find(':', start);
    parts.push_back(text.substr(start, colon - start));
    if (colon == std::string_view::npos) break;
    start = colon + 1;
  }
  if (parts.size() > 3) return std::nullopt;
  const auto seconds = parseDecimalSeconds(parts.back());
  if (!seconds || parts.back().empty() || parts.back().front() == '.' ||
      compare(*seconds, MediaTime::make(60, 1)) >= 0) {
    return std::nullopt;
  }
  int64_t minutes = 0;
  for (size_t i = 0; i + 1 < parts.size(); ++i) {
    const auto unit = parseDigits(parts[i]);
    if (!unit || (i > 0 && *unit >= 60) || minutes > std::numeric_limits<int32_t>::max()) {
      return std::nullopt;
    }
    minutes = minutes * 60 + *unit;
  }
  return add(MediaTime::make(minutes * 60, 1), *seconds);
}

}  // namespace

std::optional<MediaTime> parseTimeArgument(std::string_view text) {
  if (text.find(':') != std::string_view::npos) return parseClock(text);
  if (text.find('/') != std::string_view::npos) return parseFraction(text);
  return parseDecimalSeconds(text);
}

}  // namespace reelcraft
