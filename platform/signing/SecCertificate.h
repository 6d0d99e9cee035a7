#pragma once

#include <string>
#include <utility>
#include <vector>

namespace veltra {

/// A certificate of a code signature. Two are equal when their contents are, byte for byte. A
/// value; may be copied between threads.
class SecCertificate {
  public:
    /// `der` is the certificate's DER encoding; what it holds is not looked at here.
    explicit SecCertificate(std::vector<unsigned char> der) : der_{std::move(der)} {}

    [[nodiscard]] const std::vector<unsigned char>& der() const noexcept { return der_; }

    /// The subject's name as one line, the most specific part first (RFC 2253); empty when the
    /// bytes are no certificate.
    [[nodiscard]] std::string subject() const;

    /// The SHA-256 of the content, 64 digits.
    [[nodiscard]] std::string sha256Fingerprint() const;

    bool operator==(const SecCertificate&) const = default;

  private:
    std::vector<unsigned char> der_;
};

} // namespace veltra
