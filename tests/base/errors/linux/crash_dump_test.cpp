// What only this system's crashes have: signals from outside, the allocator's own complaint, a full disk, the
// system's texts about the process, a debugger that reads the dump.
#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>

#include "base/errors/crash_children.h"

using namespace kalvor_test;
using kalvor_test::Child;
using kalvor_test::TemporaryFolder;

namespace {

const Child bus_child("bus", [] {
    begin();
    raise(SIGBUS);
});
const Child heap_child("heap", [] {
    begin();
    void* volatile block = std::malloc(100);
    std::free(block);
    std::free(block);
});
const Child colorless_child("store without colours", [] {
    Console::set_colors_enabled(false);
    begin();
    store_to_nowhere();
});

}  // namespace

TEST(CrashDumpTest, OneThreadWithItsCodeAndTheSystemsTexts) {
    Crash out = crash("store");
    MiniDump& dump = out.dump;
    check_dump(dump, SIGSEGV);
    ASSERT_TRUE(dump.valid());
    EXPECT_EQ(dump.n_threads(), 1u);
    EXPECT_EQ(dump.thread_id(), dump.process_id());  // the main thread
    EXPECT_EQ(dump.exception_context(), dump.thread_context());
    EXPECT_EQ(dump.exception_address(), kBadAddress);
    // The bytes of the instruction: movl $1, (%rcx).
    const u64 instruction = dump.field(dump.exception_context(), MiniDump::kRip);
    bool found = false;
    for (const MiniDump::Range& range : dump.memory()) {
        if (!range.holds(instruction) || instruction + 6 > range.begin + range.bytes) continue;
        found = true;
        EXPECT_EQ(dump.bytes_at(range.at + static_cast<u32>(instruction - range.begin), 6),
                  std::string("\xc7\x01\x01\0\0\0", 6));
    }
    EXPECT_TRUE(found);
    const auto modules = dump.modules();
    EXPECT_TRUE(std::any_of(modules.begin(), modules.end(), [](const MiniDump::Module& m) {
        return m.name.find("libc.so") != std::string::npos;
    }));
    EXPECT_EQ(dump.platform(), 0x8201u);  // Linux
    EXPECT_NE(dump.stream(0x47670009).find("[stack]\n"), std::string::npos);
    EXPECT_EQ(dump.stream(0x47670004).rfind("Name:\t", 0), 0u);
    EXPECT_EQ(dump.stream(0x47670008).size() % 16, 0u);
    EXPECT_GT(dump.stream(0x47670008).size(), 16u);
}

// On a terminal the report is red up to its prompt, unless colours are off.
TEST(CrashDumpTest, TheReportHasItsColours) {
    const auto on_terminal = [](const char* way, const char* no_color) {
        const TemporaryFolder folder;
        kalvor_test::RunOptions options;
        options.terminal = true;
        options.environment = {std::string("NO_COLOR=") + no_color};
        return crash(folder, way, options).out;
    };
    const auto text = [](const std::string& red, const std::string& plain) {
        return "half a line \r\n" + red +
               "Oops... Kalvor has crashed.\r\n\r\nCreating mini-dump file...   Done!\r\n\r\n"
               "The program will now exit.\r\n" +
               plain + "Press any key to continue . . . \r\n";
    };
    EXPECT_EQ(on_terminal("store", ""), text("\x1b[91m", "\x1b[0m"));
    EXPECT_EQ(on_terminal("store", "1"), text("", ""));
    EXPECT_EQ(on_terminal("store without colours", ""), text("", ""));
}

TEST(CrashDumpTest, ASignalThatIsRaised) {
    check_crash("bus", {SIGBUS, 128 + SIGBUS});
}

// The allocator's lock may be held. A sanitizer has an allocator and a complaint of its own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(CrashDumpTest, ABrokenHeap) {
    Crash out = crash("heap");
    EXPECT_EQ(out.out, report());
    EXPECT_TRUE(out.exit_code == 128 + SIGABRT || out.exit_code == 128 + SIGSEGV) << out.exit_code;
    check_dump(out.dump, static_cast<u32>(out.exit_code - 128));
}
#endif

