// A library is recognised on every file system, whatever device its kernel code prints.
#include "platform/base/ProcPath.h"
#include "platform/process/tests/PinnedProcessTesting.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace veltra {
namespace {

struct FileSystem {
    std::string name;
    std::string mountedBy; ///< shell words; $1 is the folder to mount at, $2 one for its files
};

std::string onLoopDevice(const std::string& name, const std::string& make)
{
    return "truncate -s 400M \"$2/image\" && " + make + " \"$2/image\" && mount -t " + name +
           " -o loop \"$2/image\" \"$1\"";
}

/// From now on the kernel does not give this process the files that others have mapped.
void giveUpMappedFiles()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> sets{};
    EXPECT_EQ(::syscall(SYS_capget, &header, sets.data()), 0);
    for (const unsigned capability : {CAP_SYS_ADMIN, CAP_CHECKPOINT_RESTORE})
        sets.at(CAP_TO_INDEX(capability)).effective &= ~CAP_TO_MASK(capability);
    EXPECT_EQ(::syscall(SYS_capset, &header, sets.data()), 0);
}

class LoadedCode : public PinnedProcessTest, public testing::WithParamInterface<FileSystem> {
  protected:
    /// Runs `body` with the file system at the folder that it is given.
    int run(const std::function<void(const std::string&)>& body)
    {
        const std::string place = folder().file("place");
        const std::string files = folder().file("files");
        fs::create_directory(place);
        fs::create_directory(files);
        const std::string mount =
            "{ " + GetParam().mountedBy + "; } >/dev/null 2>&1 && chmod 755 \"$1\"";
        return runInChild([&] {
            if (!enterOwnMounts() || !isMounted(mount, place, files))
                return refused;
            body(place);
            return 0;
        });
    }

  private:
    static bool isMounted(const std::string& mount, const std::string& place,
                          const std::string& files)
    {
        const std::string command = "sh -c '" + mount + "' sh " + place + " " + files;
        return std::system(command.c_str()) == 0;
    }
};

} // namespace

TEST_P(LoadedCode, IsThatOfTheFileAtItsPath)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have a library of root";
    const int result = run([](const std::string& place) {
        for (const char* name : {"/odd.so", "/odder.so"}) {
            const std::string path = place + name;
            fs::copy_file(VELTRA_TEST_ODD_LIBRARY, path);
            const AnsweringProcess process{rootsProgram, {.user = nobody, .preload = path}};
            EXPECT_EQ(objectionTo(process, nobody), none);

            // A different file with the same bytes is where the kernel says that it is.
            fs::remove(path);
            fs::copy_file(VELTRA_TEST_ODD_LIBRARY, path + " (deleted)");
            EXPECT_EQ(objectionTo(process, nobody),
                      path + " (deleted): it was replaced since it was loaded; "
                             "restarting the program helps");

            // And the same by what the kernel lists.
            giveUpMappedFiles();
        }
    });

    if (result == refused)
        GTEST_SKIP() << "for want of leave to mount " << GetParam().name;
    EXPECT_EQ(result, 0);
}

// The kernel lists the same device for all subvolumes, and each of them counts its own inodes.
TEST_F(PinnedProcessTest, ObjectsToALibraryOfTheSameInodeInAnotherSubvolume)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have a library of root";
    const std::string place = folder().file("place");
    const std::string image = folder().file("image");
    const std::string path = place + "/odd.so";
    const std::string make =
        "{ truncate -s 400M " + image + " && mkfs.btrfs -q " + image + " && mkdir " + place +
        " && mount -o loop " + image + " " + place + " && btrfs subvolume create " + place +
        "/users && btrfs subvolume create " + place + "/roots; } >/dev/null 2>&1";
    const int result = runInChild([&] {
        if (!enterOwnMounts() || std::system(make.c_str()) != 0)
            return refused;
        for (const char* subvolume : {"users", "roots"})
            fs::copy_file(VELTRA_TEST_ODD_LIBRARY, place + "/" + subvolume + "/odd.so");
        EXPECT_EQ(::chown((place + "/users/odd.so").c_str(), nobody, nobody), 0);
        EXPECT_EQ(inodeOf(Fd{::open((place + "/users/odd.so").c_str(), O_PATH | O_CLOEXEC)}),
                  inodeOf(Fd{::open((place + "/roots/odd.so").c_str(), O_PATH | O_CLOEXEC)}));
        const Fd roots{::open((place + "/roots").c_str(), O_PATH | O_CLOEXEC)};
        const auto bind = [&](const std::string& subvolume) {
            return ::mount(subvolume.c_str(), place.c_str(), nullptr, MS_BIND, nullptr);
        };

        EXPECT_EQ(bind(place + "/users"), 0);
        const AnsweringProcess process{rootsProgram, {.user = nobody, .preload = path}};
        EXPECT_EQ(objectionTo(process, nobody), path + ": it is loaded and not root's alone");
        EXPECT_EQ(bind(descriptorPath(roots.get())), 0);

        EXPECT_EQ(objectionTo(process, nobody),
                  path + ": it was replaced since it was loaded; restarting the program helps");
        return 0;
    });

    if (result == refused)
        GTEST_SKIP() << "for want of leave to mount btrfs";
    EXPECT_EQ(result, 0);
}

INSTANTIATE_TEST_SUITE_P(
    On, LoadedCode,
    testing::Values(
        FileSystem{"ext4", onLoopDevice("ext4", "mkfs.ext4 -q")},
        FileSystem{"xfs", onLoopDevice("xfs", "mkfs.xfs -q")},
        FileSystem{"btrfs", onLoopDevice("btrfs", "mkfs.btrfs -q")},
        FileSystem{"btrfs_subvolume",
                   onLoopDevice("btrfs", "mkfs.btrfs -q") +
                       " && btrfs subvolume create \"$1/sub\" && mount --bind \"$1/sub\" \"$1\""},
        FileSystem{"tmpfs", "mount -t tmpfs none \"$1\""},
        FileSystem{"overlay", "mkdir \"$2/upper\" \"$2/work\" \"$2/lower\" && mount -t overlay "
                              "-o \"lowerdir=$2/lower,upperdir=$2/upper,workdir=$2/work\" none "
                              "\"$1\""},
        FileSystem{"overlay_on_tmpfs",
                   "mount -t tmpfs none \"$2\" && mkdir \"$2/upper\" \"$2/work\" && mount -t "
                   "overlay -o \"lowerdir=/,upperdir=$2/upper,workdir=$2/work\" none \"$1\""}),
    [](const auto& fileSystem) { return fileSystem.param.name; });

} // namespace veltra
