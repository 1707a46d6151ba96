// Every call of every operation goes wrong once: what the user is told, and what is left on the disk.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string_view>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "fault/fault_sweep.h"
#include "platform/fileio/buffered_reader.h"
#include "platform/fileio/checksummed_file.h"
#include "platform/fileio/error_text.h"
#include "platform/fileio/file_calls.h"
#include "platform/fileio/output_folder.h"
#include "platform/fileio/persistent.h"
#include "platform/fileio/settings_file.h"
#include "platform/memory/guarded_heap.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;
using namespace trel::FileIO;
using Call = FaultyFile::Call;

namespace {

constexpr u64 kBlock = 4096;

class SweepsTest : public ::testing::TestWithParam<bool> {
  protected:
    SweepsTest() {
        for (u64 i = 0; i < 4 * kBlock; i++) data_.bytes()[i] = static_cast<u8>(i * 31 + i / 256 + 1);
    }
    std::string path(const char* name) const { return folder_.file(name); }
    std::string content(u64 begin, u64 bytes) const {
        return std::string(reinterpret_cast<const char*>(data_.bytes()) + begin, bytes);
    }
    void clear() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder_.file(""))) {
            std::filesystem::remove_all(entry.path());
        }
    }
    static void expect_quiet(const FaultOutcome& outcome) {
        EXPECT_FALSE(outcome.thrown) << outcome.message;
        EXPECT_EQ(outcome.console, "");
    }
    static bool undisturbed(const FaultPoint& point) { return point.made.number == 0; }

    TemporaryFolder folder_;
    GuardedBuffer data_{4 * kBlock, kSectorBytes};
    GuardedBuffer back_{4 * kBlock, kSectorBytes};
};

}  // namespace

TEST_P(SweepsTest, RawFile) {
    u64 flushed = 0;
    bool loaded = false;
    FaultSweep sweep;
    sweep.prepare = [&] {
        clear();
        flushed = 0;
        loaded = false;
    };
    sweep.operation = [&](const FileCalls& calls) {
        FileIO::RawFile file(path("a"), OpenMode::create, GetParam(), false, calls);
        Warnings warnings;
        file.reserve(4 * kBlock, warnings);
        file.store(data_.get(), 0, 2 * kBlock);
        file.flush();
        flushed = 2 * kBlock;
        file.store(data_.bytes() + 2 * kBlock, 2 * kBlock, 2 * kBlock);
        file.rename(path("b"));
        file.load(back_.get(), 0, 4 * kBlock);
        loaded = true;
        file.close_and_set_size(3 * kBlock + 5);
        flushed = 3 * kBlock + 5;
    };
    sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
        if (undisturbed(point))
            expect_quiet(outcome);
        else
            expect_reported(point, outcome);
        if (!outcome.thrown) {
            EXPECT_FALSE(folder_.has("a"));
            EXPECT_TRUE(loaded);
            EXPECT_EQ(folder_.read("b").size(), 3 * kBlock + 5);
        }
        if (point.kind == FaultPoint::flipped_bit) return;
        const std::string left = folder_.has("b") ? folder_.read("b") : folder_.read("a");
        EXPECT_EQ(left.substr(0, flushed), content(0, flushed)) << "flushed bytes were lost";
        if (loaded && point.kind != FaultPoint::short_count) {
            EXPECT_EQ(std::memcmp(back_.get(), data_.get(), 4 * kBlock), 0);
        }
    };
    EXPECT_GT(sweep.run(), 20U);
}

