#pragma once

#include <stdexcept>
#include <string>

namespace reelcraft {

// A failure that reaches the user: a domain and code for programs, a sentence that says what
// went wrong and one that says what the user can do about it.
struct Error {
  std::string domain;
  int code = 0;
  std::string description;
  std::string recoverySuggestion;
};

// Thrown by operations that fail in a way the user can cause (unreadable file, bad range...).
class ErrorException : public std::runtime_error {
 public:
  explicit ErrorException(Error error)
      : std::runtime_error(error.description), error_(std::move(error)) {}
  const Error& error() const { return error_; }

 private:
  Error error_;
};

}  // namespace reelcraft
