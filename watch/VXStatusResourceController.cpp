#include "watch/VXStatusResourceController.h"

#include "platform/base/Folder.h"
#include "platform/desktop/FileName.h"
#include "platform/log/SystemLog.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace veltra {

namespace {

struct Candidate {
    std::string path;
    std::chrono::nanoseconds lastModDate;
};

// Stops at the first file whose date cannot be read.
std::vector<Candidate> datedCandidates(const std::string& folder,
                                       const std::vector<std::string>& names)
{
    std::vector<Candidate> candidates;
    for (const std::string& name : names) {
        if (!VXStatusResourceController::isLogFileName(name))
            continue;
        const auto date = modificationDate(folder + name);
        if (!date)
            break;
        candidates.push_back({name, date.value()});
    }
    return candidates;
}

} // namespace

VXStatusResourceController& VXStatusResourceController::sharedVXStatusResourceController()
{
    static VXStatusResourceController shared;
    return shared;
}

VXStatusResourceController::VXStatusResourceController(AgentInstallation installation,
                                                       const std::shared_ptr<Bundle>& mainBundle)
    : installation_{std::move(installation)}, texts_{Bundle::bundleWithIdentifier(
                                                  QStringLiteral(
                                                      "com.veltra.agentMonitor.helperApplication"),
                                                  mainBundle)}
{
}

QString VXStatusResourceController::getLocalisedString(const QString& key) const
{
    if (!texts_)
        return {};
    return texts_->localizedStringForKey(key, {}, QStringLiteral("VeltraAgentStatusMonitor"));
}

QString VXStatusResourceController::getLogFileName() const
{
    const auto names = contentsOfDirectory(installation_.logFolder);
    if (!names) {
        SystemLog::log({"Error in reading files: ", names.error().message()});
        return {};
    }

    const auto candidates = datedCandidates(installation_.logFolder, names.value());
    // Among equally old candidates, this finds the first one listed.
    const auto newest = std::ranges::max_element(candidates, {}, &Candidate::lastModDate);
    return newest == candidates.end() ? QString{} : pathFromBytes(newest->path);
}

bool VXStatusResourceController::isLogFileName(std::string_view name) noexcept
{
    return name.find("vxsvc_") != std::string_view::npos &&
           name.find("backup") == std::string_view::npos;
}

} // namespace veltra
