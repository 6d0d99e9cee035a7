// A helper that ends at once when a connection does, and says so every time.
#include "helper/Helper.h"
#include "platform/SystemLog.h"

#include <cstdlib>

int main()
{
    using namespace veltra;

    const std::shared_ptr<PollLoop> loop = std::move(PollLoop::open().value());
    Helper helper{
        loop,
        {.agent = {}, .shouldQuitCheckInterval = std::chrono::milliseconds{3}, .version = "1.0.0"}};
    const auto served = helper.run();
    SystemLog::log(served ? "served" : "failed");
    SystemLog::shared().drain();
    std::_Exit(served ? EXIT_SUCCESS : EXIT_FAILURE);
}