// What a checksummed file gives back is what was stored, or an exception.
TEST_P(SweepsTest, ChecksummedFile) {
    u64 mismatches = 0, stored = 0;
    constexpr u32 kSeed = 5;
    FaultSweep sweep;
    u32 scratch[4];
    sweep.prepare = [&] {
        clear();
        stored = 0;
    };
    sweep.operation = [&](const FileCalls& calls) {
        {
            FileIO::ChecksummedFile file(path("a"), OpenMode::create, GetParam(), 12, kSeed, false, calls);
            Warnings warnings;
            file.reserve(4 * kBlock, warnings);
            file.store(data_.get(), 0, 3 * kBlock);
            stored = 3;
            file.store(data_.bytes() + 3 * kBlock, 3 * kBlock, kBlock);
            file.flush();
            stored = 4;
            file.rename(path("b"));
        }
        FileIO::ChecksummedFile file(path("b"), OpenMode::read, GetParam(), 12, kSeed, false, calls);
        std::memset(back_.get(), 0, 4 * kBlock);
        file.load(back_.get(), 0, 4 * kBlock, scratch, sizeof scratch);
        ASSERT_EQ(std::memcmp(back_.get(), data_.get(), 4 * kBlock), 0) << "silently wrong";
    };
    sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
        if (undisturbed(point)) {
            expect_quiet(outcome);
        } else if (point.kind != FaultPoint::flipped_bit) {
            expect_reported(point, outcome);
        } else if (outcome.thrown) {
            mismatches++;
            EXPECT_EQ(outcome.function, "ChecksummedFile::load()");
            EXPECT_TRUE(outcome.message.starts_with("Checksum Mismatch: Data Corruption at Offset ["))
                << outcome.message;
            EXPECT_EQ(outcome.path, path("b"));
        }
        // Whatever happened: blocks that can be loaded are right.
        const char* name = folder_.has("b") && folder_.has("b.checksums") ? "b" : "a";
        if (!folder_.has(name) || !folder_.has(std::string(name) + ".checksums")) return;
        FileIO::ChecksummedFile file(path(name), OpenMode::read, GetParam(), 12, kSeed);
        for (u64 block = 0; block < stored; block++) {
            try {
                file.load(back_.get(), block * kBlock, kBlock, scratch, sizeof scratch);
            } catch (const FileException&) {
                continue;
            }
            EXPECT_EQ(std::memcmp(back_.get(), data_.bytes() + block * kBlock, kBlock), 0)
                << "block " << block;
        }
    };
    EXPECT_GT(sweep.run(), 40U);
    // Stored bytes, stored checksums, loaded bytes, loaded checksums: three bits each, two stores and a load.
    EXPECT_EQ(mismatches, 18U);
}

// A bit of every byte of data and checksums, on the way to the disk and back.
TEST_P(SweepsTest, EveryByteOfAChecksummedFileIsWatched) {
    u32 scratch[2];
    for (const Call call : {Call::read, Call::write}) {
        for (const u64 n : {u64(1), u64(2)}) {  // the data, the checksums
            for (u64 byte = 0; byte < (n == 1 ? 2 * kBlock : 8); byte += n == 1 ? 61 : 1) {
                FaultyFile disk;
                if (call == Call::read)
                    disk.flip_bit_of_read(n, 8 * byte + byte % 8);
                else
                    disk.flip_bit_of_write(n, 8 * byte + byte % 8);
                FileIO::ChecksummedFile file(path("a"), OpenMode::create, GetParam(), 12, 0, false,
                                             disk.file_calls());
                file.store(data_.get(), 0, 2 * kBlock);
                EXPECT_THROW(file.load(back_.get(), 0, 2 * kBlock, scratch, 8), FileException)
                    << n << " " << byte;
            }
        }
    }
}

TEST_P(SweepsTest, RenameOntoAnotherFile) {
    FaultSweep sweep;
    sweep.prepare = [&] {
        clear();
        folder_.write("a", "new");
        folder_.write("b", "old");
    };
    sweep.operation = [&](const FileCalls& calls) {
        FileIO::RawFile(path("a"), OpenMode::read_write, GetParam(), false, calls).rename(path("b"));
    };
    sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
        if (undisturbed(point))
            expect_quiet(outcome);
        else
            expect_reported(point, outcome);
        if (folder_.has("a")) {
            EXPECT_TRUE(outcome.thrown);
            EXPECT_EQ(folder_.read("a"), "new");
            EXPECT_EQ(folder_.read("b"), "old");
        } else {
            EXPECT_EQ(folder_.read("b"), "new");
        }
    };
    EXPECT_EQ(sweep.run(), 3U);  // open, rename, close
}

