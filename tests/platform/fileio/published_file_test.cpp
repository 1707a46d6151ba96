// Files that get their name when they are whole: what is left after every call that goes wrong, and what
// several writers of one name do to each other.
#include "platform/fileio/published_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

#include "base/errors/exceptions.h"
#include "fault/fault_sweep.h"
#include "fault/lock_step.h"
#include "platform/fileio/output_folder.h"
#include "platform/fileio/persistent.h"
#include "platform/memory/guarded_heap.h"
#include "support/capture_console.h"
#include "support/message_of.h"
#include "support/temporary_folder.h"

using namespace trel;
using namespace trel::FileIO;
using kalvor_test::Form;
using kalvor_test::message_of;
using kalvor_test::TemporaryFolder;
using Call = FaultyFile::Call;

namespace {

constexpr u64 kBytes = 5000;

class PublishedFilesTest : public ::testing::Test {
  protected:
    std::string draft() const { return folder_.file("x (incomplete)"); }
    std::string target() const { return folder_.file("x"); }
    void clear() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder_.file(""))) {
            std::filesystem::remove_all(entry.path());
        }
    }
    // Whole sectors of one letter, read back through the same handle before the file gets its name.
    void write(char letter, const FileCalls& calls = FileCalls::of_this_machine(),
               AskAgain ask_again = {}) const {
        PublishedFile file(draft(), target(), calls);
        file.ask_again(std::move(ask_again));
        if (file.reserve(8192)) throw FileException("reserve", "", draft());
        GuardedBuffer data(8192, kSectorBytes);
        std::memset(data.get(), letter, 8192);
        file.file().store(data.get(), 0, 8192);
        file.complete(kBytes);
        GuardedBuffer back(8192, kSectorBytes);
        const u64 got = file.file().load_available(back.get(), 0, 8192);
        if (got != kBytes || std::memcmp(data.get(), back.get(), kBytes) != 0) {
            throw FileException("read back", "", draft());
        }
        file.publish();
    }
    // Windows lets nobody read what another run has just renamed and not closed yet.
    std::string readable() const { return std::ifstream(target()) ? folder_.read("x") : "held"; }
    static std::string content(char letter) { return std::string(kBytes, letter); }

    TemporaryFolder folder_;
};

}  // namespace

TEST_F(PublishedFilesTest, GetTheirNameAtTheEnd) {
    folder_.write("x", "old");
    PublishedFile file(draft(), target());
    EXPECT_TRUE(folder_.has("x (incomplete)"));
    EXPECT_EQ(message_of<FileException>(Form::with_path, [&] { file.publish(); }),
              "PublishedFile::publish()|The file is not complete.|" + draft());
    const GuardedBuffer data(4096, kSectorBytes);
    file.file().store(data.get(), 0, 4096);
    file.complete(100);
    EXPECT_EQ(folder_.read("x"), "old");
    file.publish();
    EXPECT_FALSE(file.is_open());
    EXPECT_EQ(folder_.read("x").size(), 100U);
    EXPECT_FALSE(folder_.has("x (incomplete)"));
}

// Every call fails once: never a lost good file, never a wrong one under the final name.
TEST_F(PublishedFilesTest, EveryFailingCallLeavesTheGoodFile) {
    for (const int keys : {0, 1}) {
        FaultSweep sweep;
        sweep.keys = keys;
        sweep.prepare = [&] {
            clear();
            folder_.write("x", "old");
            folder_.write("x (incomplete)", "of an earlier run");
        };
        sweep.operation = [&](const FileCalls& calls) { write('a', calls); };
        sweep.check = [&](const FaultPoint&, const FaultOutcome& outcome) {
            EXPECT_EQ(folder_.read("x"), outcome.thrown ? "old" : content('a')) << outcome.message;
            if (!outcome.thrown) {
                EXPECT_FALSE(folder_.has("x (incomplete)"));
            }
        };
        EXPECT_GT(sweep.run(), 25U);
    }
}

