#include "platform/signing/RunningExecutable.h"

#include "platform/base/ProcPath.h"
#include "platform/process/PinnedProcess.h"

#include <system_error>
#include <utility>

#include <fcntl.h>

namespace veltra {

namespace {

// A process that has ended, or a kernel thread, has no executable.
OSStatus statusOf(const std::error_code& error)
{
    const bool isNone = error == std::errc::no_such_process ||
                        error == std::errc::no_such_file_or_directory ||
                        error == std::errc::invalid_argument;
    return isNone ? errSecCSNoSuchCode : errSecCSCodeUnreadable;
}

} // namespace

SecOutcome<Fd> openOwnExecutable()
{
    Fd file{::open(ownExecutablePath().c_str(), O_RDONLY | O_CLOEXEC)};
    if (!file)
        return {errSecCSCodeUnreadable, {}};
    return {errSecSuccess, std::move(file)};
}

SecOutcome<Fd> openExecutableOf(std::int32_t pid)
{
    auto process = PinnedProcess::open(pid);
    if (!process)
        return {statusOf(process.error().code()), {}};
    return {errSecSuccess, std::move(process.value()).takeExecutable()};
}

} // namespace veltra
