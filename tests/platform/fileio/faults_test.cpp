// What the file layer makes of a failing disk, and renaming that does not give up.
#include <gtest/gtest.h>

#include <cstring>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "fault/faulty_file.h"
#include "fault/key_console.h"
#include "platform/fileio/checksummed_file.h"
#include "platform/fileio/error_text.h"
#include "platform/fileio/persistent.h"
#include "platform/fileio/raw_file.h"
#include "platform/memory/guarded_heap.h"
#include "support/capture_console.h"
#include "support/message_of.h"
#include "support/temporary_folder.h"

using namespace trel;
using namespace trel::FileIO;
using kalvor_test::Form;
using kalvor_test::KeyConsole;
using kalvor_test::message_of;
using kalvor_test::TemporaryFolder;
using Call = FaultyFile::Call;

namespace {

class FaultsTest : public ::testing::Test {
  protected:
    TemporaryFolder folder_;
    FaultyFile disk_;
    GuardedBuffer data_{8192, kSectorBytes};
    void SetUp() override { std::memset(data_.get(), 0x5A, 8192); }
    // Onto "b"; pauses of the console ask for another attempt.
    void rename_persistently(const char* from) const {
        LinearConsoleNode console(79, 1.0);
        persistent_rename(folder_.file(from), folder_.file("b"), disk_.file_calls(),
                          ask_again_through(console, &console));
    }
    Warnings warnings_;
};

}  // namespace

TEST_F(FaultsTest, FailingWritesAndReads) {
    RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
    disk_.fail(Call::write, 2, FaultyFile::write_fault());
    file.store(data_.get(), 0, 8192);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.store(data_.get(), 0, 8192); }),
              "RawFile::store()|WriteFile() failed.\n\nWrite Fault|5");
    file.store(data_.get(), 0, 8192);
    disk_.fail(Call::read, 1, FaultyFile::read_fault());
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.load(data_.get(), 0, 8192); }),
              "RawFile::load()|ReadFile() failed.\n\nRead Fault|5");
    EXPECT_EQ(disk_.count(Call::write), 3U);
}

// Every operation on a closed file, with its own name.
TEST_F(FaultsTest, ClosedFilesSayWhatWasWanted) {
    RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
    file.close();
    const u64 calls = disk_.calls().size();
    const std::string text = "()|File isn't open.|0";
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.store(data_.get(), 0, 4096); }),
              "RawFile::store" + text);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.load(data_.get(), 0, 4096); }),
              "RawFile::load" + text);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { (void)file.size(); }), "RawFile::size" + text);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.set_size(1); }),
              "RawFile::set_size" + text);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.reserve(1, warnings_); }),
              "RawFile::size" + text);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.flush(); }), "RawFile::flush" + text);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.close_and_set_size(1); }),
              "RawFile::close_and_set_size" + text);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.rename(folder_.file("g")); }),
              "BaseFile::rename" + text);
    file.close();
    EXPECT_EQ(disk_.calls().size(), calls);
}

// The checksums' own file, with the operation's name: the second read or write of an operation is theirs.
TEST_F(FaultsTest, ChecksumsThatDoNotReachTheDiskOrComeBack) {
    const os::OsError refused{22, os::ErrorCategory::invalid_parameter};
    const std::string hint = "Invalid parameter. This can happen if the sector alignment is too small.|22";
    ChecksummedFile file(folder_.file("f"), OpenMode::create, true, 12, 0, false, disk_.file_calls());
    const auto store = [&] { file.store(data_.get(), 0, 8192); };
    u32 scratch[2];
    const auto load = [&] { file.load(data_.get(), 0, 8192, scratch, sizeof scratch); };
    store();
    disk_.refuse_position(Call::write, 4, refused);
    EXPECT_EQ(message_of<FileException>(Form::with_code, store),
              "ChecksummedFile::store()|Unable to set file pointer.\n\n" + hint);
    disk_.fail(Call::write, 6, FaultyFile::disk_full());
    EXPECT_EQ(message_of<FileException>(Form::with_code, store),
              "ChecksummedFile::store()|WriteFile() failed.\n\nDisk is Full|28");
    disk_.short_write(8, 4);
    EXPECT_EQ(message_of<FileException>(Form::with_code, store),
              "ChecksummedFile::store()|Incomplete Write: 4 / 8|0");
    store();
    disk_.refuse_position(Call::read, 2, refused);
    EXPECT_EQ(message_of<FileException>(Form::with_code, load),
              "ChecksummedFile::load()|Unable to set file pointer.\n\n" + hint);
    disk_.fail(Call::read, 4, FaultyFile::read_fault());
    EXPECT_EQ(message_of<FileException>(Form::with_code, load),
              "ChecksummedFile::load()|ReadFile() failed.\n\nRead Fault|5");
    disk_.short_read(6, 7);
    EXPECT_EQ(message_of<FileException>(Form::with_code, load),
              "ChecksummedFile::load()|Incomplete Read: 7 / 8|0");
    EXPECT_EQ(message_of<FileException>(Form::with_code, load), "nothing thrown");
    disk_.refuse_position(Call::write, 11, refused);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.set_size(4 * 4096); }),
              "ChecksummedFile::set_size()|Unable to set file pointer.\n\n" + hint);
}