// A folder is a target that no removal of files gets out of the way.
TEST_P(SweepsTest, RenameOntoWhatCannotBeDeleted) {
    folder_.write("a", "new");
    std::filesystem::create_directory(path("b"));
    FileIO::RawFile file(path("a"), OpenMode::read_write, GetParam());
    try {
        file.rename(path("b"));
        ADD_FAILURE();
    } catch (const FileException& e) {
        EXPECT_EQ(e.function, "RawFile::rename()");
        EXPECT_TRUE(
            e.message.starts_with("Unable to rename file because the existing one can't be deleted.\n\n"))
            << e.message;
        EXPECT_EQ(e.path, path("b"));
        EXPECT_NE(e.error_code, 0U);
    }
    EXPECT_TRUE(file.is_open());
    EXPECT_EQ(file.path(), path("a"));
    file.close();
    EXPECT_EQ(folder_.read("a"), "new");
}

TEST_P(SweepsTest, TemporaryFilesAreAlwaysDeleted) {
    FaultSweep sweep;
    std::vector<std::string> failures;
    sweep.prepare = [&] {
        clear();
        failures.clear();
    };
    sweep.operation = [&](const FileCalls& calls) {
        FileIO::RawFile file(path("a"), OpenMode::create, GetParam(), true, calls);
        file.store(data_.get(), 0, kBlock);
        file.rename(path("b"));
        file.load(back_.get(), 0, kBlock);
        file.close();
        failures = file.closing_failures();
    };
    sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
        if (undisturbed(point)) {
            expect_quiet(outcome);
        } else if (point.made.call == Call::remove) {
            EXPECT_FALSE(outcome.thrown) << outcome.message;
            EXPECT_EQ(failures, std::vector<std::string>{"RawFile::close(): Unable to delete file."});
        } else {
            expect_reported(point, outcome);
        }
        EXPECT_FALSE(folder_.has("a"));
        EXPECT_EQ(folder_.has("b"), point.made.call == Call::remove);
    };
    EXPECT_GE(sweep.run(), 10U);
}

TEST_P(SweepsTest, PersistentRename) {
    for (const int keys : {0, 1}) {
        FaultSweep sweep;
        sweep.keys = keys;
        sweep.prepare = [&] {
            clear();
            folder_.write("a", "new");
            folder_.write("b", "old");
        };
        sweep.operation = [&](const FileCalls& calls) {
            LinearConsoleNode console(79, 1.0);
            persistent_rename(path("a"), path("b"), calls, ask_again_through(console, &console));
        };
        sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
            const std::string attempt = "\nUnable to rename file.\nError Code: 13\n" + path("b") +
                                        "\nRe-attempting...\nPress any key to continue . . . \n";
            const bool refused = point.made.call == Call::rename && !undisturbed(point);
            EXPECT_EQ(outcome.console, refused ? attempt : "");
            EXPECT_EQ(outcome.thrown, refused && keys == 0);
            EXPECT_EQ(folder_.read("b"), outcome.thrown ? "old" : "new") << "a good copy was lost";
            EXPECT_EQ(folder_.has("a"), outcome.thrown);
        };
        EXPECT_EQ(sweep.run(), 2U);
    }
}

TEST_P(SweepsTest, PersistentRemove) {
    for (const int keys : {0, 1}) {
        FaultSweep sweep;
        sweep.keys = keys;
        sweep.prepare = [&] { folder_.write("a", "x"); };
        sweep.operation = [&](const FileCalls& calls) {
            LinearConsoleNode console(79, 1.0);
            persistent_remove(path("a"), calls, ask_again_through(console, &console));
        };
        sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
            const std::string attempt = "\nUnable to delete file.\nError Code: 13\n" + path("a") +
                                        "\nRe-attempting...\nPress any key to continue . . . \n";
            EXPECT_EQ(outcome.console, undisturbed(point) ? "" : attempt);
            EXPECT_EQ(outcome.thrown, !undisturbed(point) && keys == 0);
            EXPECT_EQ(folder_.has("a"), outcome.thrown);
        };
        EXPECT_EQ(sweep.run(), 1U);
    }
    EXPECT_NO_THROW(persistent_remove(path("never there")));
}

