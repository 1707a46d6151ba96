// The crash handler in a process of its own: this program again, told by its environment how to crash.
#include "os/crash_handler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "base/console/console.h"
#include "base/errors/crash_report.h"
#include "os/process.h"
#include "support/mini_dump.h"
#include "support/scratch_folder.h"

using namespace trel;

namespace {

// ---- the child

constexpr u64 kBadAddress = 0x1238;

[[gnu::noinline]] void store_to_nowhere() {
    asm volatile(
        "movabsq $0x1122334455667788, %%r12\n\t"
        "movabsq $0x99aabbccddeeff00, %%r13\n\t"
        "movq %0, %%rcx\n\t"
        "movl $1, (%%rcx)" ::"r"(kBadAddress)
        : "r12", "r13", "rcx", "memory");
}

void take_the_names() {
    for (int i = 0; i < 8; i++) {
        const time_t t = time(nullptr) + i;
        char name[64];
        std::strftime(name, sizeof name, "Kalvor-%Y%m%d-%H%M%S.dmp", std::localtime(&t));
        std::filesystem::create_directory(name);
    }
}

const std::map<std::string, std::function<void()>>& ways_to_crash() {
    static const std::map<std::string, std::function<void()>> ways = {
        {"store", store_to_nowhere},
        {"divide",
         [] {
             asm volatile("xorl %%edx, %%edx\n\tmovl $1, %%eax\n\txorl %%ecx, %%ecx\n\tdivl %%ecx" ::
                              : "eax", "ecx", "edx");
         }},
        {"abort", [] { std::abort(); }},
        {"thread", [] { std::thread(store_to_nowhere).join(); }},
        {"terminate in a thread", [] { std::thread([] { throw 5; }).join(); }},
        {"names taken",
         [] {
             take_the_names();
             store_to_nowhere();
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
    int exit_code = 0;
    std::string out;
    std::vector<std::string> dumps;  // their names
    MiniDump dump{""};               // the first one
};

class CrashHandlerTest : public testing::Test {
  protected:
    Crash crash(const std::string& way) {
        folder_ = std::make_unique<ScratchFolder>();
        const std::string program = *os::executable_path();
        _putenv_s("KALVOR_TEST_CRASH", way.c_str());
        _putenv_s("KALVOR_TEST_SECRET", "swordfish-of-the-environment");
        const std::filesystem::path here = std::filesystem::current_path();
        std::filesystem::current_path(folder_->file(""));
        Crash result;
        const std::string command =
            "\"\"" + program + "\" password=swordfish-of-the-command-line > out 2> err < NUL\"";
        result.exit_code = std::system(command.c_str());
        std::filesystem::current_path(here);
        _putenv_s("KALVOR_TEST_CRASH", "");
        _putenv_s("KALVOR_TEST_SECRET", "");
        result.out = folder_->read("out");
        for (const auto& entry : std::filesystem::directory_iterator(folder_->file(""))) {
            const std::string name = entry.path().filename().string();
            if (entry.is_regular_file() && name.ends_with(".dmp")) result.dumps.push_back(name);
        }
        if (!result.dumps.empty()) result.dump = MiniDump(folder_->read(result.dumps[0]));
        return result;
    }

    std::unique_ptr<ScratchFolder> folder_;
};

const char* const kReport =
    "half a line "
    "\nOops... Kalvor has crashed.\n\nCreating mini-dump file...   Done!\n"
    "\nThe program will now exit.\nPress any key to continue . . . \n";

}  // namespace

TEST_F(CrashHandlerTest, EveryKindOfCrash) {
    const struct {
        const char* way;
        u32 code;
    } cases[] = {{"thread", 0xc0000005},
                 {"divide", 0xc0000094},
                 {"terminate in a thread", 0xe0000001},
                 {"abort", 0xe0000002}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.way);
        Crash out = crash(c.way);
        EXPECT_EQ(out.out, kReport);
        EXPECT_NE(out.exit_code, 0);
        EXPECT_EQ(out.dumps.size(), 1u);
        MiniDump& dump = out.dump;
        ASSERT_TRUE(dump.valid());
        ASSERT_TRUE(dump.has(6));
        EXPECT_EQ(dump.exception_code(), c.code);
        bool listed = false;
        for (u32 i = 0; i < dump.n_threads(); i++) listed |= dump.thread_id(i) == dump.exception_thread();
        EXPECT_TRUE(listed);
        EXPECT_FALSE(dump.mentions("swordfish-of"));
        EXPECT_TRUE(dump.valid());
    }
}

TEST_F(CrashHandlerTest, RegistersAndModules) {
    Crash out = crash("store");
    MiniDump& dump = out.dump;
    ASSERT_TRUE(dump.valid());
    ASSERT_TRUE(dump.has(6));
    const u32 context = dump.exception_context();
    EXPECT_EQ(dump.field(context, MiniDump::kR12), 0x1122334455667788u);
    EXPECT_EQ(dump.field(context, MiniDump::kR13), 0x99aabbccddeeff00u);
    EXPECT_EQ(dump.field(context, MiniDump::kRcx), kBadAddress);
    const u64 instruction = dump.field(context, MiniDump::kRip);
    EXPECT_EQ(dump.exception_address(), instruction);
    const auto modules = dump.modules();
    const auto own = std::find_if(modules.begin(), modules.end(), [&](const MiniDump::Module& m) {
        return instruction >= m.base && instruction - m.base < m.bytes;
    });
    ASSERT_NE(own, modules.end());
    EXPECT_TRUE(own->name.ends_with(".exe")) << own->name;
    EXPECT_EQ(dump.processor_architecture(), 9u);
    EXPECT_EQ(dump.platform(), 2u);  // Windows NT
    EXPECT_TRUE(dump.valid());
}

TEST_F(CrashHandlerTest, AFileThatCannotBeCreated) {
    Crash out = crash("names taken");
    EXPECT_EQ(out.dumps.size(), 0u);
    EXPECT_EQ(out.out,
              "half a line \nOops... Kalvor has crashed.\n\nCreating mini-dump file...   "
              "\nUnable to create dump file: 5\n"
              "\nThe program will now exit.\nPress any key to continue . . . \n");
}

TEST_F(CrashHandlerTest, WithoutARecord) {
    Crash out = crash("no record");
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_EQ(out.out, kReport);
    ASSERT_TRUE(out.dump.valid());
    EXPECT_FALSE(out.dump.has(6));
    EXPECT_GE(out.dump.n_threads(), 1u);
    EXPECT_FALSE(out.dump.mentions("swordfish-of"));
}