TEST_F(FaultsTest, FullDisk) {
    RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
    disk_.disk_full_after(10000);
    file.store(data_.get(), 0, 8192);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.store(data_.get(), 8192, 8192); }),
              "RawFile::store()|WriteFile() failed.\n\nDisk is Full|28");
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.store(data_.get(), 0, 4096); }),
              "RawFile::store()|WriteFile() failed.\n\nDisk is Full|28");
}

// Whoever is handed a disk works with that one alone.
TEST_F(FaultsTest, TwoDisksAtATime) {
    FaultyFile other;
    other.disk_full_after(0);
    RawFile small(folder_.file("f"), OpenMode::create, true, false, other.file_calls());
    RawFile large(folder_.file("g"), OpenMode::create, true, false, disk_.file_calls());
    RawFile real(folder_.file("h"), OpenMode::create, true);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { small.store(data_.get(), 0, 8192); }),
              "RawFile::store()|WriteFile() failed.\n\nDisk is Full|28");
    large.store(data_.get(), 0, 8192);
    real.store(data_.get(), 0, 8192);
    EXPECT_EQ(other.count(Call::write), 1U);
    EXPECT_EQ(disk_.count(Call::write), 1U);
}

TEST_F(FaultsTest, ShortTransfersNameBothNumbers) {
    RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
    disk_.short_write(1, 4096);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.store(data_.get(), 0, 8192); }),
              "RawFile::store()|Incomplete Write: 4096 / 8192|0");
    file.store(data_.get(), 0, 8192);
    disk_.short_read(1, 100);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.load(data_.get(), 0, 8192); }),
              "RawFile::load()|Incomplete Read: 100 / 8192|0");
}

TEST_F(FaultsTest, FlippedBits) {
    RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
    disk_.flip_bit_of_write(1, 8 * 5000 + 3);
    file.store(data_.get(), 0, 8192);
    GuardedBuffer back(8192, kSectorBytes);
    file.load(back.get(), 0, 8192);
    for (u64 i = 0; i < 8192; i++) ASSERT_EQ(back.bytes()[i], i == 5000 ? 0x5A ^ 8 : 0x5A) << i;
    disk_.flip_bit_of_read(2, 0);
    file.load(back.get(), 0, 8192);
    EXPECT_EQ(back.bytes()[0], 0x5A ^ 1);
    file.load(back.get(), 0, 8192);
    EXPECT_EQ(back.bytes()[0], 0x5A);
}

TEST_F(FaultsTest, SizesFlushesAndOpening) {
    RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
    disk_.fail(Call::set_size, 1, FaultyFile::disk_full());
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.set_size(100); }),
              "RawFile::set_size()|SetEndOfFile() failed.\n\nDisk is Full|28");
    disk_.fail(Call::flush, 1, FaultyFile::write_fault());
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.flush(); }),
              "RawFile::flush()|FlushFileBuffers() failed.\n\nWrite Fault|5");
    disk_.fail(Call::open, 2, FaultyFile::access_denied());
    EXPECT_EQ(message_of<FileException>(
                  Form::with_code,
                  [&] { RawFile(folder_.file("g"), OpenMode::create, true, false, disk_.file_calls()); }),
              "RawFile()|Unable to create file.\n\nAccess Denied|13");
}

TEST_F(FaultsTest, TheEndOfUnbufferedWritingIsDurable) {
    RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
    file.store(data_.get(), 0, 8192);
    EXPECT_EQ(disk_.count(Call::flush), 0U);
    disk_.fail(Call::flush, 1, FaultyFile::write_fault());
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.close_and_set_size(5000); }),
              "RawFile::flush()|FlushFileBuffers() failed.\n\nWrite Fault|5");
}