TEST_P(SweepsTest, BufferedReader) {
    std::string text;
    for (int i = 0; i < 1500; i++) text += "line " + std::to_string(i) + "\n";
    folder_.write("text", text);
    std::string read;
    FaultSweep sweep;
    sweep.prepare = [&] { read.clear(); };
    sweep.operation = [&](const FileCalls& calls) {
        FileIO::BufferedReader reader(path("text"), GetParam() ? kBlock : 16 * kBlock, calls);
        while (!reader.at_end()) read += reader.read_line() + "\n";
    };
    sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
        if (undisturbed(point)) {
            expect_quiet(outcome);
        } else if (point.kind == FaultPoint::short_count) {
            const bool lost = read.size() != text.size();
            EXPECT_EQ(outcome.thrown, lost);
            if (lost) {
                EXPECT_EQ(outcome.function + outcome.message, "BufferedReader()Unexpected end of file.");
            }
        } else {
            expect_reported(point, outcome);
        }
        if (point.kind == FaultPoint::flipped_bit) return;
        EXPECT_TRUE(text.starts_with(read));
        EXPECT_EQ(outcome.thrown, read != text);
    };
    EXPECT_GT(sweep.run(), 8U);
}

TEST_P(SweepsTest, LoadTextFile) {
    folder_.write("text", "some text");
    std::string read;
    FaultSweep sweep;
    sweep.prepare = [&] { read.clear(); };
    sweep.operation = [&](const FileCalls& calls) { read = load_text_file(path("text"), calls); };
    sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
        if (undisturbed(point))
            expect_quiet(outcome);
        else
            expect_reported(point, outcome);
        if (point.kind != FaultPoint::flipped_bit) {
            EXPECT_EQ(read, outcome.thrown ? "" : "some text");
        }
    };
    EXPECT_GE(sweep.run(), 8U);
}

// The user is told that the file was not written, and the one of before is still there.
TEST_P(SweepsTest, SaveSettings) {
    const std::string whole = config_file_text("A", std::make_unique<Config::Object>());
    FaultSweep sweep;
    sweep.prepare = [&] {
        clear();
        folder_.write("a.cfg", "old");
    };
    sweep.operation = [&](const FileCalls& calls) {
        write_config_file(path("a.cfg"), "A", std::make_unique<Config::Object>(), calls);
    };
    sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
        // The look at what is there: what it cannot tell of is written through.
        const bool looking =
            (point.made.call == Call::open || point.made.call == Call::close) && point.made.number == 1;
        if (undisturbed(point) || looking) {
            EXPECT_FALSE(outcome.thrown);
        } else {
            expect_reported(point, outcome);
        }
        if (point.kind == FaultPoint::flipped_bit) return;
        EXPECT_EQ(folder_.read("a.cfg"), outcome.thrown ? "old" : whole);
    };
    EXPECT_GE(sweep.run(), 12U);
}

TEST_P(SweepsTest, PrepareOutputFolder) {
    std::string got;
    FaultSweep sweep;
    sweep.prepare = [&] {
        clear();
        std::filesystem::create_directories(path("x/y"));
    };
    sweep.operation = [&](const FileCalls& calls) {
        LinearConsoleNode console(79, 1.0);
        got = PreparedFolder(path("x/y"), calls, ask_again_through(console, &console)).prefix();
    };
    sweep.check = [&](const FaultPoint& point, const FaultOutcome& outcome) {
        EXPECT_EQ(got, path("x/y/"));
        EXPECT_TRUE(std::filesystem::exists(path("x/y")));
        switch (point.made.call) {
            case Call::open:
            case Call::close:
                if (undisturbed(point)) {
                    expect_quiet(outcome);
                    break;
                }
                EXPECT_EQ(outcome.message, "Path is not writable.");
                EXPECT_EQ(outcome.path, path("x/y"));
                EXPECT_EQ(outcome.code, usual_error(point.made.call).code);
                break;
            case Call::remove:
                expect_reported(point, outcome);
                break;
            default:
                expect_quiet(outcome);
        }
        const bool empty = std::filesystem::is_empty(path("x/y"));
        EXPECT_EQ(!empty, point.made.call == Call::remove && !undisturbed(point));
    };
    EXPECT_GE(sweep.run(), 5U);
}

