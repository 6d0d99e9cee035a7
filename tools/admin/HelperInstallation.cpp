#include "tools/admin/HelperInstallation.h"

#include "tools/admin/HelperCopy.h"
#include "tools/admin/HelperFiles.h"
#include "tools/admin/InstalledFiles.h"
#include "tools/admin/RunningServices.h"

#include <string_view>
#include <utility>

#include <unistd.h>

namespace veltra {

namespace {

using namespace InstalledFiles;

std::function<Result<>()> preparingFolderOf(const char* path)
{
    return [path] { return prepareFolderOf(path); };
}

std::function<Result<>()> installing(const char* path, std::string_view text)
{
    return [path, text] { return installText(path, text); };
}

std::function<Result<>()> removing(const char* path)
{
    return [path] { return removeInstalled(path); };
}

Result<> installExecutable()
{
    auto file = copyOfBundledHelper();
    if (!file)
        return file.error();
    return putInPlace(std::move(file.value()), 0755);
}

// The folders that the installation creates if they are missing. They stay if others use them too.
Result<> removeEmptyFolders()
{
    for (const char* folder :
         {"/Library/PrivilegedHelperTools", "/Library", "/usr/local/share/dbus-1/system-services",
          "/usr/local/share/dbus-1"})
        ::rmdir(folder);
    return success;
}

} // namespace

Result<> installHelper()
{
    return inOrder({preparingFolderOf(helper), preparingFolderOf(unit),
                    preparingFolderOf(busPolicy), preparingFolderOf(busService),
                    // Whatever a file refers to is installed before it.
                    installExecutable, installing(unit, HelperFiles::unit), reloadUnits,
                    installing(busPolicy, HelperFiles::busPolicy),
                    installing(busService, HelperFiles::busService), reloadBus, endHelper});
}

Result<> removeEverything()
{
    // The order makes sure that nothing can start the helper again after it was ended.
    return inOrder({removing(busService), reloadBus, endHelper, removing(unit), reloadUnits,
                    removing(busPolicy), removing(helper), removing(rights), removeEmptyFolders,
                    reloadBus});
}

} // namespace veltra
