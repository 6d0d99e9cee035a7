#include "tools/PrivateLog.h"

#include "platform/base/ProcPath.h"
#include "platform/base/WriteAll.h"

#include <filesystem>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr std::size_t atOnce = std::size_t{1} << 30;
constexpr std::size_t blockSize = std::size_t{256} << 10;

bool copyThroughMemory(int from, int to)
{
    std::vector<char> block(blockSize);
    ssize_t count = 0;
    while ((count = ::read(from, block.data(), blockSize)) > 0)
        if (!writeAll(to, {block.data(), static_cast<std::size_t>(count)}))
            return false;
    return count == 0;
}

// Copies inside the kernel if possible; not all kinds of files support that.
bool copyBytes(int from, int to)
{
    while (::copy_file_range(from, nullptr, to, nullptr, atOnce, 0) > 0) {
    }
    return copyThroughMemory(from, to);
}

Fd temporaryFile()
{
    return Fd{::open(std::filesystem::temp_directory_path().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC,
                     S_IRUSR | S_IWUSR)};
}

} // namespace

Result<PrivateLog> PrivateLog::create()
{
    Fd file = temporaryFile();
    if (!file)
        return Error::last("make", "a private log");
    return PrivateLog{std::move(file)};
}

Result<> PrivateLog::appendFile(const std::string& path)
{
    const Fd source{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (!source)
        return Error::last("read", path);

    if (!copyBytes(source.get(), file_.get()))
        return Error::last("copy", path);
    return success;
}

std::string PrivateLog::path() const
{
    return descriptorPath(file_.get());
}

} // namespace veltra
