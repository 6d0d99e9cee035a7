#include "platform/desktop/fakes/FakeWorkspace.h"

namespace veltra {

void FakeWorkspace::noteFileSystemChanged(const QString& path)
{
    const std::lock_guard lock{mutex_};
    notedPaths_.append(path);
}

QStringList FakeWorkspace::notedPaths() const
{
    const std::lock_guard lock{mutex_};
    return notedPaths_;
}

} // namespace veltra
