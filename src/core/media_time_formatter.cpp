#include "core/media_time_formatter.h"

#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace reelcraft {
namespace {

constexpr const char* kZeroText = "00:00:00.00";
// Times are offsets from the reference date, 1 January 2001 00:00:00 GMT, which lies this
// many seconds after the Unix epoch that ICU counts from.
constexpr double kReferenceDateSinceEpoch = 978307200.0;
constexpr int32_t kParsedTimescale = 100;

std::unique_ptr<icu::SimpleDateFormat> makeDateFormat(const char16_t* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern),
                                                        icu::Locale("en_US_POSIX"), status);
  if (U_FAILURE(status)) {
    throw std::runtime_error(std::string("cannot make a date formatter: ") + u_errorName(status));
  }
  format->setTimeZone(*icu::TimeZone::getGMT());
  // Strict like the desktop's date formatters: numeric fields need the pattern's digits, and
  // fields out of range fail instead of rolling over into the next field.
  format->setLenient(false);
  return format;
}

}  // namespace

struct MediaTimeFormatter::DateFormatters {
  std::unique_ptr<icu::SimpleDateFormat> output;
  std::unique_ptr<icu::SimpleDateFormat> input;
};

MediaTimeFormatter::MediaTimeFormatter() = default;
MediaTimeFormatter::~MediaTimeFormatter() = default;

MediaTimeFormatter::DateFormatters& MediaTimeFormatter::formatters() const {
  if (formatters_ == nullptr) formatters_ = std::make_unique<DateFormatters>();
  return *formatters_;
}

std::string MediaTimeFormatter::string(MediaTime time) const {
  if (!time.isNumeric()) return kZeroText;
  auto& output = formatters().output;
  if (output == nullptr) output = makeDateFormat(u"HH:mm:ss.SS");
  // The date in milliseconds since the epoch, computed as the desktop does from seconds since
  // the reference date, so that the hundredths are cut at the same place.
  const UDate date = (time.seconds() + kReferenceDateSinceEpoch) * 1000.0;
  if (!std::isfinite(date)) return kZeroText;
  icu::UnicodeString text;
  icu::FieldPosition position;
  UErrorCode status = U_ZERO_ERROR;
  output->format(date, text, position, status);
  // Dates beyond the calendar's range give an empty text.
  if (U_FAILURE(status) || text.isEmpty()) return kZeroText;
  std::string result;
  text.toUTF8String(result);
  return result;
}

std::optional<MediaTime> MediaTimeFormatter::parse(std::string_view typed) const {
  std::string text(typed);
  for (auto colons = std::count(text.begin(), text.end(), ':'); colons < 2; ++colons) {
    text.insert(0, "00:");
  }
  if (text.find('.') == std::string::npos) text += ".00";
  text.insert(0, "2001-01-01 ");

  auto& input = formatters().input;
  if (input == nullptr) input = makeDateFormat(u"yyyy-MM-dd HH:mm:ss.SS");
  const icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  icu::ParsePosition position(0);
  const UDate date = input->parse(unicode, position);
  // The whole text must be read; a prefix that happens to be a date is not enough.
  if (position.getErrorIndex() >= 0 || position.getIndex() != unicode.length()) {
    return std::nullopt;
  }
  const double seconds = date / 1000.0 - kReferenceDateSinceEpoch;
  return MediaTime::fromSeconds(seconds, kParsedTimescale);
}

std::optional<std::string> MediaTimeFormatter::stringForObjectValue(
    const std::any& objectValue) const {
  if (const auto* time = std::any_cast<MediaTime>(&objectValue)) return string(*time);
  return kZeroText;
}

bool MediaTimeFormatter::getObjectValue(std::any* objectValue, std::string_view text) const {
  const auto time = parse(text);
  if (!time) return false;
  if (objectValue != nullptr) *objectValue = *time;
  return true;
}

}  // namespace reelcraft
