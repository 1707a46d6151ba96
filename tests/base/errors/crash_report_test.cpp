// Crashes of every kind, each in a process of its own: what the user reads, how the process ends, what its
// dump holds. The same on every system but for the numbers.
#include "base/errors/crash_report.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <future>
#include <mutex>
#include <thread>

#include "base/errors/crash_children.h"

using namespace kalvor_test;
using kalvor_test::Child;
using kalvor_test::crash_code;
using kalvor_test::CrashCause;

namespace {

// ---- the children

void throw_a_text() {
    throw "not ready to use.";
}
void across_noexcept() noexcept {
    throw_a_text();
}

const Child divide_child("divide", [] {
    begin();
    asm volatile("xorl %%edx, %%edx\n\tmovl $1, %%eax\n\txorl %%ecx, %%ecx\n\tdivl %%ecx" ::
                     : "eax", "ecx", "edx");
});
const Child instruction_child("instruction", [] {
    begin();
    asm volatile("ud2");
});
const Child abort_child("abort", [] {
    begin();
    std::abort();
});
const Child throw_child("throw", [] {
    begin();
    throw_a_text();
});
const Child noexcept_child("throw across noexcept", [] {
    begin();
    across_noexcept();
});
const Child thread_throw_child("throw in a thread", [] {
    begin();
    std::thread(throw_a_text).join();
});
const Child thread_stack_child("stack of a thread", [] {
    begin();
    std::thread([] {
        os::use_crash_stack();
        use_up_stack(0);
    }).join();
});
const Child thread_child("thread", [] {
    begin();
    std::thread(store_to_nowhere).join();
});
const Child two_threads_child("two threads", [] {
    begin();
    std::thread other([] { std::abort(); });
    store_to_nowhere();
    other.join();
});
const Child drawing_child("while drawing", [] {
    begin();
    const std::lock_guard lock(Console::console_lock());
    store_to_nowhere();
});
const Child other_drawing_child("while another thread draws", [] {
    begin();
    std::promise<void> locked;
    std::thread other([&locked] {
        const std::lock_guard lock(Console::console_lock());
        locked.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        Console::print("drawn ");
    });
    locked.get_future().wait();
    store_to_nowhere();
    other.join();
});
const Child two_reports_child("two reports", [] {
    begin();
    report_crash(nullptr);
    report_crash(nullptr);
    os::exit_process(1);
});
const Child no_record_child("no record", [] {
    begin();
    report_crash(nullptr);
    os::exit_process(1);
});
const Child no_pause_child("no pause", [] {
    Console::set_pause_before_fatal_exit(false);
    begin();
    store_to_nowhere();
});
// Prints what its input still has after the report.
const Child key_child("one key", [] {
    begin();
    report_crash(nullptr);
    std::string line;
    Console::print(Console::read_line(line) ? "[" + line + "]" : "[end]");
});

}  // namespace

// ---- the parent

TEST(CrashReportTest, TheTextAndTheFile) {
    const time_t before = time(nullptr);
    const Crash out = crash("store");
    EXPECT_EQ(out.exit_code, crash_code(CrashCause::bad_access).exit_code);
    EXPECT_EQ(out.out, report());
    ASSERT_EQ(out.dumps.size(), 1u);
    // The name is the local time of the crash.
    tm parts{};
    int length = 0;
    ASSERT_EQ(
        std::sscanf(out.dumps[0].c_str(), "Kalvor-%4d%2d%2d-%2d%2d%2d.dmp%n", &parts.tm_year, &parts.tm_mon,
                    &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec, &length),
        6)
        << out.dumps[0];
    EXPECT_EQ(length, 26) << out.dumps[0];
    EXPECT_EQ(out.dumps[0].size(), 26u) << out.dumps[0];
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    parts.tm_isdst = -1;
    const time_t named = mktime(&parts);
    EXPECT_GE(named, before);
    EXPECT_LE(named, time(nullptr));
}

TEST(CrashReportTest, OtherKindsOfCrash) {
    check_crash("divide", crash_code(CrashCause::division_by_zero));
    check_crash("instruction", crash_code(CrashCause::bad_instruction));
    check_crash("abort", crash_code(CrashCause::abort));
    check_crash("throw", crash_code(CrashCause::terminate));
    check_crash("throw across noexcept", crash_code(CrashCause::terminate));
    check_crash("throw in a thread", crash_code(CrashCause::terminate));
}

TEST(CrashReportTest, ABadAccess) {
    for (const char* way : {"store", "thread"}) {
        SCOPED_TRACE(way);
        Crash out = crash(way);
        EXPECT_EQ(out.exit_code, crash_code(CrashCause::bad_access).exit_code);
        EXPECT_EQ(out.out, report());
        MiniDump& dump = out.dump;
        check_dump(dump, crash_code(CrashCause::bad_access).in_dump);
        ASSERT_TRUE(dump.valid());
        const u32 context = dump.exception_context();
        EXPECT_EQ(dump.field(context, MiniDump::kR12), 0x1122334455667788u);
        EXPECT_EQ(dump.field(context, MiniDump::kR13), 0x99aabbccddeeff00u);
        EXPECT_EQ(dump.field(context, MiniDump::kXmm7), 0x99aabbccddeeff00u);
        EXPECT_EQ(dump.field(context, MiniDump::kRcx), kBadAddress);
        // The instruction lies in this program.
        const u64 instruction = dump.field(context, MiniDump::kRip);
        const auto modules = dump.modules();
        const auto own = std::find_if(modules.begin(), modules.end(), [&](const MiniDump::Module& m) {
            return instruction >= m.base && instruction - m.base < m.bytes;
        });
        ASSERT_NE(own, modules.end());
        EXPECT_EQ(std::filesystem::path(own->name).filename(),
                  std::filesystem::path(*os::executable_path()).filename());
        EXPECT_GT(modules.size(), 1u);
        EXPECT_EQ(dump.processor_architecture(), 9u);  // AMD64
        EXPECT_TRUE(dump.valid());
    }
}

