#include "platform/signing/LinuxCodeSigning.h"

#include "platform/signing/CodeSignature.h"
#include "platform/signing/NestedCode.h"
#include "platform/signing/RunningExecutable.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace veltra {

namespace {

using SharedFd = std::shared_ptr<const Fd>;
using ReadSignature = SecOutcome<std::optional<CodeSignature>>;

class OpenedCode : public SecCode {
  public:
    explicit OpenedCode(SharedFd executable) : executable_{std::move(executable)} {}

    [[nodiscard]] const SharedFd& executable() const noexcept { return executable_; }

  private:
    SharedFd executable_;
};

class OpenedStaticCode : public SecStaticCode {
  public:
    explicit OpenedStaticCode(SharedFd executable)
        : executable_{std::move(executable)}, signature_{CodeSignature::read(executable_->get())}
    {
    }

    [[nodiscard]] int executable() const noexcept { return executable_->get(); }
    [[nodiscard]] const ReadSignature& signature() const noexcept { return signature_; }

  private:
    SharedFd executable_;
    ReadSignature signature_;
};

SecOutcome<SharedFd> shared(SecOutcome<Fd> file)
{
    return {file.status, std::make_shared<const Fd>(std::move(file.object))};
}

SecOutcome<SharedFd> executableOf(std::int32_t pid,
                                  const std::optional<LinuxCodeSigning::PinnedGuest>& guest)
{
    if (!guest)
        return shared(openExecutableOf(pid));
    if (guest->pid != pid)
        return {errSecCSNoSuchCode, nullptr};
    // The descriptor belongs to the code that pinned the guest.
    return {errSecSuccess, SharedFd{SharedFd{}, &guest->executable}};
}

bool isDeleted(const Fd& executable)
{
    struct stat status {};
    return ::fstat(executable.get(), &status) != 0 || status.st_nlink == 0;
}

OSStatus verifyNestedCode(int executable)
{
    const auto nested = openNestedCode(executable);
    if (nested.status != errSecSuccess)
        return nested.status;

    const bool areValid = std::ranges::all_of(nested.object, [](const Fd& code) {
        return CodeSignature::check(code.get()) == errSecSuccess;
    });
    return areValid ? errSecSuccess : errSecCSNestedCodeInvalid;
}

// Opening a named pipe must not make the caller wait for a writer.
SecOutcome<Fd> openCode(const std::filesystem::path& path)
{
    Fd file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
    if (!file)
        return {errno == ENOENT || errno == ENOTDIR ? errSecCSNoStaticCode : errSecCSCodeUnreadable,
                {}};
    struct stat status {};
    if (::fstat(file.get(), &status) != 0)
        return {errSecCSCodeUnreadable, {}};
    if (S_ISDIR(status.st_mode))
        return openMainExecutable(file.get());
    if (!S_ISREG(status.st_mode))
        return {errSecCSNoStaticCode, {}};

    return {errSecSuccess, std::move(file)};
}

std::optional<std::int32_t> pidIn(const SecDictionary& attributes)
{
    const auto found = attributes.find(kSecGuestAttributePid);
    if (attributes.size() != 1 || found == attributes.end())
        return std::nullopt;

    const auto* pid = std::any_cast<std::int32_t>(&found->second);
    return pid ? std::optional{*pid} : std::nullopt;
}

} // namespace

SecOutcome<SecCodeRef> LinuxCodeSigning::SecCodeCopySelf(SecCSFlags flags) const
{
    if (flags != 0)
        return {errSecCSInvalidRequest, nullptr};
    const SecOutcome<SharedFd> executable = shared(openOwnExecutable());
    if (executable.status != errSecSuccess)
        return {executable.status, nullptr};
    return {errSecSuccess, std::make_shared<OpenedCode>(executable.object)};
}

SecOutcome<SecCodeRef> LinuxCodeSigning::SecCodeCopyGuestWithAttributes(
    const SecCode* host, const SecDictionary& attributes, SecCSFlags flags) const
{
    const auto pid = pidIn(attributes);
    if (host || !pid || flags != 0)
        return {errSecCSInvalidRequest, nullptr};
    const SecOutcome<SharedFd> executable = executableOf(*pid, guest_);
    if (executable.status != errSecSuccess)
        return {executable.status, nullptr};
    if (isDeleted(*executable.object))
        return {errSecCSCodeDeleted, nullptr};

    return {errSecSuccess, std::make_shared<OpenedCode>(executable.object)};
}

SecOutcome<SecStaticCodeRef> LinuxCodeSigning::SecCodeCopyStaticCode(const SecCode& code,
                                                                     SecCSFlags flags) const
{
    const auto* opened = dynamic_cast<const OpenedCode*>(&code);
    if (!opened || flags != 0)
        return {errSecCSInvalidRequest, nullptr};
    return {errSecSuccess, std::make_shared<OpenedStaticCode>(opened->executable())};
}

SecOutcome<SecStaticCodeRef>
LinuxCodeSigning::SecStaticCodeCreateWithPath(const std::filesystem::path& path,
                                              SecCSFlags flags) const
{
    if (flags != 0 || path.native().find('\0') != std::string::npos)
        return {errSecCSInvalidRequest, nullptr};
    const SecOutcome<SharedFd> file = shared(openCode(path));
    if (file.status != errSecSuccess)
        return {file.status, nullptr};
    return {errSecSuccess, std::make_shared<OpenedStaticCode>(file.object)};
}

OSStatus LinuxCodeSigning::SecStaticCodeCheckValidity(const SecStaticCode& code,
                                                      SecCSFlags flags) const
{
    const auto* opened = dynamic_cast<const OpenedStaticCode*>(&code);
    if (!opened || (flags & ~(kSecCSDoNotValidateResources | kSecCSCheckNestedCode)) != 0)
        return errSecCSInvalidRequest;
    const ReadSignature& signature = opened->signature();
    const OSStatus status =
        signature.object ? signature.object->verify(opened->executable()) : signature.status;
    if (status != errSecSuccess || !(flags & kSecCSCheckNestedCode))
        return status;

    return verifyNestedCode(opened->executable());
}

SecOutcome<std::any> LinuxCodeSigning::SecCodeCopySigningInformation(const SecStaticCode& code,
                                                                     SecCSFlags flags) const
{
    const auto* opened = dynamic_cast<const OpenedStaticCode*>(&code);
    if (!opened || (flags & ~kSecCSSigningInformation) != 0)
        return {errSecCSInvalidRequest, {}};
    const ReadSignature& signature = opened->signature();
    if (!signature.object)
        return {signature.status, {}};

    SecDictionary information;
    if (flags & kSecCSSigningInformation) {
        information[kSecCodeInfoCertificates] = signature.object->certificates();
        information[kSecCodeInfoSignedSize] = signature.object->signedSize();
    }
    return {errSecSuccess, std::move(information)};
}

std::optional<std::string> LinuxCodeSigning::SecCopyErrorMessageString(OSStatus status) const
{
    return codeSigningText(status);
}

} // namespace veltra
