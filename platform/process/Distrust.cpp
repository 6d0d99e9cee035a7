#include "platform/process/Distrust.h"

#include "platform/base/TextCategory.h"

#include <string>

namespace veltra {

namespace {

const char* textOf(Distrust reason)
{
    switch (reason) {
    case Distrust::hasExited:
        return "it has exited";
    case Distrust::runsAnotherExecutable:
        return "it runs another executable";
    case Distrust::isTraced:
        return "it is traced";
    case Distrust::executableIsDeleted:
        return "its executable was deleted";
    case Distrust::executableIsNoFile:
        return "its executable is no plain file";
    case Distrust::executableIsWritable:
        return "others may write to its executable";
    case Distrust::executableIsOnNosuidMount:
        return "its executable is on a nosuid mount";
    case Distrust::executableIsNotRoots:
        return "its executable does not belong to root";
    case Distrust::runsAsAnotherUser:
        return "it runs as another user";
    case Distrust::statusIsUnreadable:
        return "its status cannot be read";
    case Distrust::isFiltered:
        return "it is under a seccomp filter of its own";
    case Distrust::otherUserNamespace:
        return "it is in another user namespace";
    case Distrust::otherPidNamespace:
        return "it is in another pid namespace";
    case Distrust::otherMountNamespace:
        return "it is in another mount namespace";
    case Distrust::otherRootFolder:
        return "its root folder is another one";
    case Distrust::hasNoMappings:
        return "it has no executable mappings";
    case Distrust::hasTooManyMappings:
        return "it has too many mappings";
    case Distrust::codeWasReplaced:
        return "it was replaced since it was loaded; restarting the program helps";
    case Distrust::codeIsNotRoots:
        return "it is loaded and not root's alone";
    case Distrust::codeIsOnNosuidMount:
        return "it is loaded from a nosuid mount";
    case Distrust::codeIsWrittenTo:
        return "it was changed in memory";
    }
    return "unknown reason";
}

} // namespace

Error distrust(Distrust reason, std::string_view file)
{
    static const TextCategory category{
        "distrust", [](int value) -> std::string { return textOf(static_cast<Distrust>(value)); }};
    return Error{{static_cast<int>(reason), category}, file};
}

} // namespace veltra
