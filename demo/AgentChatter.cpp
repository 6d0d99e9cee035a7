#include "demo/AgentChatter.h"

#include <array>
#include <span>

namespace veltra {

namespace {

struct Phrase {
    std::string_view component;
    int thread;
    std::string_view pattern; // '#' stands for a number, '%' for a small one, '@' for a server
};

constexpr std::array infos{
    Phrase{"vxsvc", 0, "Heartbeat # sent"},
    Phrase{"vxsvc", 0, "Worker pool: % idle, % busy"},
    Phrase{"vxsvc", 0, "Configuration revision # is in force"},
    Phrase{"vxsvc", 0, "Scheduled task # finished in # ms"},
    Phrase{"Policy", 1, "Policy set # applied"},
    Phrase{"Policy", 1, "Evaluated % rules for the local machine"},
    Phrase{"Policy", 1, "No change since revision #"},
    Phrase{"Inventory", 2, "Scan started"},
    Phrase{"Inventory", 2, "Scan finished: # packages, % changed"},
    Phrase{"Inventory", 2, "Report # queued for @"},
    Phrase{"Inventory", 2, "Software title “Büro für Größe & Maß” seen on % machines"},
    Phrase{"Network", 3, "Connected to @, round trip % ms"},
    Phrase{"Network", 3, "Sent # bytes to @"},
    Phrase{"Network", 3, "Session # resumed with @"},
    Phrase{"Network", 3, "Proxy settings unchanged: direct connection to @"},
    Phrase{"Updater", 4, "Agent is up to date: build #"},
    Phrase{"Updater", 4, "Package # verified"},
    Phrase{"Updater", 4, "Next look for updates in % min"},
    Phrase{"Scripts", 5, "Script # ended with status 0"},
};

constexpr std::array debugs{
    Phrase{"vxsvc", 0, "Timer # re-armed"},
    Phrase{"vxsvc", 0, "Queue depth %"},
    Phrase{"Policy", 1, "Rule # not applicable, skipped"},
    Phrase{"Inventory", 2, "Walked # folders in # ms"},
    Phrase{"Network", 3, "Request # to @ took % ms"},
    Phrase{"Network", 3, "Keep-alive # acknowledged by @"},
    Phrase{"Updater", 4, "Manifest of # entries unchanged"},
    Phrase{"Scripts", 5, "Environment of script # has % entries"},
};

constexpr std::array warnings{
    Phrase{"vxsvc", 0, "Heartbeat # is # ms late"},
    Phrase{"Policy", 1, "Rule # is deprecated and will be ignored from revision #"},
    Phrase{"Network", 3, "Slow answer from @: # ms"},
    Phrase{"Network", 3, "Certificate of @ expires in % days"},
    Phrase{"Updater", 4, "Not enough room for package #, trying again later"},
    Phrase{"Inventory", 2, "Folder /srv/données/équipe-% could not be read"},
};

constexpr std::array errors{
    Phrase{"Network", 3, "Connection to @ lost after % s"},
    Phrase{"Updater", 4, "Package # has the wrong checksum"},
    Phrase{"Scripts", 5, "Script # ended with status %"},
    Phrase{"Network", 3, "Lost @; last word was Info: session # open"},
    Phrase{"Policy", 1, "Revision # refused, staying with Info: revision # in force"},
    Phrase{"Updater", 4, "Download of package # failed (Info: tried % times)"},
    Phrase{
        "Scripts", 5,
        "Script # was stopped after % s without output; its last lines were Info: collecting the "
        "hardware summary: processor # MHz with 8 cores, memory # MB, disk # GB of which # GB are "
        "free, interface eth0 up with 1000 Mbit/s, interface wlan0 down, battery none; Info: "
        "sending the summary to @ with the next heartbeat, attempt % of 100"},
};

constexpr std::array<std::string_view, 4> servers{"relay1.veltra.example", "relay2.veltra.example",
                                                  "mgmt.veltra.example:8443", "10.0.40.12"};

struct Share {
    std::uint32_t belowPercent;
    std::string_view severity;
    std::span<const Phrase> phrases;
};

constexpr std::array shares{
    Share{60, "Info", infos},
    Share{85, "Debug", debugs},
    Share{95, "Warning", warnings},
    Share{100, "Error", errors},
};

} // namespace

AgentMessage AgentChatter::next()
{
    const std::uint32_t percent = below(100);
    std::size_t share = 0;
    while (percent >= shares.at(share).belowPercent)
        ++share;

    const auto phrases = shares.at(share).phrases;
    const Phrase& phrase = phrases[below(static_cast<std::uint32_t>(phrases.size()))];
    AgentMessage message{phrase.component, shares.at(share).severity, phrase.thread, {}};
    fillIn(phrase.pattern, message.text);
    return message;
}

std::uint32_t AgentChatter::below(std::uint32_t bound)
{
    return static_cast<std::uint32_t>(random_() % bound);
}

void AgentChatter::fillIn(std::string_view pattern, std::string& text)
{
    text.reserve(pattern.size() + 64);
    for (const char c : pattern) {
        if (c == '#')
            text += std::to_string(below(10'000));
        else if (c == '%')
            text += std::to_string(1 + below(99));
        else if (c == '@')
            text += servers.at(below(servers.size()));
        else
            text += c;
    }
}

} // namespace veltra
