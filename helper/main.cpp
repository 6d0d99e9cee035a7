#include "helper/HelperProcess.h"
#include "helper/InfoPlist.h"
#include "platform/bundle/PropertyList.h"
#include "platform/log/SystemLog.h"

#include <cstdlib>

namespace {

std::string ownVersion()
{
    const auto info = veltra::PropertyList::parse(veltra::embeddedInfoPlist());
    return info ? info.value().text("CFBundleShortVersionString").value_or("") : "";
}

} // namespace

int main()
{
    const int status = veltra::runHelperProcess({.agent = {}, .version = ownVersion()});
    veltra::SystemLog::shared().drain();
    // Not exit(): a thread that examines a client may be blocked by a file system for ever.
    std::_Exit(status);
}
