// The real program crashes in the middle of a computation, by a thread that another process starts in it.
#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "support/mini_dump.h"
#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

// Where no program has code.
const auto kNowhere = reinterpret_cast<LPTHREAD_START_ROUTINE>(0x1238);

// The program as a child of this process; 0: none.
DWORD child_process() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return 0;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    DWORD found = 0;
    for (BOOL more = Process32FirstW(snapshot, &entry); more && found == 0;
         more = Process32NextW(snapshot, &entry)) {
        if (entry.th32ParentProcessID == GetCurrentProcessId() &&
            _wcsicmp(entry.szExeFile, L"kalvor.exe") == 0) {
            found = entry.th32ProcessID;
        }
    }
    CloseHandle(snapshot);
    return found;
}

// The child, once it holds as much memory as only a computation needs; waits for it, a minute at most. Null:
// none.
HANDLE computing_child(DWORD& id) {
    HANDLE process = nullptr;
    for (int i = 0; i < 3000; i++) {
        if (process == nullptr && (id = child_process()) != 0) {
            process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, id);
        }
        PROCESS_MEMORY_COUNTERS counters{};
        if (process != nullptr && GetProcessMemoryInfo(process, &counters, sizeof counters) &&
            counters.WorkingSetSize > SIZE_T(64) << 20) {
            return process;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (process != nullptr) {
        TerminateProcess(process, 1);
        CloseHandle(process);
    }
    return nullptr;
}

TEST(CrashTest, AComputationThatCrashesLeavesADump) {
    TemporaryFolder folder;
    RunOptions options;
    options.folder = folder.path();
    options.environment = {"KALVOR_TEST_SECRET=swordfish-of-the-environment"};
    ProgramRun run;
    std::thread runner([&] {
        run = kalvor_test::run_kalvor({"pause:-2", "skip-warnings", "custom", "pi", "-dec:100m", "-od:0",
                                       "-o", "swordfish-of-the-command-line"},
                                      options);
    });
    DWORD id = 0;
    bool ended = false;
    const HANDLE process = computing_child(id);
    if (process != nullptr) {
        const HANDLE thread = CreateRemoteThread(process, nullptr, 0, kNowhere, nullptr, 0, nullptr);
        if (thread != nullptr) CloseHandle(thread);
        ended = WaitForSingleObject(process, 60000) == WAIT_OBJECT_0;
        if (!ended) TerminateProcess(process, 1);
        CloseHandle(process);
    }
    runner.join();
    ASSERT_NE(process, nullptr) << run.out;
    ASSERT_TRUE(ended) << run.out;
    EXPECT_EQ(static_cast<DWORD>(run.exit_code), EXCEPTION_ACCESS_VIOLATION) << run.out;
    // The other threads go on meanwhile and may print between the parts.
    std::size_t at = 0;
    for (const char* part : {"\nOops... Kalvor has crashed.\n\nCreating mini-dump file...   ", "Done!\n",
                             "\nThe program will now exit.\nPress any key to continue . . . \n"}) {
        at = run.out.find(part, at);
        ASSERT_NE(at, std::string::npos) << part << run.out;
        at += std::string(part).size();
    }

    std::vector<std::string> dumps = folder.files();
    std::erase_if(dumps, [](const std::string& name) { return !name.ends_with(".dmp"); });
    ASSERT_EQ(dumps.size(), 1u);
    EXPECT_EQ(dumps[0].rfind("Kalvor-20", 0), 0u);
    MiniDump dump(kalvor_test::read_file(folder / dumps[0]));
    ASSERT_TRUE(dump.valid());
    EXPECT_EQ(dump.exception_code(), EXCEPTION_ACCESS_VIOLATION);
    EXPECT_EQ(dump.process_id(), id);
    EXPECT_FALSE(dump.mentions("swordfish-of"));
    const auto modules = dump.modules();
    EXPECT_TRUE(std::any_of(modules.begin(), modules.end(),
                            [](const MiniDump::Module& m) { return m.name.ends_with("\\kalvor.exe"); }));
    EXPECT_TRUE(dump.valid());
}

}  // namespace
