// A helper for which the bus is one that hands out no processes.
#include "helper/HelperProcess.h"
#include "platform/log/SystemLog.h"

#include <cstdlib>

int main()
{
    using namespace veltra;

    const int status = runHelperProcess({.agent = {}, .version = "1.0.0", .takesPidfds = false});
    SystemLog::shared().drain();
    std::_Exit(status);
}