TEST(CrashReportTest, AStackThatRanOut) {
    for (const char* way : {"stack", "stack of a thread"}) {
        SCOPED_TRACE(way);
        Crash out = crash(way);
        const kalvor_test::CrashCode code = crash_code(CrashCause::stack_overflow);
        EXPECT_EQ(out.exit_code, code.exit_code);
        EXPECT_EQ(out.out, report());
        check_dump(out.dump, code.in_dump);
        ASSERT_TRUE(out.dump.valid());
        // At least the innermost part of it.
        EXPECT_GT(out.dump.thread_stack(out.dump.crashed_thread()).bytes, 500000u);
    }
}

// The marks show that the memory around the copies is in the dump.
TEST(CrashReportTest, NoCopiesOfTheEnvironment) {
    Crash out = crash("secrets");
    EXPECT_EQ(out.exit_code, crash_code(CrashCause::bad_access).exit_code);
    EXPECT_EQ(out.out, report());
    check_dump(out.dump, crash_code(CrashCause::bad_access).in_dump);
    EXPECT_TRUE(out.dump.mentions("marks of the thread that crashes"));
    EXPECT_EQ(out.dump.mentions("marks of the other thread"), out.dump.n_threads() > 1);
}

// The second one waits for the first and then a second, in which the process ends.
TEST(CrashReportTest, TwoThreadsAreReportedOnce) {
    Crash out = crash("two threads");
    EXPECT_EQ(out.out, report());
    EXPECT_EQ(out.dumps.size(), 1u);
    const bool aborted = out.exit_code == crash_code(CrashCause::abort).exit_code;
    const kalvor_test::CrashCode code = crash_code(aborted ? CrashCause::abort : CrashCause::bad_access);
    EXPECT_EQ(out.exit_code, code.exit_code);
    check_dump(out.dump, code.in_dump);
}

// A report after the first waits a second, so its dump has another name.
TEST(CrashReportTest, ASecondReportComesASecondLater) {
    const Crash out = crash("two reports");
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_EQ(out.dumps.size(), 2u);
    EXPECT_EQ(out.out, report() + kalvor_test::crash_report_text("Done!"));
}

TEST(CrashReportTest, TheConsoleLock) {
    // Held by the thread that crashes: it takes it once more.
    const Crash own = crash("while drawing");
    EXPECT_EQ(own.exit_code, crash_code(CrashCause::bad_access).exit_code);
    EXPECT_EQ(own.out, report());
    // Held by another thread: its line comes first.
    const Crash other = crash("while another thread draws");
    EXPECT_EQ(other.exit_code, crash_code(CrashCause::bad_access).exit_code);
    EXPECT_EQ(other.out, "half a line drawn " + kalvor_test::crash_report_text("Done!"));
}

TEST(CrashReportTest, AFileThatCannotBeCreated) {
    const Crash out = crash("names taken");
    EXPECT_EQ(out.exit_code, crash_code(CrashCause::bad_access).exit_code);
    EXPECT_EQ(out.dumps.size(), 0u);
    const std::string number = std::to_string(kalvor_test::error_of_a_folder_in_the_way());
    EXPECT_EQ(out.out, report("\nUnable to create dump file: " + number));
}

// What a pipe holds is nobody's answer to this prompt.
TEST(CrashReportTest, TakesNoKeyFromAPipe) {
    const kalvor_test::TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.input = "kleft\n";
    const Crash out = crash(folder, "one key", options);
    EXPECT_EQ(out.exit_code, 0);
    EXPECT_EQ(out.out, report() + "[kleft]");
}

// "pause:-2": not after a crash either.
TEST(CrashReportTest, WithoutThePauseBeforeAFatalExit) {
    const Crash out = crash("no pause");
    const std::string whole = report();
    EXPECT_EQ(out.out, whole.substr(0, whole.find("Press any key")));
    EXPECT_EQ(out.dumps.size(), 1u);
}

TEST(CrashReportTest, WithoutARecord) {
    Crash out = crash("no record");
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_EQ(out.out, report());
    MiniDump& dump = out.dump;
    ASSERT_TRUE(dump.valid());
    EXPECT_FALSE(dump.has(6));
    ASSERT_GE(dump.n_threads(), 1u);
    EXPECT_TRUE(dump.thread_stack().holds(dump.field(dump.thread_context(), MiniDump::kRsp)));
    expect_no_secrets(dump);
    EXPECT_TRUE(dump.valid());
}
