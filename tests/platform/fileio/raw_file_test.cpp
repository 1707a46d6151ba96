// Raw, aligned and buffered files on a real disk.
#include "platform/fileio/raw_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "base/errors/exceptions.h"
#include "platform/fileio/buffered_reader.h"
#include "platform/fileio/checksummed_file.h"
#include "platform/fileio/error_text.h"
#include "platform/fileio/file_calls.h"
#include "platform/memory/guarded_heap.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;
using namespace trel::FileIO;

namespace {

struct Thrown {
    std::string function, message, path;
    u32 code = 0;
};

template <class F>
Thrown thrown_by(F f) {
    try {
        f();
    } catch (const FileException& e) {
        return {e.function, e.message, e.path, e.error_code};
    } catch (const InvalidParametersException& e) {
        return {e.function, e.message, "", 0};
    }
    return {"", "nothing thrown", "", 0};
}

GuardedBuffer random_bytes(u64 n, u64 seed) {
    GuardedBuffer buffer(n, kSectorBytes);
    std::mt19937_64 random(seed);
    for (u64 i = 0; i < n; i++) buffer.bytes()[i] = static_cast<u8>(random());
    return buffer;
}

class RawFilesTest : public ::testing::TestWithParam<bool> {
  protected:
    TemporaryFolder folder_;
};

}  // namespace

TEST_P(RawFilesTest, WhatIsStoredIsLoaded) {
    const std::string path = folder_.file("data");
    const GuardedBuffer data = random_bytes(3 << 20, 1);
    GuardedBuffer back(3 << 20, kSectorBytes);
    {
        RawFile file(path, OpenMode::create, GetParam());
        EXPECT_TRUE(file.is_open());
        EXPECT_EQ(file.path(), path);
        file.store(data.get(), 0, 3 << 20);
        file.store(data.get(), 8 << 20, 4096);  // past the end: a hole
        EXPECT_EQ(file.size(), (8U << 20) + 4096);
        file.flush();
        file.load(back.get(), 0, 3 << 20);
        EXPECT_EQ(std::memcmp(back.get(), data.get(), 3 << 20), 0);
    }
    RawFile file(path, OpenMode::read, GetParam());
    RawFile second_reader(path, OpenMode::read, GetParam());
    second_reader.load(back.get(), 4096, 8192);
    EXPECT_EQ(std::memcmp(back.get(), data.bytes() + 4096, 8192), 0);
    file.load(back.get(), 4 << 20, 4096);
    EXPECT_EQ(back.bytes()[17], 0);
    file.load(back.get(), 8 << 20, 4096);
    EXPECT_EQ(std::memcmp(back.get(), data.get(), 4096), 0);
}

TEST_P(RawFilesTest, CreateEmptiesAndReadWriteDoesNot) {
    const std::string path = folder_.file("data");
    const GuardedBuffer data = random_bytes(8192, 2);
    RawFile(path, OpenMode::create, GetParam()).store(data.get(), 0, 8192);
    {
        RawFile file(path, OpenMode::read_write, GetParam());
        EXPECT_EQ(file.size(), 8192U);
        file.store(data.get(), 4096, 4096);
    }
    EXPECT_EQ(RawFile(path, OpenMode::create, GetParam()).size(), 0U);
}

TEST_P(RawFilesTest, ReadingPastTheEndIsIncomplete) {
    const std::string path = folder_.file("data");
    GuardedBuffer data = random_bytes(8192, 3);
    {
        RawFile file(path, OpenMode::create, GetParam());
        file.store(data.get(), 0, 8192);
        file.close_and_set_size(5000);
        EXPECT_FALSE(file.is_open());
        const Thrown thrown = thrown_by([&] { file.store(data.get(), 0, 4096); });
        EXPECT_EQ(thrown.function, "RawFile::store()");
        EXPECT_EQ(thrown.message, "File isn't open.");
    }
    RawFile file(path, OpenMode::read, GetParam());
    EXPECT_EQ(file.size(), 5000U);
    const Thrown thrown = thrown_by([&] { file.load(data.get(), 0, 8192); });
    EXPECT_EQ(thrown.function, "RawFile::load()");
    EXPECT_EQ(thrown.message, "Incomplete Read: 5000 / 8192");
    EXPECT_EQ(thrown.path, path);
    EXPECT_EQ(thrown.code, 0U);
    EXPECT_EQ(file.load_available(data.get(), 0, 8192), 5000U);
    EXPECT_EQ(file.load_available(data.get(), 4096, 4096), 904U);
    EXPECT_EQ(file.load_available(data.get(), 8192, 4096), 0U);
}