INSTANTIATE_TEST_SUITE_P(Buffering, SweepsTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "unbuffered" : "buffered"; });

TEST(OutputFolderTest, PrefixesAndNewFolders) {
    EXPECT_EQ(folder_prefix(""), "");
    EXPECT_EQ(folder_prefix("a"), "a/");
    EXPECT_EQ(folder_prefix("a/"), "a/");
    EXPECT_EQ(folder_prefix("C:\\a\\"), "C:\\a\\");
    EXPECT_EQ(folder_prefix("/"), "/");
    const TemporaryFolder folder;
    {
        PreparedFolder kept(folder.file("p/q/r"));
        EXPECT_EQ(kept.prefix(), folder.file("p/q/r/"));
        kept.keep();
    }
    EXPECT_TRUE(std::filesystem::is_directory(folder.file("p/q/r")));
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("p/q/r")));
    // A file stands where a folder should be.
    folder.write("f", "content");
    try {
        try_output_folder(folder.file("f/g"));
        ADD_FAILURE();
    } catch (const FileException& e) {
        EXPECT_EQ(e.message, "Path is not writable.");
        EXPECT_EQ(e.path, folder.file("f/g"));
        EXPECT_NE(e.error_code, 0U);
    }
    EXPECT_EQ(folder.read("f"), "content");
}

// What was made on the way to a folder that cannot be had goes again, and nothing else does.
TEST(OutputFolderTest, ARefusedPathLeavesNoFolders) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("there"));
    const std::string too_long(300, 'x');
    for (const char* parents : {"there/a/b/", "c/"}) {
        EXPECT_THROW(try_output_folder(folder.file(parents + too_long)), FileException) << parents;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("there")));
    EXPECT_FALSE(std::filesystem::exists(folder.file("c")));
    // One that has got a file meanwhile.
    FileCalls calls = FileCalls::of_this_machine();
    calls.open = [&](const char*, os::FileAccess, os::FileFlags) {
        folder.write("d/e/file", "content");
        return os::OpenedFile{.error = {4711, os::ErrorCategory::access_denied}};
    };
    EXPECT_THROW(try_output_folder(folder.file("d/e/f"), calls), FileException);
    EXPECT_FALSE(std::filesystem::exists(folder.file("d/e/f")));
    EXPECT_EQ(folder.read("d/e/file"), "content");
}

// What is not kept goes with its object: what it has made, as long as nothing stands in it.
TEST(OutputFolderTest, WhatIsNotKeptGoesAgain) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("there"));
    {
        const PreparedFolder made(folder.file("there/a/b"));
        EXPECT_TRUE(std::filesystem::is_directory(folder.file("there/a/b")));
    }
    try_output_folder(folder.file("there"));
    try_output_folder(folder.file("there/a"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("there")));
    {
        const PreparedFolder used(folder.file("there/a/b"));
        folder.write("there/a/file", "content");
    }
    EXPECT_FALSE(std::filesystem::exists(folder.file("there/a/b")));
    EXPECT_EQ(folder.read("there/a/file"), "content");
}

