#include "app/ProcessSetUp.h"

#include "platform/base/DescriptorLimit.h"

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

namespace {

// The lowest number that is free is the one that is closed.
void openStandardDescriptors() noexcept
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(::open("/dev/null", O_RDWR));
}

} // namespace

void setUpProcess() noexcept
{
    openStandardDescriptors();
    raiseDescriptorLimit();
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace veltra
