#pragma once

#include "helper/CodesignCheckError.h"
#include "platform/process/PinnedProcess.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace veltra {

/// Whether clients are signed like this program. A result for a process is kept for as long as
/// somebody keeps that process: it runs the executable that it was pinned with, which cannot be
/// written to meanwhile. All functions may be called from any thread.
class ClientSignatures {
  public:
    using Client = std::shared_ptr<const PinnedProcess>;

    /// Whether the executable that the client was pinned with is signed by the same chain of
    /// certificates as this program. Throws CodesignCheckError as CodesignCheck does. Reads both
    /// executables, unless that has already been done for this client.
    [[nodiscard]] bool codeSigningMatches(const Client& client);

    /// Does the reading in advance.
    void examine(const Client& client);

  private:
    struct Finding {
        std::weak_ptr<const PinnedProcess> client;
        bool matches = false;
        std::optional<std::string> error; // the message of the exception that the check threw
    };

    [[nodiscard]] std::optional<Finding> known(const Client& client);

    std::mutex mutex_;
    std::vector<Finding> findings_; // guarded by the mutex
};

} // namespace veltra
