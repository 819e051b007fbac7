#pragma once

#include <cstdint>
#include <string>

namespace reelcraft {

// The text of an entry field, read as an integer the way the desktop's fields read it:
// leading blanks are skipped, then an optional sign and the digits that follow ("12ab" is 12,
// "" and "ab" are 0); values beyond the 64-bit range saturate.
class IntegerTextField {
 public:
  const std::string& text() const { return text_; }
  void setText(std::string text) { text_ = std::move(text); }
  int64_t integerValue() const;

 private:
  std::string text_;
};

// A check box: 0 off, 1 on, -1 mixed.
class CheckBox {
 public:
  static constexpr int kMixed = -1;
  int integerValue() const { return value_; }
  void setIntegerValue(int value) { value_ = value; }

 private:
  int value_ = 0;
};

// Keeps a width field, a height field and an aspect-lock check box consistent. While locked,
// editing one dimension rewrites the other so that width ÷ height stays at the ratio of the
// size last set by setSize (not of whatever the fields held when the lock was turned on:
// unlocked edits are pulled back to the original proportions by the next locked edit). Derived
// dimensions are truncated toward zero. The owner calls the change operations on every change
// of a field's text and again when its editing ends; a second run for an unchanged value only
// rewrites the field's text.
//
// Using a change operation whose control is missing, or a derived value that is not a finite
// 64-bit integer (after a size with zero height), is a programming error that stops the
// program.
class SizeController2D {
 public:
  // Connects the controls; null disconnects.
  void setWidthField(IntegerTextField* field) { widthField_ = field; }
  void setHeightField(IntegerTextField* field) { heightField_ = field; }
  void setLockAspectRatioButton(CheckBox* button) { lockAspectRatioButton_ = button; }

  // Shows the size (truncated) in both fields and records w ÷ h as the ratio to keep.
  void setSize(double width, double height);
  // The controls are in place: locks, and checks the box.
  void awakeFromNib();

  // A change of a field's text (each keystroke); other fields are ignored.
  void controlTextDidChange(const IntegerTextField* field);
  // The end of editing a field.
  void changedWidth();
  void changedHeight();
  // The check box was clicked: locks when it is not off (a mixed box becomes checked).
  void toggleLock();

  int64_t integerWidth() const { return integerWidth_; }
  int64_t integerHeight() const { return integerHeight_; }
  bool lockAspectRatio() const { return lockAspectRatio_; }
  double originalAspectRatio() const { return originalAspectRatio_; }

 private:
  IntegerTextField* widthField_ = nullptr;
  IntegerTextField* heightField_ = nullptr;
  CheckBox* lockAspectRatioButton_ = nullptr;
  int64_t integerWidth_ = 0;
  int64_t integerHeight_ = 0;
  bool lockAspectRatio_ = true;
  double originalAspectRatio_ = 1.0;
};

}  // namespace reelcraft
