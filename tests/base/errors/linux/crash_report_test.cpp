// The crash handler in a process of its own: this program again, told by its environment how to crash.
#include "base/errors/crash_report.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "base/console/console.h"
#include "os/process.h"
#include "support/mini_dump.h"
#include "support/scratch_folder.h"

using namespace trel;

namespace {

// ---- the child

constexpr u64 kBadAddress = 0x1238;

// A store to nowhere with known registers.
[[gnu::noinline]] void store_to_nowhere() {
    asm volatile(
        "movabsq $0x1122334455667788, %%r12\n\t"
        "movabsq $0x99aabbccddeeff00, %%r13\n\t"
        "movq %%r13, %%xmm7\n\t"
        "movq %0, %%rcx\n\t"
        "movl $1, (%%rcx)" ::"r"(kBadAddress)
        : "r12", "r13", "rcx", "xmm7", "memory");
}

volatile int deepest = 1 << 30;

[[gnu::noinline]] int use_up_stack(int depth) {
    volatile char frame[4096];
    frame[0] = static_cast<char>(depth);
    if (depth == deepest) return 0;
    return use_up_stack(depth + 1) + frame[0];
}

void throw_something() {
    throw 5;
}
void across_noexcept() noexcept {
    throw_something();
}

// Folders with the names that a dump could have in the next seconds.
void take_the_names() {
    for (int i = 0; i < 8; i++) {
        const time_t t = time(nullptr) + i;
        char name[64];
        std::strftime(name, sizeof name, "Kalvor-%Y%m%d-%H%M%S.dmp", std::localtime(&t));
        std::filesystem::create_directory(name);
    }
}

void limit_files_to(u64 bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

const std::map<std::string, std::function<void()>>& ways_to_crash() {
    static const std::map<std::string, std::function<void()>> ways = {
        {"store", store_to_nowhere},
        {"bus", [] { raise(SIGBUS); }},
        {"instruction", [] { asm volatile("ud2"); }},
        {"divide",
         [] {
             asm volatile("xorl %%edx, %%edx\n\tmovl $1, %%eax\n\txorl %%ecx, %%ecx\n\tdivl %%ecx" ::
                              : "eax", "ecx", "edx");
         }},
        {"abort", [] { std::abort(); }},
        {"terminate", across_noexcept},
        {"stack", [] { use_up_stack(0); }},
        {"heap",
         [] {
             void* volatile block = std::malloc(100);
             std::free(block);
             std::free(block);
         }},
        {"thread", [] { std::thread(store_to_nowhere).join(); }},
        {"terminate in a thread", [] { std::thread([] { throw 5; }).join(); }},
        {"stack of a thread",
         [] {
             std::thread([] {
                 os::use_crash_stack();
                 use_up_stack(0);
             }).join();
         }},
        {"two threads",
         [] {
             std::thread other([] { std::abort(); });
             store_to_nowhere();
             other.join();
         }},
        {"while drawing",
         [] {
             const std::lock_guard lock(Console::console_lock());
             store_to_nowhere();
         }},
        {"while another thread draws",
         [] {
             std::timed_mutex locked;
             locked.lock();
             std::thread other([&locked] {
                 const std::lock_guard lock(Console::console_lock());
                 locked.unlock();
                 std::this_thread::sleep_for(std::chrono::milliseconds(300));
                 Console::print("drawn ");
             });
             locked.lock();
             store_to_nowhere();
         }},
        {"names taken",
         [] {
             take_the_names();
             store_to_nowhere();
         }},
        {"disk full",
         [] {
             limit_files_to(2000);
             store_to_nowhere();
         }},
        {"with the secrets on the stack",
         [] {
             // As a function that works with them would have them: whole and in part.
             volatile char copy[256] = {};
             const char* secret = std::getenv("KALVOR_TEST_SECRET");
             for (int i = 0; secret[i] != '\0'; i++) copy[i] = secret[i];
             for (int i = 3; i < 20; i++) copy[100 + i] = secret[i];
             const char word[] = "of-the-command-";
             for (int i = 0; word[i] != '\0'; i++) copy[200 + i] = word[i];
             const char kept[] = "what is not secret";
             for (int i = 0; kept[i] != '\0'; i++) copy[150 + i] = kept[i];
             store_to_nowhere();
             if (copy[0] == 'x') copy[1] = 'y';
         }},
        {"two reports",
         [] {
             report_crash(nullptr);
             report_crash(nullptr);
             os::exit_process(1);
         }},
        {"no record",
         [] {
             Console::flush();
             report_crash(nullptr);
             os::exit_process(1);
         }},
    };
    return ways;
}

[[maybe_unused]] const bool child = [] {
    const char* way = std::getenv("KALVOR_TEST_CRASH");
    if (way == nullptr) return false;
    install_crash_report();
    Console::print("half a line ");
    ways_to_crash().at(way)();
    std::_Exit(77);  // still there
}();

// ---- the parent

struct Crash {
    int signal = 0;     // that ended it
    int exit_code = 0;  // when none did
    std::string out;
    std::vector<std::string> dumps;  // their names
    MiniDump dump{""};               // the first one
};

class CrashReportTest : public testing::Test {
  protected:
    // In a folder of its own.
    Crash crash(const std::string& way) {
        folder_ = std::make_unique<ScratchFolder>();
        const std::string program = *os::executable_path();
        setenv("KALVOR_TEST_CRASH", way.c_str(), 1);
        setenv("KALVOR_TEST_SECRET", "swordfish-of-the-environment", 1);
        const std::string command = "cd '" + folder_->file("") + "' && ulimit -c 0 && exec '" + program +
                                    "' password=swordfish-of-the-command-line > out 2> err < /dev/null";
        const int status = std::system(command.c_str());
        unsetenv("KALVOR_TEST_CRASH");
        unsetenv("KALVOR_TEST_SECRET");
        Crash result;
        if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
        if (WIFEXITED(status)) {
            // A shell that could not be replaced tells signals as 128 + number.
            result.exit_code = WEXITSTATUS(status);
            if (result.exit_code > 128) result.signal = result.exit_code - 128;
        }
        result.out = folder_->read("out");
        for (const auto& entry : std::filesystem::directory_iterator(folder_->file(""))) {
            const std::string name = entry.path().filename().string();
            if (entry.is_regular_file() && name.ends_with(".dmp")) result.dumps.push_back(name);
        }
        std::sort(result.dumps.begin(), result.dumps.end());
        if (!result.dumps.empty()) result.dump = MiniDump(folder_->read(result.dumps[0]));
        return result;
    }

    std::unique_ptr<ScratchFolder> folder_;
};

const char* const kReport =
    "half a line "
    "\nOops... Kalvor has crashed.\n\nCreating mini-dump file...   Done!\n"
    "\nThe program will now exit.\nPress any key to continue . . . \n";

// No eight characters of the environment and the command line in a row.
void expect_no_secrets(const MiniDump& dump) {
    for (const std::string secret :
         {"swordfish-of-the-environment", "password=swordfish-of-the-command-line"}) {
        for (size_t i = 0; i + 8 <= secret.size(); i++) {
            EXPECT_FALSE(dump.mentions(secret.substr(i, 8))) << secret.substr(i, 8);
        }
    }
}

// What holds for every dump with an exception in it.
void check_dump(Crash& crash, u32 code) {
    MiniDump& dump = crash.dump;
    ASSERT_TRUE(dump.valid());
    ASSERT_TRUE(dump.has(6));
    EXPECT_EQ(dump.exception_code(), code);
    EXPECT_EQ(dump.exception_thread(), dump.thread_id());
    EXPECT_EQ(dump.exception_context(), dump.thread_context());
    const u64 stack_pointer = dump.field(dump.thread_context(), MiniDump::kRsp);
    const MiniDump::Range stack = dump.thread_stack();
    EXPECT_LE(stack.begin, stack_pointer + 65536);
    EXPECT_GT(stack.begin + stack.bytes, stack_pointer);
    expect_no_secrets(dump);
    EXPECT_TRUE(dump.valid());
}

}  // namespace

TEST_F(CrashReportTest, TheTextAndTheFile) {
    const time_t before = time(nullptr);
    Crash out = crash("store");
    EXPECT_EQ(out.signal, SIGSEGV);
    EXPECT_EQ(out.out, kReport);
    ASSERT_EQ(out.dumps.size(), 1u);
    // The name is the local time of the crash.
    tm parts{};
    ASSERT_EQ(out.dumps[0].size(), 26u) << out.dumps[0];
    ASSERT_EQ(*strptime(out.dumps[0].c_str(), "Kalvor-%Y%m%d-%H%M%S.dmp", &parts), '\0') << out.dumps[0];
    parts.tm_isdst = -1;
    const time_t named = mktime(&parts);
    EXPECT_GE(named, before);
    EXPECT_LE(named, time(nullptr));
}

TEST_F(CrashReportTest, TheDumpHoldsThreadRegistersStackAndModules) {
    Crash out = crash("store");
    check_dump(out, SIGSEGV);
    MiniDump& dump = out.dump;
    ASSERT_TRUE(dump.valid());
    EXPECT_EQ(dump.n_threads(), 1u);
    EXPECT_EQ(dump.thread_id(), dump.process_id());  // the main thread
    EXPECT_EQ(dump.exception_address(), kBadAddress);
    const u32 context = dump.thread_context();
    EXPECT_EQ(dump.field(context, MiniDump::kR12), 0x1122334455667788u);
    EXPECT_EQ(dump.field(context, MiniDump::kR13), 0x99aabbccddeeff00u);
    EXPECT_EQ(dump.field(context, MiniDump::kXmm7), 0x99aabbccddeeff00u);
    EXPECT_EQ(dump.field(context, MiniDump::kRcx), kBadAddress);

    // The instruction lies in this program, and its bytes are in the dump: movl $1, (%rcx).
    const u64 instruction = dump.field(context, MiniDump::kRip);
    const auto modules = dump.modules();
    const auto own = std::find_if(modules.begin(), modules.end(), [&](const MiniDump::Module& m) {
        return instruction >= m.base && instruction - m.base < m.bytes;
    });
    ASSERT_NE(own, modules.end());
    EXPECT_EQ(own->name, *os::executable_path());
    EXPECT_TRUE(std::any_of(modules.begin(), modules.end(), [](const MiniDump::Module& m) {
        return m.name.find("libc.so") != std::string::npos;
    }));
    bool found = false;
    for (const MiniDump::Range& range : dump.memory()) {
        if (!range.holds(instruction) || instruction + 6 > range.begin + range.bytes) continue;
        found = true;
        EXPECT_EQ(dump.bytes_at(range.at + static_cast<u32>(instruction - range.begin), 6),
                  std::string("\xc7\x01\x01\0\0\0", 6));
    }
    EXPECT_TRUE(found);

    EXPECT_EQ(dump.processor_architecture(), 9u);  // AMD64
    EXPECT_EQ(dump.platform(), 0x8201u);           // Linux
    EXPECT_NE(dump.stream(0x47670009).find("[stack]\n"), std::string::npos);
    EXPECT_EQ(dump.stream(0x47670004).rfind("Name:\t", 0), 0u);
    EXPECT_EQ(dump.stream(0x47670008).size() % 16, 0u);
    EXPECT_GT(dump.stream(0x47670008).size(), 16u);
}

TEST_F(CrashReportTest, EveryKindOfCrash) {
    const struct {
        const char* way;
        int signal;
    } cases[] = {{"bus", SIGBUS},    {"instruction", SIGILL}, {"divide", SIGFPE},
                 {"abort", SIGABRT}, {"terminate", SIGABRT},  {"terminate in a thread", SIGABRT}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.way);
        Crash out = crash(c.way);
        EXPECT_EQ(out.signal, c.signal);
        EXPECT_EQ(out.out, kReport);
        check_dump(out, static_cast<u32>(c.signal));
    }
}

