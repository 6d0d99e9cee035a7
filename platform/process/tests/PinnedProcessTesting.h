#pragma once

#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/process/PinnedProcess.h"
#include "platform/process/tests/AnsweringProcess.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace veltra {

namespace fs = std::filesystem;

inline constexpr uid_t nobody = 65534;
inline constexpr int refused = 77; ///< the answer of a child that lacks a permission
inline const std::string none;
inline const std::string rootsProgram = "/bin/cat";

inline bool isRoot()
{
    return ::geteuid() == 0;
}

/// A user whose processes are checked more thoroughly: this one, unless it is root.
inline uid_t ordinaryUser()
{
    return isRoot() ? nobody : ::geteuid();
}

/// With a new user namespace, no other namespace needs root's rights.
inline int withOwnUserUnlessRoot(int namespaces)
{
    return isRoot() ? namespaces : namespaces | CLONE_NEWUSER;
}

inline bool isOnNosuidMount(const std::string& path)
{
    struct statvfs mount {};
    return ::statvfs(path.c_str(), &mount) != 0 || (mount.f_flag & ST_NOSUID) != 0;
}

inline PinnedProcess pin(const AnsweringProcess& process)
{
    return std::move(PinnedProcess::open(process.pid()).value());
}

/// The error's message, or none.
inline std::string textOf(const Result<>& result)
{
    return result ? none : result.error().message();
}

inline std::string objectionTo(const PinnedProcess& pinned, uid_t user = ::geteuid())
{
    return textOf(pinned.check({.user = user, .busDaemon = ::getpid()}));
}

inline std::string objectionTo(const AnsweringProcess& process, uid_t user = ::geteuid())
{
    return objectionTo(pin(process), user);
}

inline std::string changeOf(const PinnedProcess& pinned)
{
    return textOf(pinned.checkUnchanged());
}

inline ino_t inodeOf(const Fd& file)
{
    struct stat status {};
    EXPECT_EQ(::fstat(file.get(), &status), 0);
    return status.st_ino;
}

inline bool put(const std::string& path, const std::string& text)
{
    return static_cast<bool>(std::ofstream{path} << text << std::flush);
}

/// Whether this process could leave the others' mount namespace. It stays the same user.
inline bool enterOwnMounts()
{
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(withOwnUserUnlessRoot(CLONE_NEWNS)) != 0)
        return false;
    if (user != "0" && !(put("/proc/self/setgroups", "deny") &&
                         put("/proc/self/uid_map", user + " " + user + " 1") &&
                         put("/proc/self/gid_map", group + " " + group + " 1")))
        return false;
    return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// Shared by the tests of one class in several files: a folder of executables that every user can
/// access.
class PinnedProcessTest : public testing::Test {
  protected:
    PinnedProcessTest() { fs::permissions(folder_.path(), fs::perms{0755}); }

    [[nodiscard]] const TemporaryFolder& folder() const { return folder_; }

    /// A copy that belongs to this user, for a test to change as it likes.
    [[nodiscard]] std::string copy(const std::string& file, const std::string& name) const
    {
        fs::copy_file(file, folder_.file(name));
        fs::permissions(folder_.file(name), fs::perms{0755});
        return folder_.file(name);
    }
    [[nodiscard]] std::string program() const { return copy(rootsProgram, "program"); }
    [[nodiscard]] std::string sleeper() const { return copy(VELTRA_TEST_ODD_SLEEPER, "sleeper"); }
    [[nodiscard]] std::string library() const { return copy(VELTRA_TEST_ODD_LIBRARY, "odd.so"); }

    [[nodiscard]] std::string usersLibrary() const
    {
        std::string path = library();
        EXPECT_TRUE(!isRoot() || ::chown(path.c_str(), nobody, nobody) == 0);
        return path;
    }

    /// A copy of a program in a folder whose file system has just started to number its inodes.
    [[nodiscard]] std::string copyWithInode(ino_t inode, const std::string& in) const
    {
        for (int i = 0; i < 100; ++i)
            if (auto path = copy(rootsProgram, in + std::to_string(i));
                inodeOf(Fd{::open(path.c_str(), O_PATH | O_CLOEXEC)}) == inode)
                return path;
        throw std::runtime_error{"the file system counts its inodes in another way"};
    }

    /// Runs `body` with a nosuid mount at `folder()`. Returns the same as runInChild(), or
    /// `refused` if this user may not mount.
    [[nodiscard]] int runOnNosuidMount(const std::function<void()>& body) const
    {
        return runInChild([&] {
            if (!enterOwnMounts() ||
                ::mount("none", folder_.path().c_str(), "tmpfs", MS_NOSUID, "mode=0755") != 0)
                return refused;
            body();
            return 0;
        });
    }

  private:
    TemporaryFolder folder_;
};

} // namespace veltra
