#include "helper/RefusalLog.h"

#include "platform/log/SystemLog.h"

namespace veltra {

RefusalLog::~RefusalLog()
{
    endPeriod();
}

void RefusalLog::add(const std::string& line)
{
    if (refused_ == 0)
        end_ = loop_.callAfter(period_, [this] { endPeriod(); });
    if (++refused_ <= mostLines)
        SystemLog::log(line);
}

void RefusalLog::endPeriod()
{
    if (refused_ > mostLines)
        SystemLog::log({"refused ", std::to_string(refused_ - mostLines), " more"});
    refused_ = 0;
}

} // namespace veltra