// Each is a fact for the caller, and nothing is printed.
TEST_F(FaultsTest, FailuresOfClosingAreKeptForTheCaller) {
    using Texts = std::vector<std::string>;
    const std::string not_closed = "RawFile::close(): Unable to close file.",
                      not_deleted = "RawFile::close(): Unable to delete file.";
    CaptureConsole console;
    disk_.fail(Call::close, 1, FaultyFile::write_fault());
    disk_.fail(Call::remove, 1, FaultyFile::access_denied());
    RawFile temporary(folder_.file("f"), OpenMode::create, true, true, disk_.file_calls());
    temporary.set_size(10);
    temporary.close();
    EXPECT_EQ(temporary.closing_failures(), (Texts{not_closed, not_deleted}));
    RawFile file(folder_.file("g"), OpenMode::create, true, false, disk_.file_calls());
    disk_.fail(Call::close, 2, FaultyFile::write_fault());
    file.close_and_set_size(5);
    EXPECT_EQ(file.closing_failures(), (Texts{"RawFile::close_and_set_size(): Unable to close file."}));
    EXPECT_EQ(folder_.read("g").size(), 5U);
    RawFile reader(folder_.file("g"), OpenMode::read, true, false, disk_.file_calls());
    disk_.fail(Call::close, 3, FaultyFile::write_fault());
    reader.rename(folder_.file("h"));
    EXPECT_EQ(reader.closing_failures(), (Texts{not_closed}));
    RawFile kept(folder_.file("k"), OpenMode::create, true, false, disk_.file_calls());
    disk_.fail(Call::remove, 2, FaultyFile::access_denied());
    kept.close_and_remove();
    EXPECT_EQ(kept.closing_failures(), (Texts{not_deleted}));
    // A destructor has nobody to tell.
    disk_.fail(Call::close, 5, FaultyFile::write_fault());
    { RawFile gone(folder_.file("l"), OpenMode::create, true, false, disk_.file_calls()); }
    EXPECT_EQ(console.take(), "");
}

TEST_F(FaultsTest, TemporaryFilesAreDeletedOnce) {
    CaptureConsole console;
    {
        RawFile file(folder_.file("f"), OpenMode::create, true, true, disk_.file_calls());
        file.close();
        file.close();
    }
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(disk_.count(Call::remove), 1U);
    EXPECT_EQ(disk_.count(Call::close), 1U);
}

// The data first: checksums of data that never reached the disk would name the wrong culprit.
TEST_F(FaultsTest, FlushingAChecksummedFileFlushesBoth) {
    ChecksummedFile file(folder_.file("f"), OpenMode::create, true, 12, 0, false, disk_.file_calls());
    file.store(data_.get(), 0, 8192);
    file.flush();
    EXPECT_EQ(disk_.count(Call::flush), 2U);
    disk_.fail(Call::flush, 3, FaultyFile::write_fault());
    disk_.fail(Call::flush, 5, FaultyFile::write_fault());
    for (const char* path : {"f", "f.checksums"}) {
        try {
            file.flush();
            ADD_FAILURE();
        } catch (const FileException& e) {
            EXPECT_EQ(e.path, folder_.file(path));
        }
    }
    EXPECT_EQ(disk_.count(Call::flush), 5U);
}

TEST_F(FaultsTest, ReservationFailureIsWarnedAboutOnce) {
    reservation_warning.reset();
    disk_.fail(Call::reserve, 1, FaultyFile::access_denied(), 2);
    RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
    CaptureConsole console;
    Warnings warnings;
    file.reserve(4096, warnings);
    file.reserve(8192, warnings);
    EXPECT_EQ(console.text(), "") << "printed past the run";
    LinearConsoleNode node(79, 1.0);
    warnings.report(node);
    EXPECT_EQ(console.text(),
              "SetFileValidData() has failed. Expect performance degradation.\n"
              "Try re-running as administrator.\nPath: " +
                  folder_.file("f") + "\nFurther messages for this warning will be suppressed.\n");
    EXPECT_EQ(file.size(), 8192U);
}

TEST_F(FaultsTest, AFullDiskIsNotAMissingRight) {
    CaptureConsole console;
    const std::string full = "RawFile::reserve()|SetFileValidData() failed.\n\nDisk is Full|28";
    // A new file goes; a file that holds something keeps it.
    {
        RawFile file(folder_.file("f"), OpenMode::create, true, false, disk_.file_calls());
        disk_.fail(Call::reserve, 1, FaultyFile::disk_full());
        EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.reserve(1 << 20, warnings_); }),
                  full);
        EXPECT_FALSE(folder_.has("f"));
    }
    {
        RawFile file(folder_.file("f"), OpenMode::create_new, true, false, disk_.file_calls());
        disk_.fail(Call::set_size, disk_.count(Call::set_size) + 1, FaultyFile::disk_full());
        EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.reserve(1 << 20, warnings_); }),
                  "RawFile::set_size()|SetEndOfFile() failed.\n\nDisk is Full|28");
        EXPECT_FALSE(folder_.has("f"));
    }
    folder_.write("g", "content");
    RawFile file(folder_.file("g"), OpenMode::read_write, false, false, disk_.file_calls());
    disk_.fail(Call::reserve, 2, FaultyFile::disk_full());
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.reserve(1 << 20, warnings_); }), full);
    EXPECT_EQ(file.size(), 7U);
    EXPECT_EQ(console.text(), "");
    EXPECT_FALSE(file.try_reserve(1 << 20));
    EXPECT_EQ(file.size(), u64(1) << 20);
    disk_.fail(Call::reserve, 4, FaultyFile::disk_full());
    EXPECT_EQ(file.try_reserve(2 << 20).category, os::ErrorCategory::disk_full);
    EXPECT_EQ(file.size(), u64(1) << 20);
    // What the system does not offer is not a failure.
    disk_.fail(Call::reserve, 5, {95, os::ErrorCategory::other});
    EXPECT_FALSE(file.try_reserve(2 << 20));
    file.close();
    EXPECT_EQ(folder_.read("g").substr(0, 7), "content");
}