TEST_F(CrashReportTest, AStackThatRanOut) {
    for (const char* way : {"stack", "stack of a thread"}) {
        SCOPED_TRACE(way);
        Crash out = crash(way);
        EXPECT_EQ(out.signal, SIGSEGV);
        EXPECT_EQ(out.out, kReport);
        check_dump(out, SIGSEGV);
        // The innermost part of it.
        EXPECT_GT(out.dump.thread_stack().bytes, 500000u);
        EXPECT_LT(out.dump.size(), 3000000u);
    }
}

TEST_F(CrashReportTest, AnotherThread) {
    Crash out = crash("thread");
    EXPECT_EQ(out.signal, SIGSEGV);
    EXPECT_EQ(out.out, kReport);
    check_dump(out, SIGSEGV);
    EXPECT_NE(out.dump.thread_id(), out.dump.process_id());
    EXPECT_EQ(out.dump.field(out.dump.thread_context(), MiniDump::kR12), 0x1122334455667788u);
}

TEST_F(CrashReportTest, CopiesOfTheSecretsOnTheStack) {
    Crash out = crash("with the secrets on the stack");
    EXPECT_EQ(out.signal, SIGSEGV);
    check_dump(out, SIGSEGV);
    EXPECT_TRUE(out.dump.mentions("what is not secret"));
}

