// A helper that ends at once when a connection does, and says so every time.
#include "helper/HelperProcess.h"
#include "platform/log/SystemLog.h"

#include <cstdlib>

int main()
{
    using namespace veltra;

    const int status = runHelperProcess(
        {.agent = {}, .shouldQuitCheckInterval = std::chrono::milliseconds{3}, .version = "1.0.0"});
    SystemLog::log(status == EXIT_SUCCESS ? "served" : "failed");
    SystemLog::shared().drain();
    std::_Exit(status);
}
