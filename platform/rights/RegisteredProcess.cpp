#include "platform/rights/RegisteredProcess.h"

#include "platform/base/ProcPath.h"
#include "platform/base/ProcessStatus.h"

#include <string>
#include <utility>

namespace veltra {

namespace {

// The real, effective, saved and file-system user must all match. They differ in a process that can
// still change to another user.
bool belongsTo(pid_t process, uid_t user)
{
    const ProcessStatus status{procPath(process, "status")};
    const std::string id = std::to_string(user);
    return status["Uid"] == id + "\t" + id + "\t" + id + "\t" + id;
}

} // namespace

std::optional<RegisteredProcess> RegisteredProcess::find(pid_t process, std::uint64_t startTime,
                                                         uid_t user)
{
    PidFd opened = PidFd::open(process);
    if (!opened || processStartTime(process) != startTime || !belongsTo(process, user))
        return std::nullopt;

    RegisteredProcess found{std::move(opened), process, startTime, user};
    // What was read belongs to this process only if it is still alive.
    if (!found.isAlive())
        return std::nullopt;
    return found;
}

RegisteredProcess::RegisteredProcess(PidFd descriptor, pid_t process, std::uint64_t startTime,
                                     uid_t user) noexcept
    : process_{std::move(descriptor)}, pid_{process}, startTime_{startTime}, user_{user}
{
}

} // namespace veltra