// The memory allocator's own complaint: its lock may be held. A sanitizer has an allocator and a complaint of its own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(CrashReportTest, ABrokenHeap) {
    Crash out = crash("heap");
    EXPECT_EQ(out.out, kReport);
    EXPECT_TRUE(out.signal == SIGABRT || out.signal == SIGSEGV) << out.signal;
    check_dump(out, static_cast<u32>(out.signal));
}
#endif

// The second one waits for the first and then a second, in which the process ends.
TEST_F(CrashReportTest, TwoThreadsAreReportedOnce) {
    Crash out = crash("two threads");
    EXPECT_EQ(out.out, kReport);
    EXPECT_EQ(out.dumps.size(), 1u);
    EXPECT_TRUE(out.signal == SIGABRT || out.signal == SIGSEGV) << out.signal;
    check_dump(out, static_cast<u32>(out.signal));
}

// A report after the first waits a second, so its dump has another name.
TEST_F(CrashReportTest, ASecondReportComesASecondLater) {
    Crash out = crash("two reports");
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_EQ(out.dumps.size(), 2u);
    EXPECT_EQ(out.out, kReport + std::string(kReport).substr(std::string("half a line ").size()));
}

TEST_F(CrashReportTest, TheConsoleLock) {
    // Held by the thread that crashes: it takes it once more.
    Crash own = crash("while drawing");
    EXPECT_EQ(own.signal, SIGSEGV);
    EXPECT_EQ(own.out, kReport);
    // Held by another thread: its line comes first.
    Crash other = crash("while another thread draws");
    EXPECT_EQ(other.signal, SIGSEGV);
    EXPECT_EQ(other.out.rfind("half a line drawn \nOops", 0), 0u) << other.out;
}