TEST_F(PublishedFilesTest, ASecondRunIsRefusedBeforeItStarts) {
    PublishedFile first(draft(), target());
    EXPECT_EQ(message_of<FileException>(Form::with_path, [&] { PublishedFile(draft(), target()); }),
              "PublishedFile()|Another run is writing this file. Wait until it has ended, or choose another "
              "folder.|" +
                  draft());
    const GuardedBuffer data(4096, kSectorBytes);
    first.file().store(data.get(), 0, 4096);
    first.complete(10);
    first.publish();
    EXPECT_EQ(folder_.read("x").size(), 10U);
}

TEST_F(PublishedFilesTest, AForgottenDraftBlocksNobody) {
    folder_.write("x (incomplete)", std::string(20000, 'f'));
    write('a');
    EXPECT_EQ(folder_.read("x"), content('a'));
}

TEST_F(PublishedFilesTest, UnfinishedOnesKeepWhatWasWritten) {
    const GuardedBuffer data(8192, kSectorBytes);
    {
        PublishedFile file(draft(), target());
        EXPECT_FALSE(file.reserve(1 << 20));
        EXPECT_EQ(file.file().size(), u64(1) << 20);
    }
    EXPECT_FALSE(folder_.has("x (incomplete)")) << "nothing was written";
    {
        PublishedFile file(draft(), target());
        EXPECT_FALSE(file.reserve(1 << 20));
        file.file().store(data.get(), 0, 8192);
    }
    EXPECT_EQ(folder_.read("x (incomplete)").size(), 8192U);
    {
        PublishedFile file(draft(), target());
        file.file().store(data.get(), 0, 8192);
        file.discard();
    }
    EXPECT_FALSE(folder_.has("x (incomplete)"));
    EXPECT_FALSE(folder_.has("x"));
}

TEST_F(PublishedFilesTest, AFullDiskIsTold) {
    FaultyFile disk;
    PublishedFile file(draft(), target(), disk.file_calls());
    EXPECT_FALSE(file.needs_space());
    disk.fail(Call::reserve, 1, FaultyFile::disk_full());
    EXPECT_EQ(file.reserve(1 << 20).category, os::ErrorCategory::disk_full);
    EXPECT_EQ(file.file().size(), 0U);
    const GuardedBuffer data(8192, kSectorBytes);
    disk.fail(Call::write, 1, FaultyFile::disk_full());
    disk.fail(Call::write, 2, FaultyFile::write_fault());
    EXPECT_THROW(file.file().store(data.get(), 0, 8192), FileException);
    EXPECT_TRUE(file.needs_space());
    EXPECT_THROW(file.file().store(data.get(), 0, 8192), FileException);
    EXPECT_FALSE(file.needs_space());
    disk.fail(Call::flush, 1, FaultyFile::disk_full());
    EXPECT_THROW(file.complete(0), FileException);
    EXPECT_TRUE(file.needs_space());
}

// Answers that never end do not make it spin; the name is given when the rename is granted.
TEST_F(PublishedFilesTest, ARefusedNameIsAskedForAgain) {
    folder_.write("x", "old");
    FaultyFile disk;
    disk.fail(Call::rename, 1, FaultyFile::access_denied(), 3);
    std::vector<std::string> refusals;
    write('a', disk.file_calls(), [&](const Refusal& refusal) {
        refusals.push_back(refusal.message + ("|" + refusal.path) + "|" + std::to_string(refusal.error.code));
        return true;
    });
    EXPECT_EQ(refusals, std::vector<std::string>(3, "Unable to rename file.|" + target() + "|13"));
    EXPECT_EQ(disk.waits(), (std::vector<double>{1, 1, 1}));
    EXPECT_EQ(folder_.read("x"), content('a'));
    EXPECT_EQ(disk.count(Call::remove), 0U);
}

// When nobody asks for another attempt: the digits are whole, and the exception tells where. Nothing is
// printed beside it.
TEST_F(PublishedFilesTest, ARefusedNameTellsWhereTheWholeFileIs) {
    for (const bool asked : {false, true}) {
        folder_.write("x", "old");
        FaultyFile disk;
        disk.fail(Call::rename, 1, FaultyFile::access_denied());
        const CaptureConsole console(CaptureConsole::terminal);
        AskAgain ask_again;
        if (asked) ask_again = [](const Refusal&) { return false; };
        EXPECT_EQ(
            message_of<FileException>(Form::with_path, [&] { write('a', disk.file_calls(), ask_again); }),
            "PublishedFile::publish()|Unable to rename file.\n\nThe file is whole. Only its name could "
            "not be given. It stays here, rename it by hand:\n" +
                draft() + "\n\nAccess Denied|" + target());
        EXPECT_EQ(console.text(), "");
        EXPECT_EQ(folder_.read("x"), "old");
        EXPECT_EQ(folder_.read(draft().substr(draft().find_last_of("/\\") + 1)), content('a'));
    }
}

