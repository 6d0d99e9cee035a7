#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace veltra {

/// What the helper does for its clients. Each completion is called once, when the work is done, or
/// never if it cannot be done.
class HelperProtocol {
  public:
    /// Receives the helper's version, "0" if it has none.
    using Version = std::function<void(const std::string&)>;
    /// Receives the exit status of the agent's command-line tool, or the number of the signal that
    /// ended it.
    using ExitStatus = std::function<void(std::int32_t)>;
    /// The external form of an authorization reference.
    using AuthorizationData = std::vector<std::uint8_t>;

    HelperProtocol() = default;
    HelperProtocol(const HelperProtocol&) = delete;
    HelperProtocol& operator=(const HelperProtocol&) = delete;
    virtual ~HelperProtocol() = default;

    virtual void getVersion(Version completion) = 0;

    /// Runs the agent's command-line tool with one argument. `withPath` is that argument, an option
    /// such as "-i", not a path.
    virtual void runCommand(const std::string& withPath, ExitStatus completion) = 0;
    virtual void runCommand(const std::string& withPath,
                            const std::optional<AuthorizationData>& authData,
                            ExitStatus completion) = 0;
};

} // namespace veltra
