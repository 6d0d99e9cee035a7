#pragma once

#include "tests/service/ServiceTesting.h"

#include <algorithm>
#include <string>

namespace veltra {

/// A client whose log can be read, wherever it goes.
class LoggedClient : public Client {
  public:
    explicit LoggedClient(const Words& command) : Client{withNewLog(command)} {}

    /// Why it has no connection, as its only log line says; it asks for the version.
    std::string refusal()
    {
        tell("version a");
        EXPECT_EQ(lines(2), (Words{"a ended", "a failed"}));
        EXPECT_TRUE(becomesTrue([this] { return log().ends_with('\n'); }));
        const std::string lines = log();
        const std::string start = "no connection to " + helperName + ": ";
        EXPECT_TRUE(lines.starts_with(start)) << lines;
        EXPECT_EQ(std::ranges::count(lines, '\n'), 1) << lines;
        return lines.substr(std::min(start.size(), lines.size()), lines.size() - start.size() - 1);
    }

  private:
    static Words withNewLog(const Words& command)
    {
        std::filesystem::remove("/tmp/client.log");
        Words whole{"sh", "-c", "exec \"$@\" 2>>/tmp/client.log", "sh"};
        whole.insert(whole.end(), command.begin(), command.end());
        return whole;
    }

    [[nodiscard]] std::string log() const
    {
        if (isUnderSystemd())
            return outputOf("journalctl --sync; journalctl -q -b -o cat --no-pager _PID=" +
                            std::to_string(pid()));
        return contentOf("/tmp/client.log");
    }
};

} // namespace veltra
