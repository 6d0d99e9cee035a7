#include "demo/AgentLog.h"

#include <array>
#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

std::string stampedStem()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 64> text{};
    const auto length = std::strftime(text.data(), text.size(), "vxsvc_%Y%m%d_%H%M%S", &parts);
    return {text.data(), length};
}

std::string candidateName(const std::string& stem, int attempt)
{
    return attempt == 1 ? stem + ".log" : stem + "_" + std::to_string(attempt) + ".log";
}

// Empty if there is no log in the folder.
std::string nameOfLastWritten(const std::string& folder)
{
    std::string last;
    std::filesystem::file_time_type lastWritten{};
    std::error_code unread;
    for (const auto& entry : std::filesystem::directory_iterator{folder, unread}) {
        std::string name = entry.path().filename();
        const auto written = entry.last_write_time(unread);
        if (!unread && name.starts_with("vxsvc_") && (last.empty() || written > lastWritten)) {
            last = std::move(name);
            lastWritten = written;
        }
    }
    return last;
}

} // namespace

Result<AgentLog> AgentLog::create(std::string folder)
{
    const std::string stem = stampedStem();
    for (int attempt = 1;; ++attempt) {
        std::string name = candidateName(stem, attempt);
        const std::string path = folder + name;
        Fd file{::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0644)};
        if (file)
            return AgentLog{std::move(folder), std::move(name), std::move(file)};

        if (errno != EEXIST)
            return Error::last("create log", path);
    }
}

Result<AgentLog> AgentLog::resume(std::string folder)
{
    std::string name = nameOfLastWritten(folder);
    if (name.empty())
        return create(std::move(folder));

    const std::string path = folder + name;
    Fd file{::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)};
    if (!file)
        return Error::last("open log", path);
    return AgentLog{std::move(folder), std::move(name), std::move(file)};
}

bool AgentLog::isEmpty() const
{
    struct stat status {};
    return ::fstat(file_.get(), &status) == 0 && status.st_size == 0;
}

Result<> AgentLog::write(std::string_view line)
{
    const ssize_t written = ::write(file_.get(), line.data(), line.size());
    if (written < 0)
        return Error::last("write log", name_);

    if (static_cast<std::size_t>(written) < line.size())
        return Error{std::make_error_code(std::errc::no_space_on_device), "write log", name_};
    return success;
}

Result<> AgentLog::rotate()
{
    auto next = create(folder_);
    if (!next)
        return next.error();

    *this = std::move(next.value());
    return success;
}

Result<> AgentLog::truncate()
{
    if (::ftruncate(file_.get(), 0) != 0)
        return Error::last("truncate log", name_);
    return success;
}

} // namespace veltra
