#pragma once

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/kqueue/tests/KernelQueueTesting.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {

/// A real queue and a folder in which a test changes things.
class InotifyQueueTest : public testing::Test {
  protected:
    InotifyQueueTest()
    {
        auto queue = KernelQueue::open();
        if (!queue)
            throw std::runtime_error{queue.error().message()};

        queue_ = std::move(queue.value());
        elsewhere_.write("fence", "");
        fence_ = watchPath(*queue_, elsewhere_.file("fence"), "fence", everyNote);
    }

    [[nodiscard]] std::string path(const std::string& name) const { return folder_.file(name); }

    /// Watches a file or folder under its name; an empty file is created if it does not exist.
    void watch(const std::string& name, std::uint32_t fflags = everyNote)
    {
        if (!std::filesystem::exists(path(name)))
            folder_.write(name, "");
        watches_.insert_or_assign(name, watchPath(*queue_, path(name), name, fflags));
    }

    void unwatch(const std::string& name) { watches_.erase(name); }

    void makeFolder(const std::string& name) const
    {
        std::filesystem::create_directory(path(name));
    }

    void rename(const std::string& from, const std::string& to) const
    {
        std::filesystem::rename(path(from), path(to));
    }

    void remove(const std::string& name) const
    {
        if (!std::filesystem::remove(path(name)))
            throw std::runtime_error{name + " is not there"};
    }

    /// Everything that has happened so far and was not yet fetched, in order. Finally another file
    /// changes, so its event is known to come after all of theirs.
    [[nodiscard]] std::vector<Report> reports() const
    {
        elsewhere_.append("fence", "x");
        std::vector<Report> reports;
        for (Report report = nextReport(*queue_); report.name != "fence";
             report = nextReport(*queue_)) {
            reports.push_back(report);
            if (report.name.empty())
                break;
        }
        return reports;
    }

    /// The effect of `action` on `name`, which is watched meanwhile: the bits of its one event.
    [[nodiscard]] std::uint32_t changesOf(const std::string& name,
                                          const std::function<void()>& action)
    {
        watch(name);
        action();
        const auto all = reports();
        unwatch(name);
        EXPECT_LE(all.size(), 1U);
        return all.empty() ? 0U : all.front().fflags;
    }

    /// How many inodes the kernel watches for the queue, without the fence.
    [[nodiscard]] std::ptrdiff_t kernelWatches() const
    {
        std::ifstream info{"/proc/self/fdinfo/" + std::to_string(queue_->descriptor())};
        std::ptrdiff_t count = -1;
        for (std::string line; std::getline(info, line);)
            count += line.starts_with("inotify wd:") ? 1 : 0;
        return count;
    }

    TemporaryFolder folder_;
    TemporaryFolder elsewhere_;
    std::unique_ptr<KernelQueue> queue_;
    NamedWatch fence_;
    std::map<std::string, NamedWatch> watches_;
};

} // namespace veltra
