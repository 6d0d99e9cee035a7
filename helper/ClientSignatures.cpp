#include "helper/ClientSignatures.h"

#include "helper/CodesignCheck.h"
#include "platform/signing/LinuxCodeSigning.h"

#include <algorithm>

namespace veltra {

bool ClientSignatures::codeSigningMatches(const Client& client)
{
    auto finding = known(client);
    if (!finding) {
        examine(client);
        finding = known(client);
    }
    if (finding->error)
        throw CodesignCheckError::message(*finding->error);
    return finding->matches;
}

void ClientSignatures::examine(const Client& client)
{
    Finding finding{.client = client, .matches = false, .error = {}};
    try {
        const LinuxCodeSigning services{{client->pid(), client->executable()}};
        finding.matches = CodesignCheck::codeSigningMatches(client->pid(), services);
    } catch (const CodesignCheckError& error) {
        finding.error = error.message();
    }
    const std::lock_guard lock{mutex_};
    std::erase_if(findings_, [](const Finding& old) { return old.client.expired(); });
    findings_.push_back(std::move(finding));
}

std::optional<ClientSignatures::Finding> ClientSignatures::known(const Client& client)
{
    const std::lock_guard lock{mutex_};
    const auto isOfClient = [&](const Finding& finding) { return finding.client.lock() == client; };
    const auto found = std::ranges::find_if(findings_, isOfClient);
    return found == findings_.end() ? std::nullopt : std::optional{*found};
}

} // namespace veltra
