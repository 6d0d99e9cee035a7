#include "watch/VXStatusQueuePathEntry.h"

#include "platform/desktop/FileName.h"

#include <utility>

#include <fcntl.h>

namespace veltra {

std::shared_ptr<VXStatusQueuePathEntry> VXStatusQueuePathEntry::initWithPath(const QString& path,
                                                                             std::uint32_t flags)
{
    Fd descriptor{::open(bytesOfPath(path).c_str(), O_PATH | O_CLOEXEC)};
    if (!descriptor)
        return nullptr;
    return std::shared_ptr<VXStatusQueuePathEntry>{
        new VXStatusQueuePathEntry{path, std::move(descriptor), flags}};
}

VXStatusQueuePathEntry::VXStatusQueuePathEntry(QString path, Fd watchedFD, std::uint32_t flags)
    : path_{std::move(path)}, watchedFD_{std::move(watchedFD)}, subscriptionFlags_{flags}
{
}

void VXStatusQueuePathEntry::retainPath()
{
    const std::lock_guard lock{pathRefCountMutex_};
    ++pathRefCount_;
}

bool VXStatusQueuePathEntry::releasePath()
{
    const std::lock_guard lock{pathRefCountMutex_};
    return pathRefCount_-- == 1;
}

std::uint32_t VXStatusQueuePathEntry::pathRefCount() const
{
    const std::lock_guard lock{pathRefCountMutex_};
    return pathRefCount_;
}

} // namespace veltra
