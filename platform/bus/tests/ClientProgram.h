#pragma once

#include "platform/base/Fd.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

/// A program that is controlled line by line. It is killed with the object, if it has not ended.
class ClientProgram {
  public:
    using Words = std::vector<std::string>;

    explicit ClientProgram(Words command)
    {
        std::array<int, 2> input{};
        std::array<int, 2> output{};
        if (::pipe2(input.data(), O_CLOEXEC) != 0 || ::pipe2(output.data(), O_CLOEXEC) != 0)
            throw std::system_error{errno, std::generic_category(), "pipe2"};
        const Fd programsInput{input[0]};
        const Fd programsOutput{output[1]};
        input_ = Fd{input[1]};
        output_ = Fd{output[0]};

        posix_spawn_file_actions_t actions{};
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, programsInput.get(), 0);
        posix_spawn_file_actions_adddup2(&actions, programsOutput.get(), 1);
        std::vector<char*> arguments;
        for (std::string& word : command)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const int failure =
            ::posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (failure != 0)
            throw std::system_error{failure, std::generic_category(), "posix_spawnp"};
    }

    ClientProgram(const ClientProgram&) = delete;
    ClientProgram& operator=(const ClientProgram&) = delete;

    ~ClientProgram()
    {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }

    void tell(const std::string& line) const
    {
        const std::string whole = line + "\n";
        if (::write(input_.get(), whole.data(), whole.size()) != static_cast<ssize_t>(whole.size()))
            throw std::system_error{errno, std::generic_category(), "write"};
    }

    /// The next line; if there is none, the reason in angle brackets.
    [[nodiscard]] std::string line(std::chrono::milliseconds patience = std::chrono::seconds{30})
    {
        const auto end = std::chrono::steady_clock::now() + patience;
        for (;;) {
            const auto found = buffer_.find('\n');
            if (found != std::string::npos) {
                std::string first = buffer_.substr(0, found);
                buffer_.erase(0, found + 1);
                return first;
            }
            pollfd readable{output_.get(), POLLIN, 0};
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
            if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) == 0)
                return "<nothing in time>";
            std::array<char, 65536> piece{};
            const ssize_t size = ::read(output_.get(), piece.data(), piece.size());
            if (size <= 0)
                return "<end>";
            buffer_.append(piece.data(), static_cast<std::size_t>(size));
        }
    }

    /// Several lines, sorted: for output whose order is undefined.
    [[nodiscard]] Words lines(std::size_t count)
    {
        Words words;
        while (words.size() < count) {
            words.push_back(line());
            if (words.back().starts_with('<'))
                break;
        }
        std::ranges::sort(words);
        return words;
    }

    /// Reads up to the line `wanted`; false if it does not come.
    [[nodiscard]] bool hears(const std::string& wanted)
    {
        for (;;) {
            const std::string heard = line();
            if (heard == wanted)
                return true;
            if (heard == "<end>" || heard == "<nothing in time>")
                return false;
        }
    }

    /// Closes its input.
    void closeInput() { input_ = Fd{}; }

    void kill(int signal) const { ::kill(pid_, signal); }

    /// Waits for the end: the exit status, or 128 plus the signal number.
    int wait()
    {
        int status = 0;
        ::waitpid(std::exchange(pid_, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    Fd input_;
    Fd output_;
    std::string buffer_;
    pid_t pid_ = 0;
};

} // namespace veltra
