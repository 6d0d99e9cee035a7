#include "helper/CodesignCheck.h"

#include "helper/CodesignCheckError.h"
#include "platform/signing/LinuxCodeSigning.h"

#include <any>
#include <string>

namespace veltra {

namespace {

void check(OSStatus status, const CodeSigningServices& services)
{
    throwUnlessSuccess<CodesignCheckError>(status, services);
}

// The object that a call returned; throws if the call failed or returned no object.
template <typename T>
T copied(SecOutcome<T> outcome, const CodeSigningServices& services, const char* whenEmpty)
{
    check(outcome.status, services);
    if (!outcome.object)
        throw CodesignCheckError::message(whenEmpty);
    return std::move(outcome.object);
}

} // namespace

const CodeSigningServices& CodesignCheck::system()
{
    static const LinuxCodeSigning services;
    return services;
}

bool CodesignCheck::codeSigningMatches(std::int32_t pid, const CodeSigningServices& services)
{
    const Certificates own = codeSigningCertificatesForSelf(services);
    return own == codeSigningCertificates(pid, services);
}

CodesignCheck::Certificates
CodesignCheck::codeSigningCertificatesForSelf(const CodeSigningServices& services)
{
    return codeSigningCertificates(secStaticCodeSelf(services), services);
}

CodesignCheck::Certificates
CodesignCheck::codeSigningCertificates(std::int32_t forPID, const CodeSigningServices& services)
{
    return codeSigningCertificates(secStaticCode(forPID, services), services);
}

CodesignCheck::Certificates
CodesignCheck::codeSigningCertificates(const std::filesystem::path& forURL,
                                       const CodeSigningServices& services)
{
    const SecStaticCodeRef code =
        copied(services.SecStaticCodeCreateWithPath(forURL, kSecCSDefaultFlags), services,
               "SecStaticCode returned empty from SecStaticCodeCreateWithPath");
    return codeSigningCertificates(code, services);
}

SecStaticCodeRef CodesignCheck::secStaticCodeSelf(const CodeSigningServices& services)
{
    const SecCodeRef code = copied(services.SecCodeCopySelf(kSecCSDefaultFlags), services,
                                   "SecCode returned empty from SecCodeCopySelf");
    return secStaticCode(*code, services);
}

SecStaticCodeRef CodesignCheck::secStaticCode(std::int32_t forPID,
                                              const CodeSigningServices& services)
{
    const SecDictionary attributes{{kSecGuestAttributePid, forPID}};
    const SecCodeRef code =
        copied(services.SecCodeCopyGuestWithAttributes(nullptr, attributes, kSecCSDefaultFlags),
               services, "SecCode returned empty from SecCodeCopyGuestWithAttributes");
    return secStaticCode(*code, services);
}

SecStaticCodeRef CodesignCheck::secStaticCode(const SecCode& forSecCode,
                                              const CodeSigningServices& services)
{
    return copied(services.SecCodeCopyStaticCode(forSecCode, kSecCSDefaultFlags), services,
                  "SecStaticCode returned empty from SecCodeCopyStaticCode");
}

CodesignCheck::Certificates
CodesignCheck::codeSigningCertificates(const SecStaticCodeRef& forStaticCode,
                                       const CodeSigningServices& services)
{
    if (!forStaticCode)
        return {};
    check(services.SecStaticCodeCheckValidity(*forStaticCode,
                                              kSecCSDoNotValidateResources | kSecCSCheckNestedCode),
          services);
    const auto answer =
        services.SecCodeCopySigningInformation(*forStaticCode, kSecCSSigningInformation);
    check(answer.status, services);
    const auto* information = std::any_cast<SecDictionary>(&answer.object);
    if (!information)
        throw CodesignCheckError::message(
            "CFDictionary returned empty from SecCodeCopySigningInformation");

    const auto found = information->find(kSecCodeInfoCertificates);
    const auto* certificates =
        found == information->end() ? nullptr : std::any_cast<Certificates>(&found->second);
    return certificates ? *certificates : Certificates{};
}

} // namespace veltra
