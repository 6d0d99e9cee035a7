#pragma once

#include "tests/installation/ScriptedAgent.h"
#include "tests/service/ServiceTesting.h"

#include <fstream>
#include <string>

namespace veltra {

inline const std::string rightsPolicy =
    "/usr/share/polkit-1/actions/com.veltra.agentMonitor.rights.policy";
inline const std::string guardingRight = helperName + ".runCommandWithPath:authData:completion:";
inline const std::string installing = "com.apple.ServiceManagement.blesshelper";

/// Users without sessions; the polkit rules treat the first as one with an active session.
inline constexpr int someUser = 1;
inline constexpr int anotherUser = 65534;

inline Words asUser(int user, const Words& environment = {})
{
    const std::string id = std::to_string(user);
    Words command{"setpriv", "--reuid=" + id, "--regid=" + id, "--clear-groups", "env"};
    command.insert(command.end(), environment.begin(), environment.end());
    command.emplace_back(
        "/opt/Veltra/VeltraAgentStatusMonitor.app/Contents/Linux/authorization_client");
    return command;
}

/// A process that uses the system's authorization services.
class PolkitClient : public ClientProgram {
  public:
    explicit PolkitClient(int user = someUser, const Words& environment = {})
        : ClientProgram{asUser(user, environment)}
    {
        // Until it answers, it still runs another program, for which an agent must not be
        // registered.
        EXPECT_EQ(ask("create"), "0");
    }

    std::string ask(const std::string& command)
    {
        tell(command);
        return line();
    }
};

/// What the stand-in for the admin tool was started with.
inline std::string toolLog()
{
    return contentOf("/tmp/tool");
}

/// Makes the stand-in only end with a status and these words.
inline void letToolFail(const std::string& statusAndWords)
{
    std::ofstream{"/tmp/tool-fails"} << statusAndWords << "\n";
}

/// Makes the stand-in end with a status after it has done everything.
inline void letToolEndWith(int status)
{
    std::ofstream{"/tmp/tool-ends"} << status << "\n";
}

/// Registers the right with this text as its definition, or removes it if the text is empty.
inline void storeRight(const std::string& definition)
{
    std::string policy = contentOf("/opt/veltra-test/rights.policy");
    const std::string ours = R"({"class":"user","group":"admin","version":1})";
    policy.replace(policy.find(ours), ours.size(), definition);
    if (definition.empty())
        std::filesystem::remove(rightsPolicy);
    else
        std::ofstream{rightsPolicy} << policy;

    const auto isKnown = [&] {
        const auto actions = monitorActions();
        for (const auto& [id, action] : actions)
            if (action.annotations.contains("com.veltra.right.definition"))
                return action.annotations.at("com.veltra.right.definition") == definition;
        return definition.empty();
    };
    EXPECT_TRUE(becomesTrue(isKnown));
}

} // namespace veltra
