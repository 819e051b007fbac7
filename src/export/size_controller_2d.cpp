#include "export/size_controller_2d.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace reelcraft {
namespace {

[[noreturn]] void stop(const char* message) {
  std::fprintf(stderr, "SizeController2D: %s\n", message);
  std::abort();
}

int64_t truncatedToInteger(double value) {
  // 2^63 itself is already out of range; -2^63 is the lowest value that fits.
  constexpr double kLimit = 9223372036854775808.0;
  if (!std::isfinite(value) || value >= kLimit || value < -kLimit) {
    stop("the size is not a finite 64-bit integer");
  }
  return static_cast<int64_t>(value);  // truncates toward zero
}

}  // namespace

int64_t IntegerTextField::integerValue() const {
  size_t i = 0;
  while (i < text_.size() && std::isspace(static_cast<unsigned char>(text_[i]))) ++i;
  bool negative = false;
  if (i < text_.size() && (text_[i] == '+' || text_[i] == '-')) negative = text_[i++] == '-';
  // Accumulated as a negative number, whose range includes the lowest value.
  int64_t value = 0;
  constexpr int64_t kLowest = std::numeric_limits<int64_t>::min();
  for (; i < text_.size() && std::isdigit(static_cast<unsigned char>(text_[i])); ++i) {
    const int digit = text_[i] - '0';
    if (value < (kLowest + digit) / 10) {
      return negative ? kLowest : std::numeric_limits<int64_t>::max();
    }
    value = value * 10 - digit;
  }
  if (negative) return value;
  return value == kLowest ? std::numeric_limits<int64_t>::max() : -value;
}

void SizeController2D::setSize(double width, double height) {
  integerWidth_ = truncatedToInteger(width);
  if (widthField_) widthField_->setText(std::to_string(integerWidth_));
  integerHeight_ = truncatedToInteger(height);
  if (heightField_) heightField_->setText(std::to_string(integerHeight_));
  originalAspectRatio_ = width / height;
}

void SizeController2D::awakeFromNib() {
  lockAspectRatio_ = true;
  if (lockAspectRatioButton_) lockAspectRatioButton_->setIntegerValue(1);
}

void SizeController2D::controlTextDidChange(const IntegerTextField* field) {
  if (field == nullptr) return;
  if (field == widthField_) {
    changedWidth();
  } else if (field == heightField_) {
    changedHeight();
  }
}

void SizeController2D::changedWidth() {
  if (!widthField_) stop("no width field");
  const int64_t newWidth = widthField_->integerValue();
  if (lockAspectRatio_ && newWidth != integerWidth_) {
    const int64_t height = truncatedToInteger(static_cast<double>(newWidth) / originalAspectRatio_);
    integerHeight_ = height;
    if (heightField_) heightField_->setText(std::to_string(height));
  }
  integerWidth_ = newWidth;
  widthField_->setText(std::to_string(newWidth));
}

void SizeController2D::changedHeight() {
  if (!heightField_) stop("no height field");
  const int64_t newHeight = heightField_->integerValue();
  if (lockAspectRatio_ && newHeight != integerHeight_) {
    const int64_t width = truncatedToInteger(originalAspectRatio_ * static_cast<double>(newHeight));
    integerWidth_ = width;
    if (widthField_) widthField_->setText(std::to_string(width));
  }
  integerHeight_ = newHeight;
  heightField_->setText(std::to_string(newHeight));
}

void SizeController2D::toggleLock() {
  if (!lockAspectRatioButton_) stop("no lock button");
  lockAspectRatio_ = lockAspectRatioButton_->integerValue() != 0;
  lockAspectRatioButton_->setIntegerValue(lockAspectRatio_ ? 1 : 0);
}

}  // namespace reelcraft
