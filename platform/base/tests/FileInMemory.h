#pragma once

#include "platform/base/Fd.h"

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include <sys/mman.h>
#include <unistd.h>

namespace veltra {

/// An unnamed file, because thousands of files on a disk would take too long.
class FileInMemory {
  public:
    /// Replaces its content.
    void write(std::string_view bytes) const
    {
        if (::ftruncate(file_.get(), 0) != 0 || ::pwrite(file_.get(), bytes.data(), bytes.size(),
                                                         0) != static_cast<ssize_t>(bytes.size()))
            throw std::system_error{errno, std::generic_category(), "write a file in memory"};
    }

    [[nodiscard]] int descriptor() const noexcept { return file_.get(); }

    /// A path at which this process can open it.
    [[nodiscard]] std::string path() const
    {
        return "/proc/self/fd/" + std::to_string(file_.get());
    }

  private:
    Fd file_{::memfd_create("test", MFD_CLOEXEC)};
};

} // namespace veltra