TEST_F(PublishedFilesTest, AChangedSizeIsNoticed) {
    PublishedFile file(draft(), target());
    const GuardedBuffer data(4096, kSectorBytes);
    file.file().store(data.get(), 0, 4096);
    file.complete(100);
    file.file().set_size(101);
    EXPECT_EQ(
        message_of<FileException>(Form::with_path, [&] { file.publish(); }),
        "PublishedFile::publish()|The file has 101 bytes instead of 100. Did another program change it?|" +
            draft());
    EXPECT_FALSE(folder_.has("x"));
}

// ---- several runs into one path, with every order of their calls

namespace {

// What is under the final name: a run's letter when its whole content is there, "old", "held" or "broken".
std::string summary(const std::string& content) {
    if (content == "old" || content == "held") return content;
    return !content.empty() && content == std::string(kBytes, content[0]) ? content.substr(0, 1) : "broken";
}

struct RunsOnePath {
    std::function<void(char, const FileCalls&)> write;
    std::function<std::string()> target;
    std::string succeeded;  // letters of the runs that ended well
    u64 total = 0;

    // As many runs as letters.
    void run(const std::string& letters, const std::vector<int>& schedule) {
        succeeded.clear();
        std::vector<std::function<void(const FileCalls&)>> threads;
        for (const char letter : letters) {
            threads.push_back([this, letter](const FileCalls& calls) {
                try {
                    write(letter, calls);
                } catch (const FileException&) {
                    return;
                }
                succeeded += letter;
                // A later run may have replaced it already; nothing else may be there.
                EXPECT_NE(summary(target()), "broken") << letter;
                EXPECT_NE(summary(target()), "old") << letter << " ended well without its file";
            });
        }
        run_in_lock_step(threads, schedule);
        total += succeeded.size();
        const std::string left = summary(target());
        if (succeeded.empty()) {
            EXPECT_EQ(left, "old");
        } else {
            EXPECT_NE(succeeded.find(left), std::string::npos) << left << " of " << succeeded;
        }
    }
};

}  // namespace

// The second run does its first j calls before the k-th call of the first one, and the rest at the end.
TEST_F(PublishedFilesTest, TwoRunsAtAnyPointOfEachOther) {
    constexpr int kMostCalls = 14;
    RunsOnePath runs;
    runs.write = [&](char letter, const FileCalls& calls) { write(letter, calls); };
    runs.target = [&] { return readable(); };
    for (const bool forgotten : {false, true}) {
        for (int k = 0; k < kMostCalls; k++) {
            for (int j = 1; j <= kMostCalls; j += k < 6 ? 1 : 5) {
                SCOPED_TRACE("second run's calls " + std::to_string(j) + " before call " + std::to_string(k));
                clear();
                folder_.write("x", "old");
                if (forgotten) folder_.write("x (incomplete)", "of an earlier run");
                std::vector<int> schedule(static_cast<std::size_t>(k), 0);
                schedule.insert(schedule.end(), static_cast<std::size_t>(j), 1);
                schedule.insert(schedule.end(), 100, 0);
                runs.run("ab", schedule);
                EXPECT_FALSE(runs.succeeded.empty()) << "both runs were refused";
            }
        }
    }
    EXPECT_GT(runs.total, 150U);
}

