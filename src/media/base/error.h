#pragma once

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace reelcraft {

// A failure that reaches the user: a domain and code for programs, a sentence that says what
// went wrong and one that says what the user can do about it.
struct Error {
  std::string domain;
  int code = 0;
  std::string description;
  std::string recoverySuggestion;
};

// The values of error codes (enumerators of any enums), for listing a domain's codes together.
template <typename... Codes>
constexpr std::array<int, sizeof...(Codes)> errorCodeValues(Codes... codes) {
  return {static_cast<int>(codes)...};
}

// An error in `domain` with `code` (an enumerator of the domain's codes) and the texts given.
template <typename Code>
Error makeError(std::string_view domain, Code code, std::string description,
                std::string recoverySuggestion) {
  return Error{std::string(domain), static_cast<int>(code), std::move(description),
               std::move(recoverySuggestion)};
}

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
