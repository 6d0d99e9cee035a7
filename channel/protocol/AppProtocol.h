#pragma once

#include <string>

namespace veltra {

/// What the helper can send to a client: pieces of a command's output, of any length and cut
/// anywhere between characters, as they were read from the pipe. A piece may be empty.
class AppProtocol {
  public:
    AppProtocol() = default;
    AppProtocol(const AppProtocol&) = delete;
    AppProtocol& operator=(const AppProtocol&) = delete;
    virtual ~AppProtocol() = default;

    virtual void logWithStdOut(const std::string& text) = 0;
    virtual void logWithStdErr(const std::string& text) = 0;
};

} // namespace veltra
