#pragma once

#include "platform/base/Error.h"

#include <string>

namespace veltra {

/// The program that does as root what takes root: veltra-admin-tool.
///
/// Unless this process is root's the program is started by pkexec, as a child of this very
/// process, so that it finds authorized what the process has gained before; see pkexec(1). It is
/// told a verb and nothing more: all else is compiled into it.
class AdminTool {
  public:
    enum class Verb {
        bless,       ///< installs the helper
        addRight,    ///< registers the rights where there are none
        changeRight, ///< registers them in any case
        remove,      ///< takes away all that the others installed
    };

    // Exit statuses with a meaning of their own; all but success are failures.
    static constexpr int success = 0;
    static constexpr int alreadyExists = 73; ///< there was nothing to add
    static constexpr int dismissed = 126;    ///< pkexec's
    static constexpr int notAuthorized = 127;

    struct Ending {
        int status = 0;      ///< the exit status, or the signal that ended it
        std::string message; ///< what it, or pkexec, wrote to its standard error
    };

    /// `path` must be canonical: by it, as it is written, polkit finds the verb's action.
    explicit AdminTool(std::string path) : path_{std::move(path)} {}

    /// The tool that is shipped in the folder of the running program.
    [[nodiscard]] static AdminTool besideProgram();

    /// The polkit action that the verb takes.
    [[nodiscard]] static std::string action(Verb verb);

    /// Runs the tool and waits for its end. From any thread.
    ///
    /// After 10 s, and after 60 s for installing, it is asked to terminate. Until it is root it
    /// does; afterwards it is waited for further, as nobody could say what it left half done.
    /// Fails when it cannot be started.
    [[nodiscard]] Result<Ending> run(Verb verb) const;

  private:
    std::string path_;
};

} // namespace veltra
