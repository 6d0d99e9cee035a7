#pragma once

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>

namespace veltra {

/// Describes a failed request to the operating system.
///
/// `message()` reads "ACTION SUBJECT: REASON", and only "REASON" if there is no action. The reason
/// is the code's text; see errno(3) for the system's. A value; may be copied between threads.
class Error {
  public:
    Error(std::error_code code, std::string_view action, std::string_view subject = {});

    /// The error for the current value of errno. Call it directly after the failing call.
    static Error last(std::string_view action, std::string_view subject = {});

    [[nodiscard]] std::error_code code() const noexcept { return code_; }
    [[nodiscard]] const std::string& message() const noexcept { return message_; }

  private:
    std::error_code code_;
    std::string message_;
};

/// The result of a function that returns no value when it succeeds.
inline constexpr std::monostate success{};

/// Either a value or the error that prevented it; `Result<>` is success or an error.
///
/// Call `value()` only if the result converts to true, and `error()` only if it does not; the wrong
/// call throws std::bad_variant_access.
template <typename T = std::monostate>
class [[nodiscard]] Result {
  public:
    Result(T value) : content_{std::in_place_index<0>, std::move(value)} {}
    Result(Error error) : content_{std::in_place_index<1>, std::move(error)} {}

    [[nodiscard]] explicit operator bool() const noexcept { return content_.index() == 0; }
    [[nodiscard]] T& value() { return std::get<0>(content_); }
    [[nodiscard]] const T& value() const { return std::get<0>(content_); }
    [[nodiscard]] const Error& error() const { return std::get<1>(content_); }

  private:
    std::variant<T, Error> content_;
};

} // namespace veltra
