#include "app/DesktopCopy.h"

#include "platform/base/Fd.h"
#include "platform/desktop/FileName.h"

#include <QSaveFile>

#include <algorithm>
#include <cstdint>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr std::size_t blockSize = std::size_t{1} << 20;

// Empty and 0 if there is nothing to copy.
struct Source {
    Fd file;
    std::uint64_t size = 0;
};

Source openRegular(const QString& path)
{
    // Without O_NONBLOCK, opening a FIFO would wait for a writer.
    Source source{
        Fd{::open(bytesOfPath(path).c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)}};
    struct stat status {};
    if (source.file && ::fstat(source.file.get(), &status) == 0 && S_ISREG(status.st_mode))
        source.size = static_cast<std::uint64_t>(status.st_size);
    return source;
}

bool copyInto(QSaveFile& target, const Source& source)
{
    std::vector<char> block(blockSize);
    for (std::uint64_t left = source.size; left > 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, blockSize));
        const ssize_t size = ::read(source.file.get(), block.data(), wanted);
        // The source was truncated meanwhile, or cannot be read: the copy contains what was read so
        // far.
        if (size <= 0)
            return true;
        if (target.write(block.data(), size) != size)
            return false;
        left -= static_cast<std::uint64_t>(size);
    }
    return true;
}

} // namespace

void copyReplacing(const QString& source, const QString& target)
{
    QSaveFile copy{target};
    if (!copy.open(QIODevice::WriteOnly))
        return;
    // A copy that is not committed is removed.
    if (copyInto(copy, openRegular(source)))
        copy.commit();
}

} // namespace veltra
