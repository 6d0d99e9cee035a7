#pragma once

#include "platform/base/Error.h"

#include <string_view>

namespace veltra {

/// Why a process cannot be trusted to do what its executable says.
enum class Distrust {
    hasExited = 1,
    runsAnotherExecutable,
    isTraced,
    executableIsDeleted,
    executableIsNoFile,
    executableIsWritable,
    executableIsOnNosuidMount,
    executableIsNotRoots,
    runsAsAnotherUser,
    statusIsUnreadable,
    isFiltered,
    otherUserNamespace,
    otherPidNamespace,
    otherMountNamespace,
    otherRootFolder,
    hasNoMappings,
    hasTooManyMappings,
    codeWasReplaced,
    codeIsNotRoots,
    codeIsOnNosuidMount,
    codeIsWrittenTo,
};

/// The error for a reason. Its message is a clause about the process, or about the file with its
/// code that is given.
[[nodiscard]] Error distrust(Distrust reason, std::string_view file = {});

} // namespace veltra
