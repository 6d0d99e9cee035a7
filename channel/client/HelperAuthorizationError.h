#pragma once

#include <exception>
#include <string>
#include <utility>

namespace veltra {

/// Why an operation on the helper's authorization failed. A value.
class HelperAuthorizationError : public std::exception {
  public:
    /// The only case.
    [[nodiscard]] static HelperAuthorizationError message(std::string text)
    {
        return HelperAuthorizationError{std::move(text)};
    }

    [[nodiscard]] const std::string& message() const noexcept { return message_; }

    [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

    bool operator==(const HelperAuthorizationError& other) const noexcept
    {
        return message_ == other.message_;
    }

  private:
    explicit HelperAuthorizationError(std::string text) : message_{std::move(text)} {}

    std::string message_;
};

} // namespace veltra
