// A helper that waits a minute for tools that still run when it ends.
#include "helper/HelperProcess.h"
#include "platform/log/SystemLog.h"

#include <cstdlib>

int main()
{
    using namespace veltra;

    const int status = runHelperProcess(
        {.agent = {}, .shouldQuitCheckInterval = std::chrono::minutes{1}, .version = "1.0.0"});
    SystemLog::shared().drain();
    std::_Exit(status);
}
