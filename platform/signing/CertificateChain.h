#pragma once

#include "platform/signing/CodeSigningServices.h"
#include "platform/signing/OpenSsl.h"
#include "platform/signing/SecCertificate.h"

#include <vector>

namespace veltra {

/// Puts a signature's certificates in order: the signer's own first, then its issuers up to the
/// anchor, which is the one that signed itself.
///
/// The anchor is trusted because it is there: the chain says who signed, and whoever reads it
/// compares it whole with one that he trusts. Each of `certificates`, `signer` among them, must
/// have its place in the chain, each issuer must be fit to issue, and the signer's certificate
/// must be meant for code signing. How old they are is not looked at.
[[nodiscard]] SecOutcome<std::vector<SecCertificate>>
certificateChain(X509* signer, STACK_OF(X509) * certificates);

} // namespace veltra
