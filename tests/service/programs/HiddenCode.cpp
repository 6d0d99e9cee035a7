// A library that is loaded into a program and moves the program's code out of its file, so that no
// mapping tells whose the program is.
#include "tests/service/programs/CodeInNoFile.h"

[[gnu::constructor]] static void hideCode()
{
    intruder::moveOwnCodeOutOfItsFile();
}
