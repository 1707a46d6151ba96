// Files that notice corruption, on a real disk.
#include "platform/fileio/checksummed_file.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>

#include "base/errors/exceptions.h"
#include "platform/fileio/block_checksum.h"
#include "platform/memory/guarded_heap.h"
#include "reference/block_checksum.h"
#include "support/capture_console.h"
#include "support/message_of.h"
#include "support/temporary_folder.h"

using namespace trel;
using namespace trel::FileIO;
using kalvor_test::Form;
using kalvor_test::message_of;
using kalvor_test::TemporaryFolder;

namespace {

constexpr u64 kLog2 = 12;
constexpr u64 kBlock = u64(1) << kLog2;
constexpr u32 kSeed = 987654321;

GuardedBuffer random_bytes(u64 n, u64 seed) {
    GuardedBuffer buffer(n, kSectorBytes);
    std::mt19937_64 random(seed);
    for (u64 i = 0; i < n; i++) buffer.bytes()[i] = static_cast<u8>(random());
    return buffer;
}

class ChecksummedFilesTest : public ::testing::TestWithParam<bool> {
  protected:
    std::string path(const char* name = "data") const { return folder_.file(name); }
    ChecksummedFile open(OpenMode mode, const char* name = "data") const {
        return ChecksummedFile(path(name), mode, GetParam(), kLog2, kSeed);
    }
    static std::string load(ChecksummedFile& file, void* buffer, u64 offset, u64 bytes) {
        u32 scratch[64];
        return message_of<Exception>(Form::with_path,
                                     [&] { file.load(buffer, offset, bytes, scratch, sizeof scratch); });
    }
    std::string corrupt(const char* range) const {
        return std::string("ChecksummedFile::load()|Checksum Mismatch: Data Corruption at Offset ") + range +
               "|" + path();
    }
    std::vector<u32> side_file(const char* name = "data.checksums") const {
        const std::string bytes = folder_.read(name);
        EXPECT_EQ(bytes.size() % 4, 0U);
        std::vector<u32> entries(bytes.size() / 4);
        if (!entries.empty()) std::memcpy(entries.data(), bytes.data(), 4 * entries.size());
        return entries;
    }
    // Inverts a bit behind the file's back.
    void flip(const char* name, u64 byte, u8 bits) const {
        std::string bytes = folder_.read(name);
        bytes.at(byte) = static_cast<char>(bytes.at(byte) ^ bits);
        folder_.write(name, bytes);
    }

    TemporaryFolder folder_;
    GuardedBuffer data_ = random_bytes(8 * kBlock, 1);
    GuardedBuffer back_{8 * kBlock, kSectorBytes};
};

class ChecksummedFilesOfSmallBlocksTest : public ChecksummedFilesTest {};

}  // namespace

TEST_P(ChecksummedFilesTest, TheSideFileHoldsOneChecksumABlock) {
    {
        ChecksummedFile file = open(OpenMode::create);
        EXPECT_TRUE(file.is_open());
        EXPECT_EQ(file.path(), path());
        EXPECT_EQ(file.block_bytes(), kBlock);
        file.store(data_.get(), 0, 8 * kBlock);
        file.flush();
        EXPECT_EQ(load(file, back_.get(), 0, 8 * kBlock), "nothing thrown");
        EXPECT_EQ(std::memcmp(back_.get(), data_.get(), 8 * kBlock), 0);
        EXPECT_EQ(load(file, back_.get(), 3 * kBlock, kBlock), "nothing thrown");
        EXPECT_EQ(std::memcmp(back_.get(), data_.bytes() + 3 * kBlock, kBlock), 0);
        // Blocks of another order.
        file.store(data_.get(), 5 * kBlock, 2 * kBlock);
    }
    EXPECT_EQ(folder_.read("data").size(), 8 * kBlock);
    const std::vector<u32> sums = side_file();
    ASSERT_EQ(sums.size(), 8U);
    for (u64 i = 0; i < 8; i++) {
        const u64 from = i == 5 || i == 6 ? i - 5 : i;
        EXPECT_EQ(sums[i], reference::block_checksum(data_.bytes() + from * kBlock, kBlock, kSeed)) << i;
    }
    for (const OpenMode mode : {OpenMode::read, OpenMode::read_write}) {
        ChecksummedFile file = open(mode);
        EXPECT_EQ(file.size(), 8 * kBlock);
        EXPECT_EQ(load(file, back_.get(), 0, 8 * kBlock), "nothing thrown");
        EXPECT_EQ(std::memcmp(back_.bytes() + 5 * kBlock, data_.get(), 2 * kBlock), 0);
    }
    EXPECT_EQ(ChecksummedFile(path(), OpenMode::create, GetParam(), kLog2, kSeed).size(), 0U);
    EXPECT_TRUE(side_file().empty());
}