TEST_P(RawFilesTest, SecondWriterIsRefused) {
    const std::string path = folder_.file("data");
    const GuardedBuffer data = random_bytes(4096, 4);
    RawFile writer(path, OpenMode::create, GetParam());
    writer.store(data.get(), 0, 4096);
    const Thrown create = thrown_by([&] { RawFile(path, OpenMode::create, GetParam()); });
    EXPECT_EQ(create.function, "RawFile()");
    EXPECT_EQ(create.message.substr(0, 23), "Unable to create file.\n");
    EXPECT_NE(create.code, 0U);
    EXPECT_EQ(writer.size(), 4096U) << "a refused creation must not empty the file";
    EXPECT_EQ(thrown_by([&] { RawFile(path, OpenMode::read_write, false); }).message.substr(0, 21),
              "Unable to open file.\n");
    EXPECT_EQ(thrown_by([&] { RawFile(path, OpenMode::read, false); }).message.substr(0, 21),
              "Unable to open file.\n");
    writer.close();
    EXPECT_NO_THROW(RawFile(path, OpenMode::read, false));
}

TEST_P(RawFilesTest, MissingFileAndFolder) {
    for (const OpenMode mode : {OpenMode::read, OpenMode::read_write}) {
        const Thrown thrown = thrown_by([&] { RawFile(folder_.file("none"), mode, GetParam()); });
        EXPECT_EQ(thrown.function, "RawFile()");
        EXPECT_EQ(thrown.message, "Unable to open file.\n\nPath does not exist.");
        EXPECT_EQ(thrown.code, 2U);
    }
    const Thrown thrown =
        thrown_by([&] { RawFile(folder_.file("none/file"), OpenMode::create, GetParam()); });
    EXPECT_EQ(thrown.message, "Unable to create file.\n\nPath does not exist.");
}

TEST_P(RawFilesTest, RenameReplacesAndKeepsOpen) {
    const GuardedBuffer data = random_bytes(4096, 5);
    GuardedBuffer back(4096, kSectorBytes);
    RawFile(folder_.file("b"), OpenMode::create, GetParam()).set_size(100);
    RawFile file(folder_.file("a"), OpenMode::create, GetParam());
    file.store(data.get(), 0, 4096);
    file.rename(folder_.file("b"));
    EXPECT_EQ(file.path(), folder_.file("b"));
    EXPECT_FALSE(std::filesystem::exists(folder_.file("a")));
    file.load(back.get(), 0, 4096);
    EXPECT_EQ(std::memcmp(back.get(), data.get(), 4096), 0);
    file.close();
    EXPECT_EQ(thrown_by([&] { file.rename(folder_.file("c")); }).message, "File isn't open.");
}

