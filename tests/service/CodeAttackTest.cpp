// Who is refused because of the code that runs in a trusted program.
#include "tests/service/LoggedClient.h"
#include "tests/service/ServiceTesting.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace veltra;

namespace {

Words withLibrary(const std::string& library, const std::string& program = trusted)
{
    return {"env", "ASAN_OPTIONS=verify_asan_link_order=0",
            "LD_PRELOAD=" + programs + "libservice_" + library + ".so", program};
}

Words withFalse(const std::string& library)
{
    Words whole{"env", "VELTRA_TEST_FALSE_LIBRARY=" + library};
    const Words command = withLibrary("false_library");
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
}

/// A library of root's on a file system where files have small numbers, but not the smallest.
std::string rootsLibraryIn(const std::string& folder)
{
    for (int i = 0; i < 20; ++i)
        std::ofstream{folder + "/" + std::to_string(i)};
    const std::string path = folder + "/library.so";
    std::filesystem::copy_file(programs + "libprocess_odd_library.so", path,
                               std::filesystem::copy_options::overwrite_existing);
    return path;
}

/// Writes a byte of a process's own code into its memory once more, as another process of its user.
/// Whether the kernel permits that.
bool writeIntoCodeOf(pid_t process, const std::string& program)
{
    std::istringstream maps{contentOf("/proc/" + std::to_string(process) + "/maps")};
    std::string line;
    while (std::getline(maps, line) &&
           !(line.ends_with(" " + program) && line.find(" r-xp ") != std::string::npos)) {
    }
    const auto code = static_cast<off_t>(std::stoull(line, nullptr, 16));
    const pid_t writer = ::fork();
    if (writer == 0) {
        char byte = 0;
        const std::string path = "/proc/" + std::to_string(process) + "/mem";
        const bool isUser =
            ::setresgid(65534, 65534, 65534) == 0 && ::setresuid(65534, 65534, 65534) == 0;
        const int memory = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        const bool isWritten =
            isUser && ::pread(memory, &byte, 1, code) == 1 && ::pwrite(memory, &byte, 1, code) == 1;
        ::_exit(isWritten ? 0 : 1);
    }
    int status = 0;
    ::waitpid(writer, &status, 0);
    return status == 0;
}

} // namespace

TEST(CodeAttack, ALibraryOfTheSystemsThatDoesNoHarmIsLetIn)
{
    // Without this, the other attacks might fail for different reasons.
    Client client{asNobody({"env", "ASAN_OPTIONS=verify_asan_link_order=0",
                            "LD_PRELOAD=" + programs + "libprocess_odd_library.so", trusted})};

    EXPECT_EQ(client.version(), "a version 1.0.0");
}

TEST(CodeAttack, AUsersCopyOfTheTrustedProgramThatHidesItsCodeIsRefused)
{
    const std::string copy = programs + "copy";
    std::filesystem::copy_file(trusted, copy, std::filesystem::copy_options::overwrite_existing);
    ASSERT_EQ(::chown(copy.c_str(), 65534, 65534), 0);
    LoggedClient client{asNobody(withLibrary("hidden_code", copy))};

    EXPECT_EQ(client.refusal(), "its executable does not belong to root");
}

TEST(CodeAttack, ALibraryInWhosePlaceTheEnvironmentPutsAUsersIsRefused)
{
    const std::string copy = "/tmp/users/libsystemd.so.0";
    std::filesystem::create_directory("/tmp/users");
    outputOf("cp $(ldconfig -p | sed -n 's/.*libsystemd.so.0 .*=> //p' | head -1) " + copy);
    ASSERT_EQ(::chown(copy.c_str(), 65534, 65534), 0);
    LoggedClient client{asNobody({"env", "LD_LIBRARY_PATH=/tmp/users", trusted})};

    EXPECT_EQ(client.refusal(), copy + ": it is loaded and not root's alone");
}

TEST(CodeAttack, CodeThatAnotherProgramOfTheUsersWroteIsRefused)
{
    LoggedClient client{asNobody({trusted})};
    if (!writeIntoCodeOf(client.pid(), trusted))
        GTEST_SKIP() << "for want of a kernel that lets users write into their processes";

    EXPECT_EQ(client.refusal(), trusted + ": it was changed in memory");
}

TEST(CodeAttack, AFileWithTheNumberOfASystemLibraryIsNotTakenForIt)
{
    const std::string folder = programs + "roots";
    // On the overlay that all files here are on, and on a file system where stat(2) tells the same
    // numbers as the list of mappings.
    for (const char* mount : {"true", "mount -t tmpfs -o mode=755 none"}) {
        std::filesystem::create_directories(folder);
        ASSERT_EQ(outputOf(mount + (" " + folder)), "");
        const std::string library = rootsLibraryIn(folder);
        LoggedClient client{asNobody(withFalse(library))};

        EXPECT_EQ(client.refusal(),
                  library + ": it was replaced since it was loaded; restarting the program helps");
    }
    EXPECT_EQ(outputOf("umount -l " + folder + " && rm -r " + folder), "");
}

TEST(CodeAttack, APrograms65000MappingsAreNotAllRead)
{
    Client honest{asNobody({trusted})};
    EXPECT_EQ(honest.version(), "a version 1.0.0");
    const pid_t helper = helperProcess();
    [[maybe_unused]] const long before = statusOf(helper, "VmHWM");

    LoggedClient client{asNobody(withLibrary("many_mappings"))};
    ASSERT_GT(
        std::ranges::count(contentOf("/proc/" + std::to_string(client.pid()) + "/maps"), '\n'),
        65000);

    EXPECT_EQ(client.refusal(), "it has too many mappings");
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(statusOf(helper, "VmHWM") - before, 4 * 1024);
#endif
    EXPECT_EQ(honest.version(), "a version 1.0.0");
}

TEST(CodeAttack, ManyProgramsOfManyMappingsCostTheHelperLittle)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // With a sanitizer each takes long to start, and the helper's memory says nothing.
    constexpr int count = 2;
    constexpr long mostMemory = LONG_MAX;
#else
    constexpr int count = 10;
    constexpr long mostMemory = 64 * 1024;
#endif
    Client honest{asNobody({trusted})};
    EXPECT_EQ(honest.version(), "a version 1.0.0");
    const pid_t helper = helperProcess();
    std::vector<std::unique_ptr<Client>> attackers;
    for (int i = 0; i < count; ++i)
        attackers.push_back(std::make_unique<Client>(asNobody(withLibrary("many_mappings"))));

    for (const auto& attacker : attackers)
        attacker->tell("version a");
    for (const auto& attacker : attackers)
        EXPECT_EQ(attacker->lines(2), (Words{"a ended", "a failed"}));

    EXPECT_EQ(helperProcess(), helper);
    EXPECT_LT(statusOf(helper, "VmHWM"), mostMemory);
    EXPECT_EQ(honest.version(), "a version 1.0.0");
}