// A folder that cannot be made is told with the reason of that, not with "not found", which is what follows.
TEST(OutputFolderTest, TellsWhyAFolderCannotBeMade) {
    const TemporaryFolder folder;
    for (const char* path : {"new", "new/further/folders"}) {
        FileCalls calls = FileCalls::of_this_machine();
        calls.create_folder = [](const char* name) {
            const os::OsError error = os::create_folder(name);
            // As a parent that this user may not write to: nothing new is made there, and its folders are
            // missing.
            if (error.category == os::ErrorCategory::exists) return error;
            if (!error) std::filesystem::remove(name);
            return std::string_view(name).ends_with("new")
                       ? os::OsError{4711, os::ErrorCategory::access_denied}
                       : os::OsError{4712, os::ErrorCategory::not_found};
        };
        try {
            try_output_folder(folder.file(path), calls);
            ADD_FAILURE() << path;
        } catch (const FileException& e) {
            EXPECT_EQ(e.error_code, 4711U) << path;
        }
    }
}

// The text belongs to the category, the number to the system; whichever call it comes from.
TEST(ErrorTextsTest, EveryCategoryFromEveryCall) {
    const TemporaryFolder folder;
    GuardedBuffer buffer(4096, kSectorBytes);
    folder.write("a", std::string(4096, 'a'));
    const auto file = [&](const FileCalls& calls) {
        return std::make_unique<RawFile>(folder.file("a"), OpenMode::read_write, false, false, calls);
    };
    struct Operation {
        Call call;
        const char* text;
        std::function<void(const FileCalls& calls)> run;
    };
    const Operation operations[] = {
        {Call::open, "RawFile()|Unable to open file.",
         [&](const FileCalls& calls) { RawFile(folder.file("b"), OpenMode::read, true, false, calls); }},
        {Call::open, "RawFile()|Unable to create file.",
         [&](const FileCalls& calls) { RawFile(folder.file("b"), OpenMode::create, true, false, calls); }},
        {Call::read, "RawFile::load()|ReadFile() failed.",
         [&](const FileCalls& calls) { file(calls)->load(buffer.get(), 0, 4096); }},
        {Call::write, "RawFile::store()|WriteFile() failed.",
         [&](const FileCalls& calls) { file(calls)->store(buffer.get(), 0, 4096); }},
        {Call::set_size, "RawFile::set_size()|SetEndOfFile() failed.",
         [&](const FileCalls& calls) { file(calls)->set_size(4096); }},
        {Call::flush, "RawFile::flush()|FlushFileBuffers() failed.",
         [&](const FileCalls& calls) { file(calls)->flush(); }},
        {Call::size, "RawFile::size()|GetFileSizeEx() failed.",
         [&](const FileCalls& calls) { (void)file(calls)->size(); }},
    };
    for (const os::OsError error : errors_of_all_categories()) {
        for (const Operation& operation : operations) {
            FaultyFile disk;
            disk.fail(operation.call, 1, error);
            try {
                operation.run(disk.file_calls());
                ADD_FAILURE() << operation.text;
            } catch (const FileException& e) {
                EXPECT_EQ(e.function + "|" + e.message,
                          operation.text + std::string("\n\n") + error_text(error));
                EXPECT_EQ(e.error_code, error.code);
            }
        }
    }
    // A refused offset has texts of its own.
    FaultyFile disk;
    disk.refuse_position(Call::read, 1, {22, os::ErrorCategory::invalid_parameter});
    disk.refuse_position(Call::write, 1, {22, os::ErrorCategory::invalid_parameter});
    disk.refuse_position(Call::set_size, 1, {22, os::ErrorCategory::invalid_parameter});
    const std::function<void(const FileCalls&)> refused[] = {
        [&](const FileCalls& calls) { file(calls)->load(buffer.get(), 0, 4096); },
        [&](const FileCalls& calls) { file(calls)->store(buffer.get(), 0, 4096); },
        [&](const FileCalls& calls) { file(calls)->set_size(4096); }};
    for (const auto& run : refused) {
        try {
            run(disk.file_calls());
            ADD_FAILURE();
        } catch (const FileException& e) {
            EXPECT_EQ(e.message,
                      "SetFilePointerEx() failed.\n\n"
                      "Invalid parameter. This can happen if the sector alignment is too small.");
        }
    }
}
