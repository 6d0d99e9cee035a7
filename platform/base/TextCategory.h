#pragma once

#include <string>
#include <system_error>

namespace veltra {

/// The category of errors whose texts a function knows. Keep it for the program's lifetime, since
/// error codes refer to it.
class TextCategory final : public std::error_category {
  public:
    /// `name` must stay valid. `textOf` is called on any thread.
    TextCategory(const char* name, std::string (*textOf)(int value)) : name_{name}, textOf_{textOf}
    {
    }

    [[nodiscard]] const char* name() const noexcept override { return name_; }
    [[nodiscard]] std::string message(int value) const override { return textOf_(value); }

  private:
    const char* name_;
    std::string (*textOf_)(int);
};

} // namespace veltra
