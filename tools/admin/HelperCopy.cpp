#include "tools/admin/HelperCopy.h"

#include "channel/protocol/HelperConstants.h"
#include "platform/base/ProcPath.h"
#include "platform/signing/CodeSignature.h"
#include "platform/signing/CodeSigningStatus.h"
#include "platform/signing/RunningExecutable.h"
#include "tools/admin/InstalledFiles.h"

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/sendfile.h>

namespace veltra {

namespace {

namespace fs = std::filesystem;

using Certificates = std::vector<SecCertificate>;

// The certificates of a validly signed executable.
Result<Certificates> certificatesOf(int executable, const std::string& name)
{
    const auto signature = CodeSignature::read(executable);
    const OSStatus status =
        signature.object ? signature.object->verify(executable) : signature.status;
    if (status != errSecSuccess)
        return Error{codeSigningError(status), "trust", name};
    return signature.object->certificates();
}

Result<Certificates> ownCertificates()
{
    const auto executable = openOwnExecutable();
    if (executable.status != errSecSuccess)
        return Error{codeSigningError(executable.status), "open", "this program"};
    return certificatesOf(executable.object.get(), "this program");
}

Result<std::string> bundledHelper()
{
    std::error_code error;
    const fs::path self = fs::read_symlink(ownExecutablePath(), error);
    const fs::path folder = self.parent_path();
    if (error || folder.filename() != "Linux" || folder.parent_path().filename() != "Contents")
        return Error{adminError(AdminError::outsideOfBundle), "find the helper beside",
                     self.native()};
    return (folder.parent_path() / "Library/LaunchServices" / HelperConstants::machServiceName)
        .native();
}

Result<> copy(const std::string& from, int to)
{
    // Opening a named pipe must not make us wait for a writer while we hold the lock.
    const Fd source{::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    if (!source)
        return Error::last("open", from);

    ssize_t size = 1;
    while (size > 0)
        size = ::sendfile(to, source.get(), nullptr, std::numeric_limits<int>::max());
    if (size < 0)
        return Error::last("copy", from);
    return success;
}

} // namespace

Result<ReplacementFile> copyOfBundledHelper()
{
    const auto own = ownCertificates();
    if (!own)
        return own.error();
    const auto source = bundledHelper();
    if (!source)
        return source.error();
    auto file = ReplacementFile::createBeside(InstalledFiles::helper);
    if (!file)
        return file;
    if (const Result<> done = copy(source.value(), file.value().descriptor()); !done)
        return done.error();
    const auto certificates = certificatesOf(file.value().descriptor(), source.value());
    if (!certificates)
        return certificates.error();
    if (certificates.value() != own.value())
        return Error{adminError(AdminError::signedByOthers), "trust", source.value()};

    return file;
}

} // namespace veltra
