#pragma once

#include <memory>

#include <gtest/gtest.h>

namespace veltra {

/// Runs the tests on a separate system bus, by starting this program again where there is one:
/// through $VELTRA_TEST_PLACE if it is set, which is one of the scripts beside this file.
/// `listener` is for the program there. Returns the program's exit status.
[[nodiscard]] int runTestsOnSystemBus(int count, char** arguments,
                                      std::unique_ptr<testing::TestEventListener> listener);

} // namespace veltra
