#pragma once

#include "platform/base/Error.h"

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace veltra {

/// The state of a file or folder at one moment, as far as a change of it would be a vnode event. A
/// value; may be copied between threads.
struct VnodeState {
    /// The file's name and its folder. Renaming that folder, or one above it, does not change this.
    /// The base is empty if the name cannot be determined.
    struct Name {
        dev_t parentDevice = 0;
        ino_t parentInode = 0;
        std::string base;

        bool operator==(const Name&) const = default;
    };

    /// Everything but the name. See fstat(2).
    [[nodiscard]] static Result<VnodeState> of(int descriptor);

    /// The current name of the file that `descriptor` refers to. See the links in proc_pid_fd(5).
    [[nodiscard]] static Name nameOf(int descriptor);

    [[nodiscard]] bool hasAttributesOf(const VnodeState& other) const noexcept
    {
        return mode == other.mode && owner == other.owner && group == other.group;
    }

    bool isFolder = false;
    std::int64_t size = 0;
    std::uint64_t linkCount = 1;
    mode_t mode = 0;
    uid_t owner = 0;
    gid_t group = 0;
    std::int64_t contentTime = 0; ///< of the last change of contents, in nanoseconds
    std::int64_t statusTime = 0;  ///< of the last change of anything, in nanoseconds
    Name name;
};

} // namespace veltra
