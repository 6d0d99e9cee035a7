#include "tools/admin/AdminError.h"

#include "platform/base/TextCategory.h"

#include <string>

namespace veltra {

namespace {

const char* textOf(AdminError reason)
{
    switch (reason) {
    case AdminError::rightExists:
        return "It exists already";
    case AdminError::outsideOfBundle:
        return "This program is not where its bundle holds it";
    case AdminError::signedByOthers:
        return "It is not signed by those who signed this program";
    case AdminError::folderOfOthers:
        return "Others than root may write to it";
    case AdminError::unitsFailed:
        return "systemd failed";
    case AdminError::helperRunsOn:
        return "It does not end";
    case AdminError::othersWork:
        return "It has not ended in time";
    case AdminError::textUnfit:
        return "It holds what a policy cannot";
    }
    return "Unknown reason";
}

} // namespace

std::error_code adminError(AdminError reason)
{
    static const TextCategory category{"administration", [](int value) -> std::string {
                                           return textOf(static_cast<AdminError>(value));
                                       }};
    return {static_cast<int>(reason), category};
}

Result<> inOrder(std::initializer_list<std::function<Result<>()>> steps)
{
    for (const auto& step : steps)
        if (Result<> done = step(); !done)
            return done;
    return success;
}

} // namespace veltra
