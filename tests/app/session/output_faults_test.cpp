// Whole runs on a disk that fails, and several runs into one path: a run that ends well has its file, and
// whatever goes wrong, the file that was there before is good or was replaced by a good one.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>

#include "app/session/normal_float_session_b.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "fault/fault_sweep.h"
#include "fault/faulty_file.h"
#include "fault/lock_step.h"
#include "os/console.h"
#include "platform/parallel/run_monitor.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using kalvor_test::TemporaryFolder;
using trel::FileIO::FileCalls;

constexpr u64 kDigits = 9000;
constexpr const char* kName = "Pi - Dec - Chudnovsky.txt";
constexpr const char* kHexName = "Pi - Hex - Chudnovsky.txt";

class OutputFaultsTest : public testing::Test {
  protected:
    std::string out(const std::string& name) const { return "out/" + name; }
    void run(const FileCalls& calls, u64 digits, bool overwrite, bool hexadecimal = false) const {
        ComputeSettings settings;
        settings.set_decimal_digits(static_cast<trel::i64>(digits));
        settings.enable_hex = hexadecimal;
        settings.path = folder_.file("out");
        settings.overwrite = overwrite;
        settings.minimum_space = minimum_space_;
        settings.parallelism.framework = trel::make_default_framework_config("none");
        try {
            trel::LinearConsoleNode status(79, 1.0);
            NormalFloatSessionB(std::move(settings), kalvor_test::authorized(), status,
                                on_terminal_ ? &status : nullptr, {.calls = &calls})
                .run();
        } catch (const trel::FileIO::FileException&) {
            throw;
        } catch (const trel::StringException& e) {  // a check that found something wrong
            throw trel::FileIO::FileException(e.function, e.message, "");
        }
    }
    // Whether this system renames over a file that is open for reading.
    bool a_file_that_is_read_can_be_replaced() const {
        folder_.write("read", "old");
        folder_.write("new", "new");
        const std::ifstream reader(folder_.file("read"));
        std::error_code refused;
        std::filesystem::rename(folder_.file("new"), folder_.file("read"), refused);
        return !refused;
    }
    void clear() const {
        std::filesystem::remove_all(folder_.file("out"));
        std::filesystem::create_directory(folder_.file("out"));
    }
    // What an undisturbed run writes.
    std::string digits_of(u64 digits, bool hexadecimal = false) const {
        clear();
        run_in_lock_step({[&](const FileCalls& calls) { run(calls, digits, false, hexadecimal); }}, {});
        return folder_.read(out(hexadecimal ? kHexName : kName));
    }

    bool on_terminal_ = false;
    std::optional<bool> minimum_space_;
    TemporaryFolder folder_;
};

TEST_F(OutputFaultsTest, EveryFailingCallWithAGoodFileInPlace) {
    const std::string want = digits_of(kDigits), want_hex = digits_of(kDigits, true);
    const std::string old = "3.14159";
    ASSERT_EQ(want.size(), kDigits + 2);
    FaultSweep sweep;
    sweep.prepare = [&] {
        clear();
        folder_.write(out(kName), old);
        folder_.write(out(kHexName), old);
        folder_.write(out("Pi - Dec - Chudnovsky (incomplete).txt"), "3.14 of a run that was killed");
    };
    sweep.operation = [&](const FileCalls& calls) { run(calls, kDigits, false, true); };
    u64 failed = 0;
    sweep.check = [&](const FaultPoint&, const FaultOutcome& outcome) {
        const std::string decimal = folder_.read(out(kName)), hexadecimal = folder_.read(out(kHexName));
        if (outcome.thrown) {
            failed++;
            EXPECT_TRUE(decimal == old || decimal == want) << outcome.message;
            EXPECT_TRUE(hexadecimal == old || hexadecimal == want_hex) << outcome.message;
        } else {
            EXPECT_TRUE(decimal == want);
            EXPECT_TRUE(hexadecimal == want_hex);
        }
    };
    EXPECT_GT(sweep.run(), 60U);
    EXPECT_GT(failed, 30U);
}

// The output is a terminal, the input is not (the runner of the tests gives them an empty one): the run asks
// nobody, and tries again after a minute.
TEST_F(OutputFaultsTest, AFullVolumeAsksOnlyWhereBothEndsAreTerminals) {
    if (trel::os::stdin_is_terminal()) GTEST_SKIP() << "the standard input is a terminal";
    CaptureConsole console(CaptureConsole::terminal);
    console.type({folder_.file("answer")});
    FaultyFile disk;
    disk.on_wait([&](double) { disk.disk_no_longer_full(); });
    disk.disk_full_after(5000);
    on_terminal_ = true;
    run(disk.file_calls(), kDigits, false);
    EXPECT_EQ(disk.waits(), std::vector<double>(1, 60));
    EXPECT_EQ(console.lines_left(), 1U);
    EXPECT_TRUE(folder_.has(out(kName)));
}

