#include "platform/base/Fd.h"

#include <utility>

#include <unistd.h>

namespace veltra {

Fd& Fd::operator=(Fd&& other) noexcept
{
    if (this != &other) {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = other.release();
    }
    return *this;
}

Fd::~Fd()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

int Fd::release() noexcept
{
    return std::exchange(descriptor_, -1);
}

} // namespace veltra
