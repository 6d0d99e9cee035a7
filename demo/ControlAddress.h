#pragma once

#include "platform/base/Error.h"

#include <string>

#include <sys/socket.h>
#include <sys/un.h>

namespace veltra {

/// The address of the demonstration agent's control socket, as bind(2) and connect(2) take it.
class ControlAddress {
  public:
    /// Fails if the path is too long for a socket's address (108 bytes including the NUL).
    [[nodiscard]] static Result<ControlAddress> of(const std::string& path);

    [[nodiscard]] const sockaddr* data() const noexcept
    {
        return reinterpret_cast<const sockaddr*>(&address_);
    }
    [[nodiscard]] static socklen_t size() noexcept { return sizeof(sockaddr_un); }

  private:
    ControlAddress() = default;

    sockaddr_un address_{};
};

} // namespace veltra