TEST_F(OutputFaultsTest, TheWantedSpaceReachesTheFiles) {
    const CaptureConsole console;
    FaultyFile disk;
    disk.free_space(1000);
    minimum_space_ = true;
    EXPECT_THROW(run(disk.file_calls(), kDigits, false), trel::FileIO::FileException);
    EXPECT_FALSE(folder_.has(out(kName)));
    minimum_space_ = false;
    run(disk.file_calls(), kDigits, false);
    EXPECT_TRUE(folder_.has(out(kName)));
}

// What nobody has set is decided by the time that the run is to take.
TEST_F(OutputFaultsTest, LongRunsAreRefusedForWantOfSpace) {
    const CaptureConsole console;
    FaultyFile disk;
    disk.free_space(1000);
    const auto check = [&](u64 digits) {
        ComputeSettings settings;
        settings.set_decimal_digits(static_cast<trel::i64>(digits));
        settings.path = folder_.file("out");
        settings.parallelism.framework = trel::make_default_framework_config("none");
        settings.parallelism.task_decomposition = 1;
        trel::LinearConsoleNode status(79, 1.0);
        // So much memory that it does not decide; it is not taken, because the run is stopped before.
        NormalFloatSessionB session(
            std::move(settings), kalvor_test::authorized(), status, nullptr,
            {.memory_status =
                 [] {
                     return trel::os::MemoryStatus{u64(1) << 60, u64(1) << 60, ~u64(0)};
                 },
             .calls = &disk.file_calls()});
        session.request_stop();
        session.run();
    };
    // Hours in one task; a moment.
    EXPECT_THROW(check(100000000000), trel::FileIO::FileException);
    EXPECT_THROW(check(100000), trel::RunStopped);
}

TEST_F(OutputFaultsTest, SeveralRunsIntoOnePath) {
    std::map<u64, std::string> want;
    for (u64 i = 0; i < 3; i++) want[kDigits + i] = digits_of(kDigits + i);
    u64 seed = 5, total = 0, all_refused = 0;
    const auto random = [&] {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        return seed >> 33;
    };
    for (int round = 0; round < 60; round++) {
        SCOPED_TRACE("round " + std::to_string(round));
        clear();
        folder_.write(out(kName), "3.14159");
        if (round % 3 == 0) {
            folder_.write(out("Pi - Dec - Chudnovsky (incomplete).txt"), "3.14 of a run that was killed");
        }
        std::vector<u64> succeeded;
        std::vector<std::function<void(const FileCalls&)>> runs;
        for (u64 i = 0; i < 2 + static_cast<u64>(round) % 2; i++) {
            runs.push_back([&, i](const FileCalls& calls) {
                try {
                    run(calls, kDigits + i, true);
                } catch (const trel::FileIO::FileException&) {
                    return;
                }
                succeeded.push_back(kDigits + i);
                // Windows lets nobody read what another run has just renamed and not closed yet.
                if (!std::ifstream(folder_.file(out(kName)))) return;
                const std::string there = folder_.read(out(kName));
                EXPECT_TRUE(want.contains(there.size() - 2) && want[there.size() - 2] == there);
            });
        }
        std::vector<int> schedule;
        while (schedule.size() < 150) {
            const u64 burst = 1 + random() % 9;
            schedule.insert(schedule.end(), burst, static_cast<int>(random() % runs.size()));
        }
        run_in_lock_step(runs, schedule);
        total += succeeded.size();
        const std::string there = folder_.read(out(kName));
        if (succeeded.empty()) {
            // Where a file that is being read cannot be replaced, all runs may refuse each other.
            all_refused++;
            EXPECT_EQ(there, "3.14159");
            continue;
        }
        bool is_of_a_run = false;
        for (const u64 digits : succeeded) is_of_a_run |= want[digits] == there;
        EXPECT_TRUE(is_of_a_run) << there.size();
    }
    EXPECT_GE(total, 60U);
    EXPECT_LE(all_refused, a_file_that_is_read_can_be_replaced() ? 0U : 3U);
}

}  // namespace
}  // namespace kalvor