TEST_P(ChecksummedFilesTest, AFlippedByteIsNamedByItsBlock) {
    open(OpenMode::create).store(data_.get(), 0, 8 * kBlock);
    flip("data", 2 * kBlock + 1000, 0x40);
    {
        ChecksummedFile file = open(OpenMode::read_write);
        EXPECT_EQ(load(file, back_.get(), 0, 8 * kBlock), corrupt("[8,192, 12,288)"));
        EXPECT_EQ(load(file, back_.get(), 2 * kBlock, kBlock), corrupt("[8,192, 12,288)"));
        EXPECT_EQ(load(file, back_.get(), 3 * kBlock, 5 * kBlock), "nothing thrown");
        EXPECT_EQ(load(file, back_.get(), 0, 2 * kBlock), "nothing thrown");
        file.store(data_.get(), 2 * kBlock, kBlock);
        EXPECT_EQ(load(file, back_.get(), 0, 8 * kBlock), "nothing thrown");
    }
    flip("data.checksums", 4 * 7, 1);
    ChecksummedFile file = open(OpenMode::read);
    EXPECT_EQ(load(file, back_.get(), 0, 8 * kBlock), corrupt("[28,672, 32,768)"));
}

TEST_P(ChecksummedFilesTest, EverySeedReadsItsOwnBlocksOnly) {
    open(OpenMode::create).store(data_.get(), 0, kBlock);
    u32 scratch[1];
    ChecksummedFile other(path(), OpenMode::read, GetParam(), kLog2, kSeed + 1);
    EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { other.load(back_.get(), 0, kBlock, scratch, 4); }),
              corrupt("[0, 4,096)"));
}

TEST_P(ChecksummedFilesTest, ABlockWithoutAChecksumIsNeverCorrupt) {
    open(OpenMode::create).store(data_.get(), 0, 8 * kBlock);
    std::string sums = folder_.read("data.checksums");
    sums.replace(4 * 2, 4, std::string("\0\0\0\x80", 4));
    folder_.write("data.checksums", sums);
    flip("data", 2 * kBlock, 0xff);
    {
        ChecksummedFile file = open(OpenMode::read);
        EXPECT_EQ(load(file, back_.get(), 0, 8 * kBlock), "nothing thrown");
        EXPECT_EQ(back_.bytes()[2 * kBlock], data_.bytes()[2 * kBlock] ^ 0xff);
    }
    flip("data", 3 * kBlock, 0xff);
    ChecksummedFile file = open(OpenMode::read);
    EXPECT_EQ(load(file, back_.get(), 0, 8 * kBlock), corrupt("[12,288, 16,384)"));
}

