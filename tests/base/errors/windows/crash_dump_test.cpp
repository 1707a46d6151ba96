// What only this system's dumps have: all threads, and the exception record as the system gives it.
#include "base/errors/crash_children.h"

using namespace crash_test;

TEST(CrashDump, TheRecordOfTheException) {
    Crash out = crash("store");
    MiniDump& dump = out.dump;
    check_dump(dump, 0xc0000005);
    ASSERT_TRUE(dump.valid());
    EXPECT_EQ(dump.exception_address(), dump.field(dump.exception_context(), MiniDump::kRip));
    EXPECT_EQ(dump.platform(), 2u);  // Windows NT
    const auto modules = dump.modules();
    EXPECT_TRUE(std::any_of(modules.begin(), modules.end(), [](const MiniDump::Module& m) {
        return std::filesystem::path(m.name).filename() == "ntdll.dll";
    }));
}
