// What the viewer does with the disk: calls that fail, bytes that it reads, pieces of any size.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <random>

#include "base/errors/exceptions.h"
#include "digits/viewer/compress.h"
#include "digits/viewer/extract_txt.h"
#include "digits/viewer/view_range.h"
#include "digits/viewer/viewer_files.h"
#include "fault/fault_sweep.h"
#include "platform/memory/guarded_heap.h"
#include "support/capture_console.h"

namespace kalvor::DigitViewer2 {
namespace {

class ViewerDiskTest : public testing::Test {
  protected:
    // Runs an action once for every call that can fail. What has a final name is whole, whatever happens; an
    // action that ends without an exception has made all of it.
    void sweep(const std::map<std::string, std::string>& want,
               const std::function<void(const FileIO::FileCalls& calls)>& action) {
        FaultSweep sweep;
        sweep.prepare = [&] {
            for (const auto& [name, content] : want) {
                std::filesystem::remove(folder_.file(name));
                const std::string base = name.substr(0, name.size() - 4), ending = name.substr(base.size());
                std::filesystem::remove(folder_.file(base + " (incomplete)" + ending));
            }
        };
        sweep.operation = [&](const FileIO::FileCalls& calls) {
            try {
                action(calls);
            } catch (const FileIO::FileException&) {
                throw;
            } catch (const Exception& error) {
                // A flipped bit makes a header or a digit invalid.
                throw FileIO::FileException("other", error.get_typename(), "");
            }
        };
        sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
            // Neither format has a checksum: a bit that the disk changes changes a digit.
            if (point.kind == FaultPoint::flipped_bit) return;
            for (const auto& [name, content] : want) {
                if (!outcome.thrown) {
                    EXPECT_TRUE(folder_.has(name)) << name << point.describe();
                }
                if (folder_.has(name)) {
                    EXPECT_TRUE(folder_.read(name) == content) << name << point.describe();
                }
            }
            if (!outcome.thrown) return;
            EXPECT_FALSE(outcome.message.empty());
            // A file that does not open is told in the words of whoever needed it.
            if (point.kind == FaultPoint::error && point.made.call != FaultyFile::Call::open) {
                EXPECT_EQ(outcome.code, point.os_error.code) << outcome.message << point.describe();
            }
        };
        sweep.keys = 1;
        EXPECT_GT(sweep.run(), 50U);
    }
    u64 bytes_read(FaultyFile& disk, const std::function<void()>& action) {
        const CaptureConsole console;
        const std::size_t before = disk.calls().size();
        action();
        u64 bytes = 0;
        std::size_t at = 0;
        for (const FaultyFile::Made& call : disk.calls()) {
            if (at++ >= before && call.call == FaultyFile::Call::read) bytes += call.bytes;
        }
        return bytes;
    }
    std::unique_ptr<BasicDigitReader> opened(const char* name, const FileIO::FileCalls& calls) const {
        return open_digit_file(folder_.file(name), {}, "", calls);
    }
    ViewerRun run_on(const FileIO::FileCalls& calls) {
        return {serial_context(), status_, ViewerCalls::of_this_machine(), calls};
    }
    const kalvor_test::TemporaryFolder folder_;
    LinearConsoleNode status_{79, 1.0};
    const ViewerRun run_{serial_context(), status_};
};

TEST_F(ViewerDiskTest, EveryFailingCallOfExtracting) {
    const std::string digits = random_digits(20000, 10, 1);
    folder_.write("a.txt", "3." + digits);
    {
        const CaptureConsole console;
        compress_all(*open_digit_file(folder_.file("a.txt")), 20000, {folder_.file("set"), 9000}, run_);
    }
    sweep({{"part.txt", "3." + digits.substr(100, 19000)}}, [&](const FileIO::FileCalls& calls) {
        extract_txt(*opened("set - 2.kvd", calls), 101, 19100, folder_.file("part"), run_on(calls));
    });
}

TEST_F(ViewerDiskTest, EveryFailingCallOfCompressing) {
    const std::string digits = random_digits(350, 10, 2);
    folder_.write("a.txt", "3." + digits);
    std::map<std::string, std::string> want;
    {
        const CaptureConsole console;
        compress_all(*open_digit_file(folder_.file("a.txt")), 350, {folder_.file("set"), 100}, run_);
        extract_txt(*open_digit_file(folder_.file("set - 3.kvd")), 1, 350, folder_.file("back"), run_);
    }
    ASSERT_EQ(folder_.read("back.txt"), "3." + digits);
    for (const char* id : {"0", "1", "2", "3"}) {
        want[std::string("y - ") + id + ".kvd"] = folder_.read(std::string("set - ") + id + ".kvd");
    }
    sweep(want, [&](const FileIO::FileCalls& calls) {
        compress_all(*opened("a.txt", calls), 350, {folder_.file("y"), 100}, run_on(calls));
    });
    want.erase("y - 0.kvd");
    want.erase("y - 3.kvd");
    std::filesystem::remove(folder_.file("y - 0.kvd"));
    std::filesystem::remove(folder_.file("y - 3.kvd"));
    sweep(want, [&](const FileIO::FileCalls& calls) {
        compress_partial(*opened("a.txt", calls), 1, 2, {folder_.file("y"), 100}, run_on(calls));
    });
}

// A set that is made again replaces itself; a longer one stays.
TEST_F(ViewerDiskTest, CompressingAgainReplacesTheSet) {
    const std::string digits = random_digits(350, 10, 3);
    folder_.write("a.txt", "3." + digits);
    CaptureConsole console;
    const auto reader = open_digit_file(folder_.file("a.txt"));
    compress_all(*reader, 350, {folder_.file("y"), 100}, run_);
    const std::string second = folder_.read("y - 1.kvd");
    EXPECT_NO_THROW(compress_all(*reader, 350, {folder_.file("y"), 100}, run_));
    EXPECT_NO_THROW(compress_partial(*reader, 1, 1, {folder_.file("y"), 100}, run_));
    EXPECT_EQ(folder_.read("y - 1.kvd"), second);
    EXPECT_THROW(compress_all(*reader, 250, {folder_.file("y"), 100}, run_), FileIO::FileException);
    EXPECT_EQ(folder_.read("y - 1.kvd"), second);
}

TEST_F(ViewerDiskTest, OpeningAndViewingReadsLittle) {
    constexpr u64 kDigits = 2500000, kMostToOpen = 65536, kTwoSectors = 2 * 4096;
    folder_.write("a.txt", "3." + random_digits(kDigits, 10, 4));
    {
        const CaptureConsole console;
        compress_all(*open_digit_file(folder_.file("a.txt")), kDigits, {folder_.file("set"), 1000000}, run_);
    }
    for (const char* name : {"a.txt", "set - 2.kvd", "set - 0.kvd"}) {
        FaultyFile disk;
        std::unique_ptr<BasicDigitReader> reader;
        const u64 opening = bytes_read(disk, [&] { reader = opened(name, disk.file_calls()); });
        EXPECT_GT(opening, 0U);
        EXPECT_LE(opening, kMostToOpen) << name;
        // The file of the digits is opened by the first look.
        for (const u64 count : {1, 50, 1000, 100000}) {
            const u64 start = 2100000;
            const bool opens = count == 1 && std::string(name) == "set - 0.kvd";
            const u64 viewing = bytes_read(disk, [&] { view_range(*reader, start, count, run_); });
            EXPECT_GE(viewing, count / 19 * 8);
            EXPECT_LE(viewing, count + kTwoSectors + (opens ? kMostToOpen : 0)) << name << " " << count;
        }
        // Two files, one of which is opened.
        const u64 viewing = bytes_read(disk, [&] { view_range(*reader, 999990, 20, run_); });
        EXPECT_LE(viewing, 20 + 2 * kTwoSectors + 2 * kMostToOpen) << name;
    }
}

// Another amount of memory for every action: the digits are the same.
TEST_F(ViewerDiskTest, RandomPiecesMoveTheSameDigits) {
    static std::mt19937_64 memory(5);
    const ViewerCalls calls = {[] { return u64(30000 + memory() % 200000); }};
    const ViewerRun run{serial_context(), status_, calls};
    std::mt19937_64 random(6);
    for (const u8 radix : {u8(10), u8(16)}) {
        const std::string digits = random_digits(60000, radix, radix) + (radix == 16 ? "f" : "1");
        const std::string source = std::to_string(radix) + ".txt";
        folder_.write(source, "3." + digits);
        for (int round = 0; round < 10; round++) {
            const CaptureConsole console;
            const std::string id = std::to_string(radix) + " " + std::to_string(round);
            const u64 end = radix == 16 ? digits.size() : 1000 + random() % 59000;
            const u64 D = 100 + random() % 20000;
            compress_all(*open_digit_file(folder_.file(source)), end, {folder_.file(id), D}, run);
            const std::string last = id + " - " + std::to_string((end - 1) / D) + ".kvd";
            const auto set = open_digit_file(folder_.file(last));
            const u64 from = 1 + random() % end, to = from + random() % (end - from + 1);
            extract_txt(*set, from, to, folder_.file(id), run);
            ASSERT_TRUE(folder_.read(id + ".txt") == "3." + digits.substr(from - 1, to - from + 1))
                << id << " " << end << " " << D << " " << from << " " << to;
        }
    }
}

std::string refusal(const std::function<void()>& action) {
    try {
        action();
    } catch (const FileIO::FileException& error) {
        return error.message;
    } catch (const AlgorithmFailedException& error) {
        return error.message;
    }
    return "";
}

// Everything that can be known is asked before anything is made or announced.
TEST_F(ViewerDiskTest, RefusesBeforeItMakesAnything) {
    const std::string digits = random_digits(350, 10, 8);
    folder_.write("a.txt", "3." + digits);
    folder_.write("old.txt", "3.1");
    CaptureConsole console;
    const auto text = open_digit_file(folder_.file("a.txt"));
    compress_all(*text, 350, {folder_.file("set"), 100}, run_);
    std::filesystem::remove(folder_.file("set - 1.kvd"));
    const auto set = open_digit_file(folder_.file("set - 3.kvd"));
    const auto names = [&] {
        return std::distance(std::filesystem::directory_iterator(folder_.file("")), {});
    };
    const auto before = names();
    console.take();

    // A file of the set is missing.
    std::string refused = refusal([&] { extract_txt(*set, 1, 350, folder_.file("old"), run_); });
    EXPECT_NE(refused.find("set - 1.kvd\nMissing required files."), std::string::npos) << refused;
    refused = refusal([&] { compress_all(*set, 350, {folder_.file("new"), 100}, run_); });
    EXPECT_NE(refused.find("Missing required files."), std::string::npos) << refused;
    // The new files are those that are read, whatever the path says.
    for (const char* path : {"a", "./a.txt", "x/../a"}) {
        refused = refusal([&] { extract_txt(*text, 1, 350, folder_.file(path), run_); });
        EXPECT_TRUE(refused.starts_with("The digits are read from there.")) << path << refused;
    }
    refused = refusal([&] { compress_partial(*set, 2, 2, {folder_.file("set"), 100}, run_); });
    EXPECT_TRUE(refused.starts_with("The digits are read from there.")) << refused;
    // A volume without room.
    FileIO::FileCalls full = FileIO::FileCalls::of_this_machine();
    full.volume_space = [](const char*) {
        os::VolumeSpace space;
        space.free_bytes = 100;
        return space;
    };
    for (int i = 0; i < 2; i++) {
        refused = refusal([&] {
            if (i == 0) extract_txt(*text, 1, 350, folder_.file("new"), run_on(full));
            if (i == 1) compress_all(*text, 350, {folder_.file("new"), 100}, run_on(full));
        });
        EXPECT_NE(refused.find("too little space"), std::string::npos) << refused;
    }
    FaultyFile disk;
    disk.fail(FaultyFile::Call::reserve, 1, FaultyFile::disk_full());
    refused = refusal([&] {
        compress_all(*text, 350, {folder_.file("new"), 100}, run_on(disk.file_calls()));
    });
    EXPECT_EQ(refused, "The space for the digits cannot be reserved.\n\nDisk is Full");
    EXPECT_EQ(console.take(), "");
    EXPECT_EQ(names(), before);

    // The words of a refused replacement are the viewer's own.
    folder_.write("longer.txt", "3." + std::string(400, '1'));
    refused = refusal([&] { extract_txt(*text, 1, 350, folder_.file("longer"), run_); });
    EXPECT_EQ(refused,
              "The digit file already there is longer: it has 400 digits, the new one has 350. Move it away, "
              "or choose another name or folder.");
}

// A digit that the disk changes is found before the file has its name.
TEST_F(ViewerDiskTest, ReadsBackWhatItWrote) {
    folder_.write("a.txt", "3." + random_digits(20000, 10, 9));
    const auto text = open_digit_file(folder_.file("a.txt"));
    CaptureConsole console;
    for (int i = 0; i < 2; i++) {
        FileIO::FileCalls calls = FileIO::FileCalls::of_this_machine();
        calls.write = [](i64 handle, const void* buffer, u64 offset, u64 bytes) {
            std::string changed(static_cast<const char*>(buffer), bytes);
            if (bytes > 3000) changed[3000] ^= 1;
            GuardedBuffer copy(bytes, 4096);
            std::memcpy(copy.get(), changed.data(), bytes);
            return FileIO::FileCalls::of_this_machine().write(handle, copy.get(), offset, bytes);
        };
        const std::string refused = refusal([&] {
            if (i == 0) extract_txt(*text, 1, 20000, folder_.file("b"), run_on(calls));
            if (i == 1) compress_all(*text, 20000, {folder_.file("b"), 0}, run_on(calls));
        });
        EXPECT_EQ(refused, "The files do not have the digits that were written to them.");
        EXPECT_FALSE(folder_.has(i == 0 ? "b.txt" : "b - 0.kvd"));
    }
}

// What an interrupt says of the files comes from the ledger.
TEST_F(ViewerDiskTest, TheLedgerKnowsEveryFile) {
    folder_.write("a.txt", "3." + random_digits(350, 10, 10));
    const auto text = open_digit_file(folder_.file("a.txt"));
    CaptureConsole console;
    FileLedger ledger;
    ViewerRun run{serial_context(), status_};
    run.ledger = &ledger;
    extract_txt(*text, 1, 350, folder_.file("b"), run);
    compress_all(*text, 350, {folder_.file("y"), 100}, run);
    std::vector<std::string> want = {folder_.file("b.txt")};
    for (const char* id : {"0", "1", "2", "3"})
        want.push_back(folder_.file(std::string("y - ") + id + ".kvd"));
    EXPECT_EQ(ledger.kept(), want);

    // Ended in the middle: the drafts.
    FileLedger drafts;
    RunMonitor monitor;
    const ParallelContext parallel{serial_context().framework, 1, &monitor};
    const ViewerCalls poor = {[] { return u64(40000); }};
    FileIO::FileCalls calls = FileIO::FileCalls::of_this_machine();
    calls.write = [&](i64 handle, const void* buffer, u64 offset, u64 bytes) {
        monitor.stop.request();
        return FileIO::FileCalls::of_this_machine().write(handle, buffer, offset, bytes);
    };
    folder_.write("c.txt", "3." + random_digits(50000, 10, 11));
    const auto longer = open_digit_file(folder_.file("c.txt"));
    const ViewerRun watched{parallel, status_, poor, calls, &drafts};
    EXPECT_THROW(compress_all(*longer, 50000, {folder_.file("z"), 10000}, watched), RunStopped);
    EXPECT_EQ(drafts.kept().at(0), folder_.file("z - 0 (incomplete).kvd"));
    EXPECT_FALSE(folder_.has("z - 0.kvd"));
}

}  // namespace
}  // namespace kalvor::DigitViewer2
