#include "platform/base/Error.h"

namespace veltra {

namespace {

std::string sentence(std::error_code code, std::string_view action, std::string_view subject)
{
    std::string text{action};
    if (!subject.empty())
        text.append(" ").append(subject);
    if (!text.empty())
        text.append(": ");
    return text.append(code.message());
}

} // namespace

Error::Error(std::error_code code, std::string_view action, std::string_view subject)
    : code_{code}, message_{sentence(code, action, subject)}
{
}

Error Error::last(std::string_view action, std::string_view subject)
{
    return Error{std::error_code{errno, std::generic_category()}, action, subject};
}

} // namespace veltra