TEST(CrashDumpTest, ADumpThatCannotBeWritten) {
    const TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.file_size_limit = 2000;
    const Crash out = crash(folder, "store", options);
    EXPECT_EQ(out.exit_code, 128 + SIGSEGV);
    EXPECT_EQ(out.out, report("\nUnable to create minidump: 27"));
    EXPECT_TRUE(out.dumps.empty()) << "a stump: " << out.dumps[0];
}

// A dump shows memory: its owner alone may read it.
TEST(CrashDumpTest, IsTheOwnersAlone) {
    const TemporaryFolder folder;
    const Crash out = crash(folder, "store");
    ASSERT_EQ(out.dumps.size(), 1u);
    struct stat facts {};
    ASSERT_EQ(stat((folder / out.dumps[0]).c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0600u);
}

// More environment than the buffer that it is read into. The secret comes last.
TEST(CrashDumpTest, ALargeEnvironmentIsKnownWhole) {
    const TemporaryFolder folder;
    kalvor_test::RunOptions options;
    for (char name = 'A'; name < 'A' + 11; name++) {
        options.environment.push_back(std::string("KALVOR_TEST_") + name + "=" + std::string(100000, name));
    }
    Crash out = crash(folder, "secrets", options);
    EXPECT_EQ(out.out, report());
    ASSERT_TRUE(out.dump.valid());
    expect_no_secrets(out.dump);
}

// More than a dump takes.
TEST(CrashDumpTest, ADeepStackIsCut) {
    Crash out = crash("stack");
    check_dump(out.dump, SIGSEGV);
    EXPECT_LT(out.dump.size(), 3000000u);
}

// The environment stands above the main function's frame; the stack in the dump ends below it, but holds that
// frame.
TEST(CrashDumpTest, TheStackReachesMainAndEndsThere) {
    Crash out = crash("store");
    MiniDump& dump = out.dump;
    ASSERT_TRUE(dump.valid());
    EXPECT_GT(dump.thread_stack().bytes, 256u);
    const std::string maps = dump.stream(0x47670009);
    const size_t line = maps.find("[stack]\n");
    ASSERT_NE(line, std::string::npos);
    const size_t begin = maps.rfind('\n', line) + 1;
    const u64 from = std::strtoull(maps.c_str() + begin, nullptr, 16);
    const u64 to = std::strtoull(maps.c_str() + maps.find('-', begin) + 1, nullptr, 16);
    EXPECT_GE(dump.thread_stack().begin, from);
    EXPECT_LT(dump.thread_stack().begin + dump.thread_stack().bytes, to);
}

TEST(CrashDumpTest, ADebuggerReadsIt) {
    const auto has = [](const char* name) {
        return std::system(("command -v " + std::string(name) + " > /dev/null 2>&1").c_str()) == 0;
    };
    const std::string debugger = has("lldb") ? "lldb" : "lldb-14";
    if (!has(debugger.c_str())) GTEST_SKIP() << "lldb is not installed";
    const TemporaryFolder folder;
    Crash out = crash(folder, "store");
    ASSERT_EQ(out.dumps.size(), 1u);
    const std::string command = "cd '" + folder.path() + "' && timeout 60 " + debugger + " -b -c " +
                                out.dumps[0] + " -o 'thread list' -o bt > debugger 2>&1 < /dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    const std::string text = kalvor_test::read_file(folder / "debugger");
    EXPECT_NE(text.find("stop reason = signal SIGSEGV"), std::string::npos) << text;
    EXPECT_NE(text.find("tid = " + std::to_string(out.dump.thread_id())), std::string::npos) << text;
    const size_t innermost = text.find("frame #0: ");
    ASSERT_NE(innermost, std::string::npos) << text;
    EXPECT_NE(text.find("store_to_nowhere", innermost), std::string::npos) << text;
    EXPECT_NE(text.find("_start", innermost), std::string::npos) << text;  // the outermost frame
}
