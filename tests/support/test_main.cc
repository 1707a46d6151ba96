// Entry of every test program.
#include <gtest/gtest.h>

#include "support/child.h"
#include "support/no_terminal.h"

#ifdef __SANITIZE_THREAD__
// Tests of how a process ends would wait for a second each.
extern "C" const char* __tsan_default_options();
const char* __tsan_default_options() {
    return "atexit_sleep_ms=50";
}

// The sanitizer sees what oneTBB asks of the C library, but not the ordering inside of oneTBB, which is not
// instrumented.
extern "C" const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {
    return "called_from_lib:libtbb.so\n";
}
#endif

int main(int argc, char** argv) {
    if (kalvor_test::ran_as_child(argc, argv)) return 0;
    kalvor_test::leave_the_terminal();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
