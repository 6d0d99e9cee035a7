#include "demo/AgentLog.h"

#include <array>
#include <ctime>

#include <fcntl.h>
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
