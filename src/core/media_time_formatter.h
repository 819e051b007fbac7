#pragma once

#include <any>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/formatter.h"
#include "media/base/media_time.h"

namespace reelcraft {

// Shows a media time as the time of day it reaches from midnight, "HH:mm:ss.SS" in GMT (hours
// 00 to 23: whole days are lost; hundredths cut, not rounded), and reads such text back into a
// time of timescale 100.
//
// Reading completes the text first: "00:" goes in front until it holds two colons, ".00" goes
// at the end when it holds no dot, and the result is read as a time on the first day of 2001
// with the pattern "yyyy-MM-dd HH:mm:ss.SS" by ICU's date parser, not leniently, as the
// desktop's date formatters read. So "12" is 12 seconds and "02:03" 123 seconds, and any
// number of fraction digits is read; but minutes and seconds need two digits ("5" and "1:30"
// are refused, "05", "01:30" and "1:02:03" are not), out-of-range fields are refused, and the
// whole text must be read.
//
// The two ICU date formatters are made on first use and kept. Not thread-safe: use one
// formatter from one thread.
class MediaTimeFormatter : public Formatter {
 public:
  MediaTimeFormatter();
  ~MediaTimeFormatter() override;
  MediaTimeFormatter(const MediaTimeFormatter&) = delete;
  MediaTimeFormatter& operator=(const MediaTimeFormatter&) = delete;

  // "00:00:00.00" for a time that is not a number of seconds (invalid, infinite, indefinite)
  // or that lies beyond what a calendar can hold.
  std::string string(MediaTime time) const;
  // The time the text stands for, or none when it cannot be read.
  std::optional<MediaTime> parse(std::string_view text) const;

  // The text for a MediaTime value; "00:00:00.00" for no value or any other kind of value.
  std::optional<std::string> stringForObjectValue(const std::any& objectValue) const override;
  // Stores the parsed MediaTime.
  bool getObjectValue(std::any* objectValue, std::string_view text) const override;

 private:
  struct DateFormatters;
  DateFormatters& formatters() const;

  mutable std::unique_ptr<DateFormatters> formatters_;
};

}  // namespace reelcraft