TEST_F(CrashReportTest, AFileThatCannotBeCreated) {
    Crash out = crash("names taken");
    EXPECT_EQ(out.signal, SIGSEGV);
    EXPECT_EQ(out.dumps.size(), 0u);
    EXPECT_EQ(out.out,
              "half a line \nOops... Kalvor has crashed.\n\nCreating mini-dump file...   "
              "\nUnable to create dump file: 21\n"
              "\nThe program will now exit.\nPress any key to continue . . . \n");
}

TEST_F(CrashReportTest, ADumpThatCannotBeWritten) {
    Crash out = crash("disk full");
    EXPECT_EQ(out.signal, SIGSEGV);
    EXPECT_EQ(out.out,
              "half a line \nOops... Kalvor has crashed.\n\nCreating mini-dump file...   "
              "\nUnable to create minidump: 27\n"
              "\nThe program will now exit.\nPress any key to continue . . . \n");
}

TEST_F(CrashReportTest, WithoutARecord) {
    Crash out = crash("no record");
    EXPECT_EQ(out.signal, 0);
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_EQ(out.out, kReport);
    MiniDump& dump = out.dump;
    ASSERT_TRUE(dump.valid());
    EXPECT_FALSE(dump.has(6));
    EXPECT_EQ(dump.thread_id(), dump.process_id());
    EXPECT_TRUE(dump.thread_stack().holds(dump.field(dump.thread_context(), MiniDump::kRsp)));
    expect_no_secrets(dump);
    EXPECT_TRUE(dump.valid());
}

// The environment stands above the main function's frame; the stack in the dump ends below it, but holds that
// frame.
TEST_F(CrashReportTest, TheStackReachesMainAndEndsThere) {
    Crash out = crash("store");
    MiniDump& dump = out.dump;
    ASSERT_TRUE(dump.valid());
    const std::string stack = dump.bytes_at(dump.thread_stack().at, dump.thread_stack().bytes);
    // Found in the memory of the process, not in the dump: so the two words above would be found if they were
    // there.
    EXPECT_GT(stack.size(), 1000u);
    const std::string maps = dump.stream(0x47670009);
    const size_t line = maps.find("[stack]\n");
    ASSERT_NE(line, std::string::npos);
    const size_t begin = maps.rfind('\n', line) + 1;
    const u64 from = std::strtoull(maps.c_str() + begin, nullptr, 16);
    const u64 to = std::strtoull(maps.c_str() + maps.find('-', begin) + 1, nullptr, 16);
    EXPECT_GE(dump.thread_stack().begin, from);
    EXPECT_LT(dump.thread_stack().begin + dump.thread_stack().bytes, to);
}

TEST_F(CrashReportTest, ADebuggerReadsIt) {
    if (std::system("command -v lldb-14 > /dev/null 2>&1") != 0) GTEST_SKIP() << "no lldb";
    Crash out = crash("store");
    ASSERT_EQ(out.dumps.size(), 1u);
    const std::string command = "cd '" + folder_->file("") + "' && timeout 60 lldb-14 -b -c " + out.dumps[0] +
                                " -o 'thread list' -o bt > debugger 2>&1 < /dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    const std::string text = folder_->read("debugger");
    EXPECT_NE(text.find("stop reason = signal SIGSEGV"), std::string::npos) << text;
    EXPECT_NE(text.find("tid = " + std::to_string(out.dump.thread_id())), std::string::npos) << text;
    const size_t innermost = text.find("frame #0: ");
    ASSERT_NE(innermost, std::string::npos) << text;
    EXPECT_NE(text.find("store_to_nowhere", innermost), std::string::npos) << text;
    EXPECT_NE(text.find("_start", innermost), std::string::npos) << text;  // the outermost frame
}
