#include "platform/rights/RegisteredProcess.h"

#include "platform/base/ProcessStatus.h"

#include <string>
#include <utility>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace veltra {

namespace {

// The real, effective, saved and file-system user alike: one that is about to become somebody
// else, or was, belongs to two.
bool belongsTo(pid_t process, uid_t user)
{
    const ProcessStatus status{"/proc/" + std::to_string(process) + "/status"};
    const std::string id = std::to_string(user);
    return status["Uid"] == id + "\t" + id + "\t" + id + "\t" + id;
}

} // namespace

std::optional<RegisteredProcess> RegisteredProcess::find(pid_t process, std::uint64_t startTime,
                                                         uid_t user)
{
    Fd pidfd{static_cast<int>(::syscall(SYS_pidfd_open, process, 0))};
    if (!pidfd || processStartTime(process) != startTime || !belongsTo(process, user))
        return std::nullopt;

    RegisteredProcess found{std::move(pidfd), process, startTime, user};
    // What was read was the process's own only if it still lives.
    if (!found.isAlive())
        return std::nullopt;
    return found;
}

RegisteredProcess::RegisteredProcess(Fd pidfd, pid_t process, std::uint64_t startTime,
                                     uid_t user) noexcept
    : pidfd_{std::move(pidfd)}, pid_{process}, startTime_{startTime}, user_{user}
{
}

bool RegisteredProcess::isAlive() const
{
    pollfd exit{pidfd_.get(), POLLIN, 0};
    return ::poll(&exit, 1, 0) == 0;
}

} // namespace veltra
