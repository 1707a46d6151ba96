// What tests of the crash report run in processes of their own: pieces that crash, each in its way. Before
// that they have printed "half a line ". The word after "--child" is the way.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "base/console/console.h"
#include "base/errors/crash_report.h"
#include "os/environment.h"
#include "os/process.h"
#include "support/child.h"
#include "support/crash.h"
#include "support/mini_dump.h"
#include "support/run_program.h"

namespace crash_test {

using namespace trel;

// ---- in the child

inline void begin() {
    install_crash_report();
    Console::print("half a line ");
}

inline constexpr u64 kBadAddress = 0x1238;

// A store to nowhere with known registers.
[[gnu::noinline]] inline void store_to_nowhere() {
    asm volatile(
        "movabsq $0x1122334455667788, %%r12\n\t"
        "movabsq $0x99aabbccddeeff00, %%r13\n\t"
        "movq %%r13, %%xmm7\n\t"
        "movq %0, %%rcx\n\t"
        "movl $1, (%%rcx)" ::"r"(kBadAddress)
        : "r12", "r13", "rcx", "xmm7", "memory");
}

inline const kalvor_test::Child store_child("store", [] {
    begin();
    store_to_nowhere();
});

inline volatile int deepest = 1 << 30;

[[gnu::noinline]] inline int use_up_stack(int depth) {
    volatile char frame[4096];
    frame[0] = static_cast<char>(depth);
    if (depth == deepest) return 0;
    return use_up_stack(depth + 1) + frame[0];
}

inline const kalvor_test::Child stack_child("stack", [] {
    begin();
    use_up_stack(0);
});

// Folders with the names that a dump could have in the next seconds.
inline void take_the_names() {
    for (int i = 0; i < 8; i++) {
        const time_t t = time(nullptr) + i;
        char name[64];
        std::strftime(name, sizeof name, "Kalvor-%Y%m%d-%H%M%S.dmp", std::localtime(&t));
        std::filesystem::create_directory(name);
    }
}

inline const kalvor_test::Child names_child("names taken", [] {
    begin();
    take_the_names();
    store_to_nowhere();
});

// ---- in the parent

struct Crash {
    int exit_code = 0;
    std::string out;
    std::vector<std::string> dumps;  // their names, in order
    MiniDump dump{""};               // the first one
};

// What the child leaves in the folder. It has a secret in its environment and another one on its command
// line.
inline Crash crash(const kalvor_test::TemporaryFolder& folder, const std::string& way,
                   kalvor_test::RunOptions options = {}) {
    options.folder = folder.path();
    options.environment.push_back("KALVOR_TEST_SECRET=swordfish-of-the-environment");
    const kalvor_test::ProgramRun run =
        kalvor_test::run_this_test({"--child", way, "password=swordfish-of-the-command-line"}, options);
    Crash result{run.exit_code, run.out, folder.files()};
    std::erase_if(result.dumps, [](const std::string& name) { return !name.ends_with(".dmp"); });
    if (!result.dumps.empty()) result.dump = MiniDump(kalvor_test::read_file(folder / result.dumps[0]));
    return result;
}

inline Crash crash(const std::string& way) {
    const kalvor_test::TemporaryFolder folder;
    return crash(folder, way);
}

inline std::string report(const std::string& dump_line = "Done!") {
    return "half a line " + kalvor_test::crash_report_text(dump_line);
}

// No eight characters of the environment and the command line in a row.
inline void expect_no_secrets(const MiniDump& dump) {
    for (const std::string secret :
         {"swordfish-of-the-environment", "password=swordfish-of-the-command-line"}) {
        for (size_t i = 0; i + 8 <= secret.size(); i++) {
            EXPECT_FALSE(dump.mentions(secret.substr(i, 8))) << secret.substr(i, 8);
        }
    }
}

// What holds for every dump with an exception in it.
inline void check_dump(MiniDump& dump, u32 code) {
    ASSERT_TRUE(dump.valid());
    ASSERT_TRUE(dump.has(6));
    EXPECT_EQ(dump.exception_code(), code);
    const u32 thread = dump.crashed_thread();
    ASSERT_LT(thread, dump.n_threads());
    const u64 stack_pointer = dump.field(dump.exception_context(), MiniDump::kRsp);
    const MiniDump::Range stack = dump.thread_stack(thread);
    EXPECT_LE(stack.begin, stack_pointer + 65536);
    EXPECT_GT(stack.begin + stack.bytes, stack_pointer);
    expect_no_secrets(dump);
    EXPECT_TRUE(dump.valid());
}

inline void check_crash(const std::string& way, const kalvor_test::CrashCode& code) {
    SCOPED_TRACE(way);
    Crash out = crash(way);
    EXPECT_EQ(out.exit_code, code.exit_code);
    EXPECT_EQ(out.out, report());
    EXPECT_EQ(out.dumps.size(), 1u);
    check_dump(out.dump, code.in_dump);
}

}  // namespace crash_test
