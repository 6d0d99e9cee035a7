// A helper for a bus that provides no pidfds.
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
