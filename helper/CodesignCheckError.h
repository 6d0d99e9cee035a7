#pragma once

#include <exception>
#include <string>
#include <utility>

namespace veltra {

/// Why a code signature could not be examined or is not valid. A value.
class CodesignCheckError : public std::exception {
  public:
    /// The only case.
    [[nodiscard]] static CodesignCheckError message(std::string text)
    {
        return CodesignCheckError{std::move(text)};
    }

    [[nodiscard]] const std::string& message() const noexcept { return message_; }

    /// The case with its text, in the form that is logged: `message("...")`.
    [[nodiscard]] const std::string& description() const noexcept { return description_; }

    [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

    bool operator==(const CodesignCheckError& other) const noexcept
    {
        return message_ == other.message_;
    }

  private:
    explicit CodesignCheckError(std::string text)
        : message_{std::move(text)}, description_{"message(\"" + message_ + "\")"}
    {
    }

    std::string message_;
    std::string description_;
};

} // namespace veltra
