// What only this system's crashes have: all threads in the dump, the exception record as the system gives it,
// a console window.
#include "base/errors/crash_children.h"
#include "support/windows/console_window.h"

using namespace kalvor_test;

TEST(CrashDumpTest, TheRecordOfTheException) {
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

// Without a dump, which takes its time under Wine.
TEST(CrashDumpTest, TheReportIsRed) {
    const kalvor_test::TemporaryFolder folder;
    const kalvor_test::ConsoleRun run = kalvor_test::run_on_console("names taken", "k", folder.path());
    EXPECT_EQ(run.screen,
              "half a line\n{12}Oops... Kalvor has crashed.\n\nCreating mini-dump file...\n"
              "Unable to create dump file: 80\n\n{7}The program will now exit.\n"
              "Press any key to continue . . .");
    EXPECT_EQ(run.exit_code, kalvor_test::crash_code(kalvor_test::CrashCause::bad_access).exit_code);
}