// Space that was made but not stored to may hold anything.
TEST_P(ChecksummedFilesTest, NewSpaceHasNoChecksums) {
    CaptureConsole console;  // where space cannot be reserved
    {
        ChecksummedFile file = open(OpenMode::create);
        Warnings warnings;
        file.reserve(4 * kBlock, warnings);
        EXPECT_EQ(file.size(), 4 * kBlock);
        EXPECT_EQ(load(file, back_.get(), 0, 4 * kBlock), "nothing thrown");
        file.store(data_.get(), kBlock, kBlock);
        file.store(data_.get(), 6 * kBlock, kBlock);  // past the end
        EXPECT_EQ(load(file, back_.get(), 0, 7 * kBlock), "nothing thrown");
    }
    std::vector<u32> sums = side_file();
    const u32 sum = reference::block_checksum(data_.bytes(), kBlock, kSeed);
    const u32 none = kNoChecksum;
    EXPECT_EQ(none, 0x80000000U);
    EXPECT_EQ(sums, (std::vector<u32>{none, sum, none, none, none, none, sum}));
    {
        ChecksummedFile file = open(OpenMode::read_write);
        file.set_size(kBlock * 2);
        file.set_size(kBlock * 2);
    }
    EXPECT_EQ(side_file(), (std::vector<u32>{none, sum}));
    {
        ChecksummedFile file = open(OpenMode::read_write);
        file.set_size(kBlock * 7);  // zeros where the stored block was
        EXPECT_EQ(load(file, back_.get(), 0, 7 * kBlock), "nothing thrown");
    }
    EXPECT_EQ(side_file(), (std::vector<u32>{none, sum, none, none, none, none, none}));
    // More entries than are written at a time.
    ChecksummedFile file = open(OpenMode::read_write);
    file.set_size(70000 * kBlock);
    file.store(data_.get(), 69999 * kBlock, kBlock);
    file.close();
    sums = side_file();
    ASSERT_EQ(sums.size(), 70000U);
    for (u64 i = 2; i < 69999; i++) ASSERT_EQ(sums[i], none) << i;
    EXPECT_EQ(sums[69999], sum);
}

// More blocks in one access than are summed at a time.
TEST_P(ChecksummedFilesOfSmallBlocksTest, ManySmallBlocks) {
    const GuardedBuffer data = random_bytes(5000 * 64, 4);
    GuardedBuffer back(5000 * 64, 64);
    std::vector<u32> scratch(5000);
    {
        ChecksummedFile file(path(), OpenMode::create, false, 6, kSeed);
        file.store(data.get(), 64 * 3, 5000 * 64);
        file.load(back.get(), 64 * 3, 5000 * 64, scratch.data(), 4 * scratch.size());
    }
    EXPECT_EQ(std::memcmp(back.get(), data.get(), 5000 * 64), 0);
    flip("data", 64 * 4321 + 5, 1);
    ChecksummedFile file(path(), OpenMode::read_write, false, 6, kSeed);
    EXPECT_EQ(message_of<Exception>(
                  Form::with_path,
                  [&] { file.load(back.get(), 64 * 3, 5000 * 64, scratch.data(), 4 * scratch.size()); }),
              corrupt("[276,544, 276,608)"));
    EXPECT_EQ(
        message_of<Exception>(Form::with_path,
                              [&] { file.load(back.get(), 64 * 3, 5000 * 64, scratch.data(), 4 * 4999); }),
        "ChecksummedFile::load()|19996 < 20000");
    EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { file.store(data.get(), 32, 64); }),
              "ChecksummedFile::store()|Offset is misaligned.");
}

TEST_P(ChecksummedFilesTest, WholeBlocksOnly) {
    ChecksummedFile file = open(OpenMode::create);
    u32 scratch[2];
    file.store(data_.get(), 0, 2 * kBlock);
    EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { file.store(data_.get(), 0, kBlock + 64); }),
              "ChecksummedFile::store()|Length is misaligned.");
    EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { file.load(back_.get(), 64, kBlock, scratch, 8); }),
              "ChecksummedFile::load()|Offset is misaligned.");
    EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { file.load(back_.get(), 64, 64, scratch, 8); }),
              "ChecksummedFile::load()|Length is misaligned.");
    EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { file.set_size(100); }),
              "ChecksummedFile::set_size()|Length is misaligned.");
    EXPECT_EQ(
        message_of<Exception>(Form::with_path, [&] { file.load(back_.get(), 0, 2 * kBlock, scratch, 7); }),
        "ChecksummedFile::load()|7 < 8");
    // Blocks too small for a chunk of the checksum, or for a sector.
    for (const u64 log2 : {u64(0), GetParam() ? u64(11) : u64(5), u64(63), u64(64)}) {
        EXPECT_EQ(
            message_of<Exception>(Form::with_path,
                                  [&] { ChecksummedFile(path("x"), OpenMode::create, GetParam(), log2, 0); }),
            "ChecksummedFile()|Length is misaligned.")
            << log2;
    }
    EXPECT_FALSE(folder_.has("x"));
}

