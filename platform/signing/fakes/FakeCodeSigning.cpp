#include "platform/signing/fakes/FakeCodeSigning.h"

#include <utility>

namespace veltra {

namespace {

class FakeCode : public SecCode {
  public:
    explicit FakeCode(FakeCodeSigning::Code code) : code_{std::move(code)} {}
    [[nodiscard]] const FakeCodeSigning::Code& code() const noexcept { return code_; }

  private:
    FakeCodeSigning::Code code_;
};

class FakeStaticCode : public SecStaticCode {
  public:
    explicit FakeStaticCode(FakeCodeSigning::Code code) : code_{std::move(code)} {}
    [[nodiscard]] const FakeCodeSigning::Code& code() const noexcept { return code_; }

  private:
    FakeCodeSigning::Code code_;
};

template <typename Map, typename Key>
const FakeCodeSigning::Code* find(const Map& map, const Key& key)
{
    const auto found = map.find(key);
    return found == map.end() ? nullptr : &found->second;
}

} // namespace

FakeCodeSigning::Code FakeCodeSigning::signedBy(std::vector<SecCertificate> certificates)
{
    return {.information = SecDictionary{{kSecCodeInfoCertificates, std::move(certificates)}}};
}

OSStatus FakeCodeSigning::begin(const std::string& call, SecCSFlags flags) const
{
    calls_.push_back(call + " " + std::to_string(flags));
    const auto failure = failing.find(call);
    return failure == failing.end() ? errSecSuccess : failure->second;
}

template <typename Made, typename T>
SecOutcome<T> FakeCodeSigning::answer(const std::string& call, SecCSFlags flags, const Code* code,
                                      OSStatus whenMissing) const
{
    if (const OSStatus status = begin(call, flags); status != errSecSuccess)
        return {status, nullptr};
    if (empty.contains(call))
        return {};
    if (!code)
        return {whenMissing, nullptr};
    return {errSecSuccess, std::make_shared<Made>(*code)};
}

SecOutcome<SecCodeRef> FakeCodeSigning::SecCodeCopySelf(SecCSFlags flags) const
{
    return answer<FakeCode, SecCodeRef>("SecCodeCopySelf", flags, &self, errSecSuccess);
}

SecOutcome<SecCodeRef> FakeCodeSigning::SecCodeCopyGuestWithAttributes(
    const SecCode* host, const SecDictionary& attributes, SecCSFlags flags) const
{
    const auto found = attributes.find(kSecGuestAttributePid);
    const auto* pid =
        found == attributes.end() ? nullptr : std::any_cast<std::int32_t>(&found->second);
    if (host || !pid || attributes.size() != 1)
        return {errSecCSInvalidRequest, nullptr};
    return answer<FakeCode, SecCodeRef>("SecCodeCopyGuestWithAttributes", flags, find(guests, *pid),
                                        errSecCSNoSuchCode);
}

SecOutcome<SecStaticCodeRef> FakeCodeSigning::SecCodeCopyStaticCode(const SecCode& code,
                                                                    SecCSFlags flags) const
{
    return answer<FakeStaticCode, SecStaticCodeRef>(
        "SecCodeCopyStaticCode", flags, &dynamic_cast<const FakeCode&>(code).code(), errSecSuccess);
}

SecOutcome<SecStaticCodeRef>
FakeCodeSigning::SecStaticCodeCreateWithPath(const std::filesystem::path& path,
                                             SecCSFlags flags) const
{
    return answer<FakeStaticCode, SecStaticCodeRef>("SecStaticCodeCreateWithPath", flags,
                                                    find(files, path), errSecCSNoStaticCode);
}

OSStatus FakeCodeSigning::SecStaticCodeCheckValidity(const SecStaticCode& code,
                                                     SecCSFlags flags) const
{
    const OSStatus status = begin("SecStaticCodeCheckValidity", flags);
    return status != errSecSuccess ? status
                                   : dynamic_cast<const FakeStaticCode&>(code).code().validity;
}

SecOutcome<std::any> FakeCodeSigning::SecCodeCopySigningInformation(const SecStaticCode& code,
                                                                    SecCSFlags flags) const
{
    const OSStatus status = begin("SecCodeCopySigningInformation", flags);
    if (status != errSecSuccess || empty.contains("SecCodeCopySigningInformation"))
        return {status, {}};
    return {errSecSuccess, dynamic_cast<const FakeStaticCode&>(code).code().information};
}

std::optional<std::string> FakeCodeSigning::SecCopyErrorMessageString(OSStatus status) const
{
    const auto found = texts.find(status);
    return found == texts.end() ? codeSigningText(status) : found->second;
}

} // namespace veltra
