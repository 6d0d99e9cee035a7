#pragma once

#include "platform/signing/CodeSigningServices.h"
#include "platform/signing/OpenSsl.h"
#include "platform/signing/SecCertificate.h"

#include <vector>

namespace veltra {

/// Puts a signature's certificates in order: the signer's own first, then its issuers up to the
/// anchor, which is self-signed.
///
/// The anchor is not checked against a trust store: the chain only says who signed, and the reader
/// compares the whole chain with one that it trusts. Each of `certificates`, including `signer`,
/// must have its place in the chain, each issuer must be permitted to issue, and the signer's
/// certificate must be for code signing. Validity dates are not checked.
[[nodiscard]] SecOutcome<std::vector<SecCertificate>>
certificateChain(X509* signer, STACK_OF(X509) * certificates);

} // namespace veltra
