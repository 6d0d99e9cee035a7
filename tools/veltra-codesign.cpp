// Signs executables, verifies them, and shows who signed them.

#include "platform/signing/CodeSigner.h"
#include "platform/signing/LinuxCodeSigning.h"
#include "platform/signing/SecCertificate.h"

#include <algorithm>
#include <any>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace veltra;

using Arguments = std::span<const std::string>;

constexpr const char* usage = "usage: veltra-codesign sign --key KEY --certs CHAIN FILE...\n"
                              "       veltra-codesign verify FILE...\n"
                              "       veltra-codesign show FILE\n";

int refuse()
{
    std::fputs(usage, stderr);
    return 2;
}

bool areFiles(Arguments arguments)
{
    for (const std::string& argument : arguments)
        if (argument.empty() || argument.starts_with("-"))
            return false;
    return !arguments.empty();
}

int fail(const Error& error)
{
    std::fprintf(stderr, "veltra-codesign: cannot %s\n", error.message().c_str());
    return EXIT_FAILURE;
}

int fail(const std::string& file, OSStatus status)
{
    const std::string text = codeSigningText(status).value_or(std::to_string(status));
    std::fprintf(stderr, "veltra-codesign: %s: %s\n", file.c_str(), text.c_str());
    return EXIT_FAILURE;
}

int sign(Arguments arguments)
{
    if (arguments.size() < 5 || arguments[0] != "--key" || arguments[2] != "--certs" ||
        !areFiles(arguments.subspan(4)))
        return refuse();
    const auto signer = CodeSigner::open(arguments[1], arguments[3]);
    if (!signer)
        return fail(signer.error());

    for (const std::string& file : arguments.subspan(4))
        if (const auto result = signer.value().sign(file); !result)
            return fail(result.error());
    return EXIT_SUCCESS;
}

OSStatus verify(const std::string& file)
{
    const LinuxCodeSigning services;
    const auto code = services.SecStaticCodeCreateWithPath(file, 0);
    if (code.status != errSecSuccess)
        return code.status;
    return services.SecStaticCodeCheckValidity(*code.object, kSecCSCheckNestedCode);
}

// Every file is checked, even after a failure.
int verify(Arguments files)
{
    if (!areFiles(files))
        return refuse();

    int result = EXIT_SUCCESS;
    for (const std::string& file : files)
        if (const OSStatus status = verify(file); status != errSecSuccess)
            result = fail(file, status);
        else
            std::printf("%s: valid\n", file.c_str());
    return result;
}

void print(const SecDictionary& information)
{
    std::printf("signed bytes: %llu\n",
                static_cast<unsigned long long>(
                    std::any_cast<std::uint64_t>(information.at(kSecCodeInfoSignedSize))));
    const auto& certificates =
        std::any_cast<const std::vector<SecCertificate>&>(information.at(kSecCodeInfoCertificates));
    for (const SecCertificate& certificate : certificates)
        std::printf("%s: %s\n  sha256: %s\n",
                    &certificate == &certificates.front() ? "signer" : "issuer",
                    certificate.subject().c_str(), certificate.sha256Fingerprint().c_str());
}

int show(Arguments files)
{
    if (!areFiles(files) || files.size() != 1)
        return refuse();

    const LinuxCodeSigning services;
    const auto code = services.SecStaticCodeCreateWithPath(files[0], 0);
    if (code.status != errSecSuccess)
        return fail(files[0], code.status);
    // If the signature does not match the file, its signer did not sign this file.
    if (const OSStatus status = services.SecStaticCodeCheckValidity(*code.object, 0);
        status != errSecSuccess)
        return fail(files[0], status);
    const auto information =
        services.SecCodeCopySigningInformation(*code.object, kSecCSSigningInformation);
    if (information.status != errSecSuccess)
        return fail(files[0], information.status);

    print(std::any_cast<const SecDictionary&>(information.object));
    return EXIT_SUCCESS;
}

int run(Arguments arguments)
{
    const std::string verb = arguments.empty() ? std::string{} : arguments.front();
    if (verb == "sign")
        return sign(arguments.subspan(1));
    if (verb == "verify")
        return verify(arguments.subspan(1));
    if (verb == "show")
        return show(arguments.subspan(1));
    return refuse();
}

bool isWritten()
{
    if (std::fflush(stdout) == 0)
        return true;
    std::perror("veltra-codesign: cannot write");
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const std::vector<std::string> arguments{argv + std::min(argc, 1), argv + argc};
        const int result = run(arguments);
        return isWritten() ? result : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "veltra-codesign: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