// Held from its creation to its end: nothing is closed, opened or deleted on the way.
TEST_F(FaultsTest, AWritersFileIsHeldThroughItsRenaming) {
    const os::OsError exists{17, os::ErrorCategory::exists};
    folder_.write("b", "old");
    RawFile file(folder_.file("a"), OpenMode::create, true, false, disk_.file_calls());
    file.store(data_.get(), 0, 4096);
    disk_.fail(Call::rename, 1, exists);
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.rename(folder_.file("b")); }),
              "RawFile::rename()|Unable to rename file because the existing one can't be deleted.\n\n" +
                  error_text(exists) + "|17");
    disk_.fail(Call::rename, 2, FaultyFile::access_denied());
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { file.rename(folder_.file("b")); }),
              "RawFile::rename()|Unable to rename file.\n\nAccess Denied|13");
    EXPECT_EQ(folder_.read("b"), "old");
    file.rename(folder_.file("b"));
    EXPECT_FALSE(folder_.has("a"));
    EXPECT_EQ(file.size(), 4096U);
    file.close_and_set_size(5);
    EXPECT_EQ(folder_.read("b").size(), 5U);
    EXPECT_EQ(disk_.count(Call::remove), 0U);
    EXPECT_EQ(disk_.count(Call::open), 1U);
    EXPECT_EQ(disk_.count(Call::close), 1U);
    // A reader's is opened again.
    RawFile last(folder_.file("b"), OpenMode::read, true, false, disk_.file_calls());
    disk_.fail(Call::open, 3, FaultyFile::access_denied());
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { last.rename(folder_.file("h")); }),
              "RawFile::rename()|Unable to reopen file.\n\nAccess Denied|13");
    EXPECT_FALSE(last.is_open());
    EXPECT_TRUE(folder_.has("h"));
}

TEST_F(FaultsTest, PersistentRenameTriesUntilItSucceeds) {
    KeyConsole console(5);
    folder_.write("a", "new");
    folder_.write("b", "old");
    disk_.fail(Call::rename, 1, FaultyFile::access_denied(), 2);
    rename_persistently("a");
    EXPECT_EQ(folder_.read("b"), "new");
    EXPECT_FALSE(folder_.has("a"));
    const std::string attempt = "\nUnable to rename file.\nError Code: 13\n" + folder_.file("b") +
                                "\nRe-attempting...\nPress any key to continue . . . \n";
    EXPECT_EQ(console.text_, attempt + attempt);
    // Keys that never end do not make it spin.
    EXPECT_EQ(disk_.waits(), (std::vector<double>{1, 1}));
}

// Whatever is wrong, the target is not what is given up for it.
TEST_F(FaultsTest, PersistentRenameNeverDeletesTheTarget) {
    for (u32 category = 1; category <= static_cast<u32>(os::ErrorCategory::other); category++) {
        KeyConsole console(1);
        folder_.write("a", "new");
        folder_.write("b", "old");
        disk_.fail(Call::rename, disk_.count(Call::rename) + 1,
                   {100 + category, static_cast<os::ErrorCategory>(category)}, 2);
        EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { rename_persistently("a"); }),
                  "FileIO::persistent_rename()|Unable to rename file.\n\n" +
                      error_text({100 + category, static_cast<os::ErrorCategory>(category)}) + "|" +
                      std::to_string(100 + category));
        EXPECT_EQ(folder_.read("a"), "new");
        EXPECT_EQ(folder_.read("b"), "old") << "a good copy was deleted";
    }
    EXPECT_EQ(disk_.count(Call::remove), 0U);
}

TEST_F(FaultsTest, PersistentRenameEndsWithTheInput) {
    KeyConsole console(2);
    folder_.write("b", "old");
    EXPECT_EQ(message_of<FileException>(Form::with_code, [&] { rename_persistently("missing"); }),
              "FileIO::persistent_rename()|Unable to rename file.\n\nPath does not exist.|2");
    EXPECT_EQ(disk_.count(Call::rename), 3U);
    EXPECT_EQ(disk_.count(Call::remove), 0U);
    EXPECT_EQ(folder_.read("b"), "old") << "a good copy was deleted";
}
