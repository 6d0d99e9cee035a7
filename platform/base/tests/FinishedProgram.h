#pragma once

#include "platform/base/tests/FileBytes.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

/// Runs a program with the given paths as its standard streams and waits for its end. Returns its
/// exit status, or 128 plus the number of the signal that killed it.
inline int runProgram(std::vector<std::string> arguments, const std::array<std::string, 3>& streams)
{
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    for (std::size_t i = 0; i < streams.size(); ++i)
        ::posix_spawn_file_actions_addopen(&actions, static_cast<int>(i), streams[i].c_str(),
                                           i == 0 ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t child = 0;
    const int failure =
        ::posix_spawn(&child, argv.front(), &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failure != 0)
        throw std::system_error{failure, std::generic_category(), argv.front()};

    int status = 0;
    if (::waitpid(child, &status, 0) != child)
        throw std::system_error{errno, std::generic_category(), "waitpid"};
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// The results of a program that has ended.
struct FinishedProgram {
    int status = 0;
    std::string output;
    std::string error;
};

/// Runs a program without any input and keeps its output.
inline FinishedProgram finishedProgram(const std::vector<std::string>& arguments)
{
    const TemporaryFolder folder;
    const int status =
        runProgram(arguments, {"/dev/null", folder.file("output"), folder.file("error")});
    return {status, bytesOf(folder.file("output")), bytesOf(folder.file("error"))};
}

} // namespace veltra
