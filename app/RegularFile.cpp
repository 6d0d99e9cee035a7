#include "app/RegularFile.h"

#include "platform/desktop/FileName.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace veltra {

Result<Fd> openRegularFile(const QString& path)
{
    const std::string name = bytesOfPath(path);
    // Without O_NONBLOCK, opening a FIFO would wait for a writer.
    Fd file{::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return Error::last("read", name);

    if (S_ISDIR(status.st_mode))
        return Error{std::make_error_code(std::errc::is_a_directory), "read", name};
    if (!S_ISREG(status.st_mode))
        return Error{std::make_error_code(std::errc::not_supported), "read", name};
    return file;
}

} // namespace veltra