// Complete files of which there are more than handles.
TEST_F(PublishedFilesTest, CompleteFilesCanBeLetGoOf) {
    GuardedBuffer data(8192, kSectorBytes);
    std::memset(data.get(), 'r', 8192);
    {
        PublishedFile file(draft(), target());
        file.file().store(data.get(), 0, 8192);
        file.complete(kBytes);
        file.rest();
        EXPECT_FALSE(file.is_open());
        EXPECT_EQ(folder_.read("x (incomplete)"), content('r')) << "nothing holds it";
        file.resume();
        file.publish();
        EXPECT_EQ(folder_.read("x"), content('r'));
    }
    PublishedFile file(draft(), target());
    file.file().store(data.get(), 0, 8192);
    file.complete(kBytes);
    file.rest();
    folder_.write("x (incomplete)", "another");
    EXPECT_EQ(
        message_of(Form::with_path, [&] { file.resume(); }),
        "PublishedFile::publish()|The file has 7 bytes instead of 5000. Did another program change it?|" +
            draft());
    file.leave();
    EXPECT_EQ(folder_.read("x (incomplete)"), "another") << "left as it is";
}

// Nor need they be complete: what was stored stays, what was only reserved does not.
TEST_F(PublishedFilesTest, BegunFilesCanBeLetGoOf) {
    GuardedBuffer data(8192, kSectorBytes);
    std::memset(data.get(), 'r', 8192);
    {
        PublishedFile file(draft(), target());
        EXPECT_FALSE(file.reserve(1 << 20).failed());
        file.file().store(data.get(), 0, 4096);
        file.rest();
        EXPECT_TRUE(file.is_resting());
        EXPECT_FALSE(file.is_open());
        file.resume();
        file.file().store(data.get(), 4096, 4096);
        file.complete(kBytes);
        file.publish();
        EXPECT_EQ(folder_.read("x"), content('r'));
    }
    for (const bool resumed : {false, true}) {
        {
            PublishedFile file(draft(), target());
            EXPECT_FALSE(file.reserve(1 << 20).failed());
            file.file().store(data.get(), 0, 4096);
            file.rest();
            if (resumed) file.resume();
        }
        EXPECT_EQ(folder_.read("x (incomplete)"), std::string(4096, 'r')) << resumed;
    }
    PublishedFile gone(draft(), target());
    gone.rest();
    gone.leave();
    EXPECT_FALSE(folder_.has("x (incomplete)")) << "nothing was stored";
}

TEST_F(PublishedFilesTest, ThreeRunsInRandomOrders) {
    RunsOnePath runs;
    runs.write = [&](char letter, const FileCalls& calls) { write(letter, calls); };
    runs.target = [&] { return readable(); };
    u64 seed = 1;
    const auto random = [&] {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        return seed >> 33;
    };
    for (int round = 0; round < 150; round++) {
        SCOPED_TRACE("round " + std::to_string(round));
        clear();
        folder_.write("x", "old");
        if (round % 2) folder_.write("x (incomplete)", "of an earlier run");
        std::vector<int> schedule;
        while (schedule.size() < 80) {
            const u64 burst = 1 + random() % 6;
            const int who = static_cast<int>(random() % 3);
            for (u64 i = 0; i < burst; i++) schedule.push_back(who);
        }
        runs.run("abc", schedule);
        EXPECT_FALSE(runs.succeeded.empty()) << "all runs were refused";
    }
}

// A probe has a name of its own: a file of the user stays, whatever it is called.
TEST(OutputFolderProbeTest, TouchesNoFileOfTheUser) {
    const TemporaryFolder folder;
    folder.write("pathcheck.sf", "mine");
    EXPECT_FALSE(check_writable(folder.file("")));
    EXPECT_EQ(folder.read("pathcheck.sf"), "mine");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.file("")), {}), 1);
}

// Nobody knows the name beforehand and lays something out for it.
TEST(OutputFolderProbeTest, HasARandomName) {
    const TemporaryFolder folder;
    std::set<std::string> names;
    FaultyFile disk;
    disk.on_call([&](FaultyFile::Call call) {
        if (call != FaultyFile::Call::remove) return;
        for (const auto& entry : std::filesystem::directory_iterator(folder.file("")))
            names.insert(entry.path().filename().string());
    });
    for (int i = 0; i < 3; i++) EXPECT_FALSE(check_writable(folder.file(""), disk.file_calls()));
    EXPECT_EQ(names.size(), 3u);
    for (const std::string& name : names)
        EXPECT_TRUE(name.starts_with("pathcheck-") && name.ends_with(".sf")) << name;
}
