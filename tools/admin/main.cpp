// Does the few tasks of the monitor that need root, for users whom polkit authorizes.

#include "tools/admin/AdminLock.h"
#include "tools/admin/HardenedStart.h"
#include "tools/admin/HelperInstallation.h"
#include "tools/admin/OwnUnit.h"
#include "tools/admin/RightRegistration.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include <sysexits.h>
#include <unistd.h>

namespace {

using namespace veltra;

struct Verb {
    std::string_view name;
    Result<> (*run)();
};

constexpr std::array verbs{Verb{"bless", installHelper}, Verb{"add-right", addRights},
                           Verb{"change-right", changeRights}, Verb{"remove", removeEverything}};

int fail(int status, const std::string& line)
{
    std::fprintf(stderr, "%s\n", line.c_str());
    return status;
}

int failToDo(const Error& error)
{
    return fail(EX_SOFTWARE, "veltra-admin-tool: cannot " + error.message());
}

Result<> doAlone(const Verb& verb)
{
    const auto lock = lockOutOthers();
    if (!lock)
        return lock.error();
    return verb.run();
}

// The exit status. Failures are reported when the lock has been released: whoever reads our output
// may keep us waiting for ever.
int run(const Verb& verb)
{
    if (const auto hardened = hardenStart(); !hardened)
        return failToDo(hardened.error());
    if (isOwnUnitNeeded()) {
        const auto status = runInOwnUnit(verb.name);
        return status ? status.value() : failToDo(status.error());
    }
    const auto done = doAlone(verb);
    if (!done && done.error().code() == adminError(AdminError::rightExists)) {
        failToDo(done.error());
        return EX_CANTCREAT;
    }
    return done ? EX_OK : failToDo(done.error());
}

} // namespace

int main(int count, char** arguments)
{
    try {
        // polkit chose its action by the verb only; it did not check any further arguments.
        const auto* const verb = std::ranges::find(
            verbs, count == 2 ? std::string_view{arguments[1]} : std::string_view{}, &Verb::name);
        if (verb == verbs.end())
            return fail(EX_USAGE,
                        "usage: veltra-admin-tool bless | add-right | change-right | remove");
        if (::geteuid() != 0)
            return fail(EX_NOPERM, "veltra-admin-tool: only root may do this");
        return run(*verb);
    } catch (const std::exception& error) {
        return fail(EX_SOFTWARE, std::string{"veltra-admin-tool: "} + error.what());
    }
}
