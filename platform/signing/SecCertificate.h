#pragma once

#include <string>
#include <utility>
#include <vector>

namespace veltra {

/// A certificate of a code signature. Two are equal if their bytes are. A value; may be copied
/// between threads.
class SecCertificate {
  public:
    /// `der` is the certificate's DER encoding; it is not validated here.
    explicit SecCertificate(std::vector<unsigned char> der) : der_{std::move(der)} {}

    [[nodiscard]] const std::vector<unsigned char>& der() const noexcept { return der_; }

    /// The subject's name as one line, the most specific part first (RFC 2253); empty if the bytes
    /// are not a certificate.
    [[nodiscard]] std::string subject() const;

    /// The SHA-256 of the content, as 64 hexadecimal digits.
    [[nodiscard]] std::string sha256Fingerprint() const;

    bool operator==(const SecCertificate&) const = default;

  private:
    std::vector<unsigned char> der_;
};

} // namespace veltra
