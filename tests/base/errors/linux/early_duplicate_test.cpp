#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/errors/registry.h"

using namespace trel;

// A second registration while static objects are still being built: in a process of its own, told by its
// environment, before any other initialiser of this program may have run.
namespace {
struct EarlyDuplicate {
    EarlyDuplicate() {
        if (!std::getenv("KALVOR_TEST_EARLY_DUPLICATE")) return;
        register_exception_type("EarlyException", nullptr);
        register_exception_type("EarlyException", nullptr);
    }
};
[[gnu::init_priority(101)]] EarlyDuplicate early_duplicate;
}  // namespace

TEST(FatalPaths, DuplicateRegistrationBeforeMain) {
    setenv("KALVOR_TEST_EARLY_DUPLICATE", "1", 1);
    FILE* child = popen("exec /proc/$PPID/exe --gtest_list_tests < /dev/null", "r");
    unsetenv("KALVOR_TEST_EARLY_DUPLICATE");
    ASSERT_NE(child, nullptr);
    std::string output;
    for (int c; (c = std::fgetc(child)) != EOF;) output += static_cast<char>(c);
    const int status = pclose(child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_EQ(output, "\nDuplicate Exception Type\nPress any key to continue . . . \n");
}
