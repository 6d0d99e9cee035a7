// How the helper appears on the bus, and what it requests from it.
#include "tests/service/ServiceTesting.h"

#include <regex>

using namespace veltra;

namespace {

/// The tags of an interface's description in order, each with its attributes sorted.
Words tagsOf(const std::string& description, const std::string& interface)
{
    const auto start = description.find("<interface name=\"" + interface + "\"");
    const std::string text =
        description.substr(start, description.find("</interface>", start) - start);
    const std::regex tag{"<(\\w+)([^>]*)>"};
    const std::regex attribute{"\\w+=\"[^\"]*\""};
    Words tags;
    for (std::sregex_iterator found{text.begin(), text.end(), tag}; found != std::sregex_iterator{};
         ++found) {
        const std::string inside = (*found)[2];
        Words words{std::sregex_token_iterator{inside.begin(), inside.end(), attribute},
                    std::sregex_token_iterator{}};
        std::ranges::sort(words);
        tags.push_back((*found)[1]);
        for (const std::string& word : words)
            tags.back() += " " + word;
    }
    return tags;
}

std::string introspection(const std::string& path)
{
    const auto bus = joinBus();
    auto question =
        bus->methodCall(helperName, path, "org.freedesktop.DBus.Introspectable", "Introspect");
    auto answer = bus->call(question);
    std::string text;
    EXPECT_TRUE(answer && answer.value().read(text));
    return text;
}

/// The helper's object for the only connection.
std::string pathOfConnection()
{
    const std::string root = "/com/veltra/agentMonitor/helper";
    const std::string text = introspection(root);
    std::smatch node;
    EXPECT_TRUE(std::regex_search(text, node, std::regex{"<node name=\"(\\w+)\"/>"})) << text;
    return root + "/" + node[1].str();
}

/// The command with which an ordinary user sends a signal that looks like the bus's. What it
/// contains is to be appended.
std::string signalOfNobody(const std::string& receiver, const std::string& member)
{
    return "setpriv --reuid=65534 --clear-groups dbus-send --system --type=signal --dest=" +
           receiver + " /org/freedesktop/DBus org.freedesktop.DBus." + member;
}

} // namespace

TEST(HelperBus, IsWhatTheDescriptionSays)
{
    const std::string interface = "com.veltra.agentMonitor.HelperProtocol";
    Client client;
    client.version();

    const Words described = tagsOf(contentOf(VELTRA_TEST_HELPER_DESCRIPTION), interface);
    const Words exported = tagsOf(introspection(pathOfConnection()), interface);

    EXPECT_EQ(exported, described);
    EXPECT_EQ(std::ranges::count_if(described, [](auto& tag) { return tag.starts_with("method"); }),
              3);
}

// What a stranger may send to anybody on the bus.
TEST(HelperBus, BelievesNobodyButTheBusWhoHasLeft)
{
    Client client{asNobody({programs + "service_client"})};
    EXPECT_EQ(client.version(), "a version 1.0.0");
    const auto bus = joinBus();
    const std::string helper = askBus<std::string>(*bus, "GetNameOwner", helperName).value();
    const pid_t process = helperProcess();
    auto question = bus->methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                    "org.freedesktop.DBus", "ListNames");
    Words names;
    ASSERT_TRUE(bus->call(question).value().read(names));

    for (const std::string& name : names)
        outputOf(signalOfNobody(helper, "NameOwnerChanged") + " string:" + name +
                 " string:" + name + " string:");

    client.tell("run a printf true");
    EXPECT_EQ(client.lines(4), (Words{"a err ", "a exit 0", "a out ", "a out true"}));
    EXPECT_FALSE(ends(process, std::chrono::seconds{2}));
}

TEST(HelperBus, AnswersThoseWhoseDepartureIsForged)
{
    const auto bus = joinBus();
    Client client{asSomebody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");
    const std::string helper = askBus<std::string>(*bus, "GetNameOwner", helperName).value();
    ClientProgram silent{asNobody({programs + "signed_attacker", "silent"})};
    std::string name;
    ASSERT_TRUE(becomesTrue([&] { return !(name = nameOf(silent.pid(), *bus)).empty(); }));

    for (int i = 0; i < 10; ++i)
        outputOf(signalOfNobody(helper, "NameOwnerChanged") + " string:" + name +
                 " string:" + name + " string:");

    EXPECT_EQ(silent.line(), "refused it does not answer in time");
}

TEST(HelperBus, LivesOnWhateverTypesASignalHas)
{
    Client client{asSomebody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");
    const auto bus = joinBus();
    const std::string helper = askBus<std::string>(*bus, "GetNameOwner", helperName).value();
    const std::string program = nameOf(client.pid(), *bus);
    const pid_t process = helperProcess();

    for (const char* content : {"", " uint32:1", " array:string:a,b", " string:x string:y",
                                " variant:int32:1 string:x string:", " objpath:/a string: string:"})
        for (const std::string& receiver : {helper, program})
            EXPECT_EQ(outputOf(signalOfNobody(receiver, "NameOwnerChanged") + content), "");

    client.tell("run a printf true");
    EXPECT_EQ(client.lines(4), (Words{"a err ", "a exit 0", "a out ", "a out true"}));
    EXPECT_EQ(helperProcess(), process);
}
