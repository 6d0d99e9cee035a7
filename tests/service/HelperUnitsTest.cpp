// What the helper believes about the units that systemd runs for it.
#include "tests/service/ServiceTesting.h"

#include <cstdlib>

using namespace veltra;

namespace {

/// The object of the only unit that runs a tool.
std::string pathOfUnit()
{
    const std::string names =
        outputOf("systemctl list-units --plain --no-legend 'veltra-agent-tool-*' | cut -d' ' -f1");
    char* path = nullptr;
    EXPECT_GE(::sd_bus_path_encode("/org/freedesktop/systemd1/unit",
                                   names.substr(0, names.find('\n')).c_str(), &path),
              0);
    const std::string result{path};
    std::free(path);
    return result;
}

/// Sends the helper what systemd would say, as an ordinary user.
std::string forgeChange(const std::string& path, const std::string& content)
{
    const std::string helper = askBus<std::string>(*joinBus(), "GetNameOwner", helperName).value();
    return outputOf("setpriv --reuid=65534 --clear-groups busctl emit --destination=" + helper +
                    " " + path + " org.freedesktop.DBus.Properties PropertiesChanged " + content);
}

/// A client whose tool runs until /tmp/go exists and exits with 5.
class ClientWithTool : public Client {
  public:
    ClientWithTool() : Client{asSomebody({trusted})}
    {
        tell("run a echo started; until [[ -e /tmp/go ]]; do sleep 0.01; done; exit 5");
        EXPECT_EQ(line(), "a out started\\n");
    }
};

} // namespace

TEST(HelperUnits, AreBelievedToHaveEndedOnlyIfSystemdSaysSo)
{
    ClientWithTool client;
    const std::string path = pathOfUnit();
    const std::string ended = "sa{sv}as org.freedesktop.systemd1.Service ";

    EXPECT_EQ(
        forgeChange(path, ended + "2 ExecMainExitTimestampMonotonic t 5 ExecMainStatus i 0 0"), "");
    EXPECT_EQ(forgeChange(path, ended + "1 Result s exit-code 0"), "");
    // Of wrong types.
    EXPECT_EQ(
        forgeChange(path, ended + "2 ExecMainExitTimestampMonotonic s x ExecMainStatus b 1 0"), "");
    EXPECT_EQ(forgeChange(path, "ss org.freedesktop.systemd1.Service x"), "");
    EXPECT_EQ(forgeChange(path, ""), "");
    std::ofstream{"/tmp/go"};

    EXPECT_TRUE(client.hears("a exit 5"));
}

TEST(HelperUnits, AreFollowedWhenSystemdExecutesItselfAnew)
{
    ClientWithTool client;
    const auto bus = joinBus();
    const auto owner = [&] {
        return askBus<std::string>(*bus, "GetNameOwner", "org.freedesktop.systemd1").value_or("");
    };
    const std::string before = owner();

    EXPECT_EQ(outputOf("systemctl daemon-reexec"), "");
    ASSERT_TRUE(becomesTrue([&] { return !owner().empty() && owner() != before; }));
    std::ofstream{"/tmp/go"};

    EXPECT_TRUE(client.hears("a exit 5"));
    // And the next one is started by it.
    client.tell("run a exit 6");
    EXPECT_TRUE(client.hears("a exit 6"));
}
