#pragma once

#include "platform/signing/CodeSigningServices.h"
#include "platform/signing/SecCertificate.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace veltra {

inline constexpr SecCSFlags kSecCSDefaultFlags = 0;

/// Decides whether a process may use the helper: its code must be signed by the same chain of
/// certificates as the helper's own.
///
/// There is no state. Every function may be called from any thread, reads the executables that it
/// is asked about, and throws CodesignCheckError if a call of the services fails. Nothing is
/// logged. `services` are the system's own unless given.
class CodesignCheck {
  public:
    /// A signature's certificates in order, the signer's own first.
    using Certificates = std::vector<SecCertificate>;

    CodesignCheck() = delete;

    /// Whether both signatures are valid and contain the same certificates in the same order.
    /// Signatures without any certificates match each other.
    [[nodiscard]] static bool codeSigningMatches(std::int32_t pid,
                                                 const CodeSigningServices& services = system());

    [[nodiscard]] static Certificates
    codeSigningCertificatesForSelf(const CodeSigningServices& services = system());

    [[nodiscard]] static Certificates
    codeSigningCertificates(std::int32_t forPID, const CodeSigningServices& services = system());

    /// The certificates of an executable, or of a bundle's main executable.
    [[nodiscard]] static Certificates
    codeSigningCertificates(const std::filesystem::path& forURL,
                            const CodeSigningServices& services = system());

  private:
    static const CodeSigningServices& system();

    static SecStaticCodeRef secStaticCodeSelf(const CodeSigningServices& services);
    static SecStaticCodeRef secStaticCode(std::int32_t forPID, const CodeSigningServices& services);
    static SecStaticCodeRef secStaticCode(const SecCode& forSecCode,
                                          const CodeSigningServices& services);
    static Certificates codeSigningCertificates(const SecStaticCodeRef& forStaticCode,
                                                const CodeSigningServices& services);
};

} // namespace veltra
