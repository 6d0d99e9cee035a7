#include "platform/signing/FilePart.h"

#include <algorithm>
#include <cerrno>

#include <unistd.h>

namespace veltra {

BioPointer FilePart::open()
{
    static const BioMethodPointer method = [] {
        BioMethodPointer made{
            BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "file part")};
        if (made) {
            BIO_meth_set_read(made.get(), [](BIO* bio, char* bytes, int size) {
                return static_cast<FilePart*>(BIO_get_data(bio))->read(bytes, size);
            });
            BIO_meth_set_ctrl(made.get(), [](BIO*, int command, long, void*) {
                return command == BIO_CTRL_FLUSH ? 1L : 0L;
            });
        }
        return made;
    }();
    BioPointer bio{method ? BIO_new(method.get()) : nullptr};
    if (bio) {
        BIO_set_data(bio.get(), this);
        BIO_set_init(bio.get(), 1);
    }
    return bio;
}

int FilePart::read(char* bytes, int size)
{
    const auto wanted = std::min(static_cast<std::uint64_t>(std::max(size, 0)), end_ - offset_);
    ssize_t count = 0;
    do
        count = ::pread(descriptor_, bytes, wanted, static_cast<off_t>(offset_));
    while (count < 0 && errno == EINTR);

    hasFailed_ = hasFailed_ || count < 0;
    if (count > 0)
        offset_ += static_cast<std::uint64_t>(count);
    return static_cast<int>(count);
}

} // namespace veltra
