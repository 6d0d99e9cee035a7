#pragma once

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>

namespace veltra {

/// What went wrong with something the operating system was asked for.
///
/// `message()` reads "ACTION SUBJECT: REASON", the reason being the system's own text for the
/// error number (see errno(3)). A value; may be copied between threads.
class Error {
  public:
    Error(std::error_code code, std::string_view action, std::string_view subject = {});

    /// The error that errno holds now. Call it directly after the failing call.
    static Error last(std::string_view action, std::string_view subject = {});

    [[nodiscard]] std::error_code code() const noexcept { return code_; }
    [[nodiscard]] const std::string& message() const noexcept { return message_; }

  private:
    std::error_code code_;
    std::string message_;
};

/// What a function that has nothing to give returns when it succeeds.
inline constexpr std::monostate success{};

/// Either a value or the error that kept it from being made; `Result<>` is success or an error.
///
/// `value()` may be asked for only when the result converts to true, `error()` only when it does
/// not; the other way round throws std::bad_variant_access.
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