TEST_P(ChecksummedFilesTest, AMissingOrShortSideFileIsAnError) {
    open(OpenMode::create).store(data_.get(), 0, 4 * kBlock);
    const std::string sums = folder_.read("data.checksums");
    folder_.write("data.checksums", sums.substr(0, 9));
    {
        ChecksummedFile file = open(OpenMode::read);
        EXPECT_EQ(load(file, back_.get(), 0, 4 * kBlock),
                  "ChecksummedFile::load()|Incomplete Read: 9 / 16|" + path("data.checksums"));
        EXPECT_EQ(load(file, back_.get(), 0, 2 * kBlock), "nothing thrown");
    }
    {
        ChecksummedFile file = open(OpenMode::read_write);
        file.store(data_.get(), 3 * kBlock, kBlock);  // entry 2 was cut in half
        EXPECT_EQ(load(file, back_.get(), 0, 4 * kBlock), "nothing thrown");
    }
    EXPECT_EQ(side_file()[2], kNoChecksum);
    std::remove(path("data.checksums").c_str());
    EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { open(OpenMode::read); }),
              "RawFile()|Unable to open file.\n\nPath does not exist.|" + path("data.checksums"));
}

TEST_P(ChecksummedFilesTest, RenameMovesBothAndReplaces) {
    open(OpenMode::create, "old").store(data_.get(), 0, 4 * kBlock);
    {
        ChecksummedFile file = open(OpenMode::create);
        file.store(data_.bytes() + kBlock, 0, kBlock);
        file.rename(path("old"));
        EXPECT_EQ(file.path(), path("old"));
        EXPECT_FALSE(folder_.has("data"));
        EXPECT_FALSE(folder_.has("data.checksums"));
        EXPECT_EQ(load(file, back_.get(), 0, kBlock), "nothing thrown");
        EXPECT_EQ(std::memcmp(back_.get(), data_.bytes() + kBlock, kBlock), 0);
        file.store(data_.get(), kBlock, kBlock);
    }
    EXPECT_EQ(folder_.read("old").size(), 2 * kBlock);
    EXPECT_EQ(side_file("old.checksums").size(), 2U);
}

TEST_P(ChecksummedFilesTest, ClosedFilesAndTemporaryOnes) {
    {
        ChecksummedFile file(path(), OpenMode::create, GetParam(), kLog2, kSeed, true);
        file.store(data_.get(), 0, kBlock);
        EXPECT_TRUE(folder_.has("data.checksums"));
        file.close();
        EXPECT_FALSE(file.is_open());
        EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { file.store(data_.get(), 0, kBlock); }),
                  "RawFile::store()|File isn't open.|" + path());
        EXPECT_EQ(load(file, back_.get(), 0, kBlock), "RawFile::load()|File isn't open.|" + path());
        EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { file.rename(path("other")); }),
                  "BaseFile::rename()|File isn't open.|" + path());
    }
    EXPECT_FALSE(folder_.has("data"));
    EXPECT_FALSE(folder_.has("data.checksums"));
}

// The two files share their rules: one writer, or many readers.
TEST_P(ChecksummedFilesTest, SecondWriterIsRefused) {
    ChecksummedFile writer = open(OpenMode::create);
    writer.store(data_.get(), 0, kBlock);
    for (const OpenMode mode : {OpenMode::create, OpenMode::read, OpenMode::read_write}) {
        EXPECT_EQ(message_of<Exception>(Form::with_path, [&] { open(mode); }).substr(0, 16),
                  "RawFile()|Unable");
    }
    EXPECT_EQ(load(writer, back_.get(), 0, kBlock), "nothing thrown");
    writer.close();
    ChecksummedFile first = open(OpenMode::read), second = open(OpenMode::read);
    EXPECT_EQ(load(second, back_.get(), 0, kBlock), "nothing thrown");
}

INSTANTIATE_TEST_SUITE_P(Buffering, ChecksummedFilesTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "unbuffered" : "buffered"; });
// Unbuffered files have whole sectors for blocks.
INSTANTIATE_TEST_SUITE_P(Buffering, ChecksummedFilesOfSmallBlocksTest, ::testing::Values(false),
                         [](const auto&) { return "buffered"; });
