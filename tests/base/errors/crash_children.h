// What tests of the crash report run in processes of their own: pieces that crash, each in its way. Before
// that they have printed "half a line ". The word after "--child" is the way.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/console/console.h"
#include "base/errors/crash_report.h"
#include "os/environment.h"
#include "os/process.h"
#include "support/child.h"
#include "support/crash.h"
#include "support/mini_dump.h"
#include "support/run_program.h"

namespace kalvor_test {

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

// ---- a child that works with its secrets

// A frame with copies of a text in it, whole and from its fourth character on, and a mark that no secret has.
template <class Character>
struct Copies {
    volatile Character whole[64] = {}, part[64] = {};
    volatile char mark[64] = {};

    Copies(const std::basic_string<Character>& text, const char* the_mark) {
        for (size_t i = 0; i < text.size(); i++) whole[i] = text[i];
        for (size_t i = 3; i < text.size(); i++) part[i] = text[i];
        for (size_t i = 0; the_mark[i] != '\0'; i++) mark[i] = the_mark[i];
    }
};

template <class Character>
u64 first_bytes(const std::basic_string<Character>& text) {
    u64 bytes;
    std::memcpy(&bytes, text.data(), sizeof bytes);
    return bytes;
}

// The text as UTF-8 and as the system has its own texts, on the heap, on the stack and in registers.
[[gnu::noinline]] inline void hold(const std::string& text, const char* mark,
                                   void (*then)(u64, u64, const char*)) {
    const auto on_the_heap = std::make_unique<std::filesystem::path>(text);
    const Copies utf8(text, mark);
    const Copies native(on_the_heap->native(), mark);
    then(first_bytes(text), first_bytes(on_the_heap->native()), text.data());
    if (utf8.whole[0] != native.whole[0]) std::abort();
}

[[gnu::noinline]] inline void store_with_secrets(u64 bytes, u64 native, const char* text) {
    asm volatile(
        "movq %0, %%r14\n\t"
        "movq %1, %%r15\n\t"
        "movdqu (%2), %%xmm6\n\t"
        "movq %3, %%rcx\n\t"
        "movl $1, (%%rcx)" ::"r"(bytes),
        "r"(native), "r"(text), "r"(kBadAddress)
        : "r14", "r15", "rcx", "xmm6", "memory");
}

inline std::promise<void> other_holds;
inline void wait_for_ever(u64, u64, const char*) {
    other_holds.set_value();
    std::this_thread::sleep_for(std::chrono::hours(1));
}

inline const kalvor_test::Child secrets_child("secrets", [] {
    begin();
    const std::string secret = *os::environment_variable("KALVOR_TEST_SECRET");
    std::thread other([&secret] { hold(secret, "marks of the other thread", wait_for_ever); });
    other_holds.get_future().wait();
    hold(secret, "marks of the thread that crashes", store_with_secrets);
    other.join();
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

}  // namespace kalvor_test
