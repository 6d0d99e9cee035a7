#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

/// Runs `body` in a child process, for things that a test must not do to its own process: becoming
/// another user, limits, mounts. The process must have no other threads. Returns the result of
/// `body`, 125 if an assertion in it failed, 126 if it threw, and 128 plus the signal number if a
/// signal killed it.
inline int runInChild(const std::function<int()>& body)
{
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0)
        throw std::system_error{errno, std::generic_category(), "fork"};

    if (child == 0) {
        int result = 126;
        try {
            result = body();
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "child: %s\n", failure.what());
        }
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? 125 : result);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child)
        throw std::system_error{errno, std::generic_category(), "waitpid"};

    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace veltra