TEST_P(RawFilesTest, TemporaryFilesGoWhenClosed) {
    const std::string path = folder_.file("temporary");
    {
        RawFile file(path, OpenMode::create, GetParam(), true);
        Warnings warnings;
        file.reserve(1 << 20, warnings);
        EXPECT_EQ(file.size(), u64(1) << 20);
        EXPECT_TRUE(std::filesystem::exists(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

INSTANTIATE_TEST_SUITE_P(Buffering, RawFilesTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "unbuffered" : "buffered"; });

namespace {

// The machine's calls, with a note of every opening.
struct NotedOpenings {
    NotedOpenings() : calls(FileCalls::of_this_machine()) {
        calls.open = [this](const char* path, os::FileAccess how, os::FileFlags with) {
            access = how;
            flags = with;
            openings.push_back(path + std::string(with.unbuffered ? " unbuffered" : ""));
            return FileCalls::of_this_machine().open(path, how, with);
        };
    }
    NotedOpenings(const NotedOpenings&) = delete;
    NotedOpenings& operator=(const NotedOpenings&) = delete;

    FileCalls calls;
    // What the last opening asked the system for.
    os::FileAccess access{};
    os::FileFlags flags;
    std::vector<std::string> openings;
};

}  // namespace

// Raw files go past the cache; others write through it, unless they only read.
TEST(RawFileModesTest, AskTheSystemFor) {
    const TemporaryFolder folder;
    NotedOpenings noted;
    const struct {
        OpenMode mode;
        os::FileAccess access;
        bool writes;
    } rows[] = {{OpenMode::create, os::FileAccess::create, true},
                {OpenMode::read, os::FileAccess::read, false},
                {OpenMode::read_write, os::FileAccess::read_write, true}};
    for (const auto& row : rows) {
        for (const bool raw : {false, true}) {
            RawFile file(folder.file("a"), row.mode, raw, false, noted.calls);
            EXPECT_EQ(noted.access, row.access);
            EXPECT_EQ(noted.flags.unbuffered, raw);
            EXPECT_EQ(noted.flags.write_through, row.writes && !raw);
            // Under its new name as before: a writer's file stays open.
            noted.openings.clear();
            file.rename(folder.file("b"));
            EXPECT_EQ(noted.openings.size(), row.writes ? 0U : 1U);
            EXPECT_EQ(noted.access, row.access);
            EXPECT_EQ(noted.flags.unbuffered, raw);
            EXPECT_EQ(noted.flags.write_through, row.writes && !raw);
            file.rename(folder.file("a"));
            noted.openings.clear();
            if (row.writes) file.close_and_set_size(100);
            EXPECT_TRUE(noted.openings.empty());
        }
    }
}

// A reader goes past the cache; of a checksummed file only the data does.
TEST(RawFileModesTest, OfReadersAndChecksummedFiles) {
    const TemporaryFolder folder;
    folder.write("text", "x");
    NotedOpenings noted;
    EXPECT_EQ(BufferedReader(folder.file("text"), 16 * kSectorBytes, noted.calls).read_byte(), 'x');
    EXPECT_EQ(noted.access, os::FileAccess::read);
    EXPECT_TRUE(noted.flags.unbuffered);
    const struct {
        OpenMode mode;
        os::FileAccess access;
    } rows[] = {{OpenMode::create, os::FileAccess::create},
                {OpenMode::read, os::FileAccess::read},
                {OpenMode::read_write, os::FileAccess::read_write}};
    for (const auto& row : rows) {
        for (const bool raw : {true, false}) {
            noted.openings.clear();
            ChecksummedFile(folder.file("c"), row.mode, raw, 12, 0, false, noted.calls);
            ASSERT_EQ(noted.openings.size(), 2U);
            EXPECT_EQ(noted.openings[0], folder.file("c") + (raw ? " unbuffered" : ""));
            EXPECT_EQ(noted.openings[1], folder.file("c.checksums"));
            EXPECT_EQ(noted.access, row.access);
            EXPECT_FALSE(noted.flags.write_through) << "each checksum waited for the device";
        }
    }
}

TEST(AlignedAccessTest, SectorsAreOfAnySize) {
    const TemporaryFolder folder;
    AlignedAccessFile file(folder.file("data"), OpenMode::create, false, 9);
    const GuardedBuffer buffer(4096, 4096);
    file.store(buffer.bytes() + 512, 512, 1536);
    file.load(buffer.bytes() + 1024, 1536, 512);
    EXPECT_EQ(thrown_by([&] { file.load(buffer.get(), 256, 512); }).message, "Offset is misaligned.");
    EXPECT_EQ(thrown_by([&] { file.load(buffer.get(), 512, 256); }).message, "Length is misaligned.");
    EXPECT_EQ(thrown_by([&] { file.load(buffer.bytes() + 256, 512, 512); }).message, "Buffer is misaligned.");
}

TEST(AlignedAccessTest, EverythingIsWholeSectors) {
    const TemporaryFolder folder;
    AlignedAccessFile file(folder.file("data"), OpenMode::create, true);
    GuardedBuffer buffer(8192, 4096);
    file.store(buffer.get(), 4096, 4096);
    const auto text = [&](u64 offset, u64 bytes, u64 shift) {
        const Thrown thrown = thrown_by([&] { file.load(buffer.bytes() + shift, offset, bytes); });
        return thrown.function + "|" + thrown.message;
    };
    const std::string where = "AlignedAccessFile::check_alignment()|";
    EXPECT_EQ(text(512, 4096, 0), where + "Offset is misaligned.");
    EXPECT_EQ(text(512, 100, 8), where + "Length is misaligned.");
    EXPECT_EQ(text(512, 4096, 8), where + "Offset is misaligned.");
    EXPECT_EQ(text(4096, 4096, 8), where + "Buffer is misaligned.");
    EXPECT_EQ(thrown_by([&] { file.store(buffer.get(), 1, 4096); }).message, "Offset is misaligned.");
}

TEST(ErrorTextsTest, OneForEachCategory) {
    using enum os::ErrorCategory;
    const std::pair<os::ErrorCategory, const char*> rows[] = {
        {not_found, "Path does not exist."},
        {access_denied, "Access Denied"},
        {not_enough_memory, "Not Enough Memory"},
        {not_ready, "The device is not ready. Is the connection stable?"},
        {corrupt_data, "Cyclic Redundancy Check - Possible Hardware Failure"},
        {write_fault, "Write Fault"},
        {read_fault, "Read Fault"},
        {disk_full, "Disk is Full"},
        {invalid_parameter, "Invalid parameter. This can happen if the sector alignment is too small."},
        {disconnected, "The device has been disconnected. Is the connection stable?"},
        {quota, "Insufficient quota. System may be low on memory."},
    };
    for (const auto& [category, text] : rows) EXPECT_EQ(error_text({28, category}), text);
    for (const auto category : {none, sharing, exists, interrupted, other}) {
        EXPECT_EQ(error_text({2, category}), os::system_error_text(2));
    }
    const FileException e = file_error("F()", "Text.", "path", {28, disk_full});
    EXPECT_EQ(e.function, "F()");
    EXPECT_EQ(e.message, "Text.\n\nDisk is Full");
    EXPECT_EQ(e.path, "path");
    EXPECT_EQ(e.error_code, 28U);
}

TEST(BufferedReaderTest, LinesAndBytes) {
    const TemporaryFolder folder;
    std::string text = "first\r\n\nthird \r line\n";
    for (int i = 0; i < 3000; i++) text += "line " + std::to_string(i) + "\r\n";
    folder.write("text", text + "last");
    for (const u64 buffer : {u64(4096), u64(65536)}) {
        BufferedReader reader(folder.file("text"), buffer);
        EXPECT_EQ(reader.read_line(), "first");
        EXPECT_EQ(reader.position(), 7U);
        EXPECT_EQ(reader.read_line(), "");
        EXPECT_EQ(reader.read_line(), "third  line");
        for (int i = 0; i < 3000; i++) ASSERT_EQ(reader.read_line(), "line " + std::to_string(i));
        EXPECT_EQ(reader.read_byte(), 'l');
        EXPECT_FALSE(reader.at_end());
        EXPECT_EQ(reader.read_line(), "ast");
        EXPECT_TRUE(reader.at_end());
        EXPECT_EQ(reader.position(), text.size() + 4);
        for (int i = 0; i < 2; i++) {
            const Thrown thrown = thrown_by([&] { (void)reader.read_byte(); });
            EXPECT_EQ(thrown.function, "BufferedReader()");
            EXPECT_EQ(thrown.message, "Unexpected end of file.");
            EXPECT_EQ(thrown.path, folder.file("text"));
        }
        EXPECT_EQ(thrown_by([&] { (void)reader.read_line(); }).message, "Unexpected end of file.");
    }
}

TEST(BufferedReaderTest, FilesOfWholeBuffers) {
    const TemporaryFolder folder;
    folder.write("empty", "");
    EXPECT_TRUE(BufferedReader(folder.file("empty")).at_end());
    const std::string two(8192, 'x');
    folder.write("two", two);
    BufferedReader reader(folder.file("two"), 4096);
    EXPECT_EQ(reader.read_line(), two);
    EXPECT_TRUE(reader.at_end());
    EXPECT_EQ(thrown_by([&] { (void)reader.read_byte(); }).message, "Unexpected end of file.");
}
