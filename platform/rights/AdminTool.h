#pragma once

#include "platform/base/Error.h"

#include <string>

namespace veltra {

/// The program for tasks that need root: veltra-admin-tool.
///
/// Unless this process runs as root, pkexec starts the program, as a direct child of this process,
/// so that authorizations that this process has gained before also apply to it; see pkexec(1). The
/// program is given only a verb; everything else is compiled into it.
class AdminTool {
  public:
    enum class Verb {
        bless,       ///< installs the helper
        addRight,    ///< registers the rights if there are none
        changeRight, ///< registers them in any case
        remove,      ///< removes everything that the others installed
    };

    // Exit statuses with a special meaning; all but success are failures.
    static constexpr int success = 0;
    static constexpr int alreadyExists = 73; ///< there was nothing to add
    static constexpr int dismissed = 126;    ///< pkexec's
    static constexpr int notAuthorized = 127;

    struct Ending {
        int status = 0;      ///< the exit status, or the signal that ended the tool
        std::string message; ///< the standard error of the tool or of pkexec
    };

    /// `path` must be canonical: polkit finds the verb's action by exactly this path.
    explicit AdminTool(std::string path) : path_{std::move(path)} {}

    /// The tool in the folder of the running program.
    [[nodiscard]] static AdminTool besideProgram();

    /// The polkit action that the verb requires.
    [[nodiscard]] static std::string action(Verb verb);

    /// Runs the tool and waits for its end. May be called from any thread.
    ///
    /// After 10 s (60 s for installing) it is asked to terminate. It does so only until it is root;
    /// after that we keep waiting for it, because its work may be half done. Fails if it cannot be
    /// started.
    [[nodiscard]] Result<Ending> run(Verb verb) const;

  private:
    std::string path_;
};

} // namespace veltra
