#include "platform/fileio/checksummed_file.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "platform/fileio/block_checksum.h"

namespace trel::FileIO {
namespace {

static_assert(std::endian::native == std::endian::little, "checksums are written as they lie in memory");

constexpr const char* kSuffix = ".checksums";
constexpr const char* kPositionRefused = "Unable to set file pointer.";
constexpr u64 kEntry = sizeof(u32);
// Checksums that a store computes and writes at a time.
constexpr u64 kBatch = 1024;
constexpr u64 kSectorLog2 = std::countr_zero(kSectorBytes);
constexpr u64 kChunkLog2 = std::countr_zero(kChecksumChunk);

u64 checked_block_log2(u64 block_log2, bool raw) {
    if (block_log2 < (raw ? kSectorLog2 : kChunkLog2) || block_log2 > 62) {
        throw InvalidParametersException("ChecksummedFile()", "Length is misaligned.");
    }
    return block_log2;
}

}  // namespace

ChecksumSideFile::ChecksumSideFile(const std::string& data_path, OpenMode mode, bool temporary,
                                   const FileCalls& calls)
    : RawFile(data_path + kSuffix, mode, Caching::cached, temporary, calls) {
    // Half an entry at the end was never completely recorded.
    n_blocks_ = size() / kEntry;
}

void ChecksumSideFile::store(const u32* checksums, u64 first, u64 n) {
    constexpr TransferTexts kTexts{"ChecksummedFile::store()", kPositionRefused, "WriteFile() failed.",
                                   "Incomplete Write: "};
    if (first > n_blocks_) set_length(first);
    write_all(kTexts, checksums, first * kEntry, n * kEntry);
    n_blocks_ = std::max(n_blocks_, first + n);
}

void ChecksumSideFile::load(u32* checksums, u64 first, u64 n) {
    constexpr TransferTexts kTexts{"ChecksummedFile::load()", kPositionRefused, "ReadFile() failed.",
                                   "Incomplete Read: "};
    read_all(kTexts, checksums, first * kEntry, n * kEntry);
}

void ChecksumSideFile::set_length(u64 n_blocks) {
    constexpr TransferTexts kTexts{"ChecksummedFile::set_size()", kPositionRefused, "WriteFile() failed.",
                                   "Incomplete Write: "};
    if (n_blocks < n_blocks_) {
        set_size(n_blocks * kEntry);
        n_blocks_ = n_blocks;
        return;
    }
    // Long writes, because far memory has many blocks.
    const std::vector<u32> none(std::min(u64(64) * kBatch, n_blocks - n_blocks_), kNoChecksum);
    while (n_blocks_ < n_blocks) {
        const u64 n = std::min<u64>(none.size(), n_blocks - n_blocks_);
        write_all(kTexts, none.data(), n_blocks_ * kEntry, n * kEntry);
        n_blocks_ += n;
    }
}

ChecksummedFile::ChecksummedFile(std::string path, OpenMode mode, bool raw, u64 block_log2, u32 seed,
                                 bool temporary, const FileCalls& calls)
    : BaseFile(std::move(path)),
      block_log2_(checked_block_log2(block_log2, raw)),
      seed_(seed),
      data_(path_, mode, raw, raw ? kSectorLog2 : 0, temporary, calls),
      checksums_(path_, mode, temporary, calls) {}

void ChecksummedFile::check_blocks(const char* function, u64 offset, u64 bytes) const {
    const u64 mask = block_bytes() - 1;
    if (bytes & mask) throw InvalidParametersException(function, "Length is misaligned.");
    if (offset & mask) throw InvalidParametersException(function, "Offset is misaligned.");
}

void ChecksummedFile::store(const void* buffer, u64 offset, u64 bytes) {
    check_blocks("ChecksummedFile::store()", offset, bytes);
    data_.store(buffer, offset, bytes);
    u32 batch[kBatch];
    const u8* block = static_cast<const u8*>(buffer);
    u64 first = offset >> block_log2_;
    for (u64 left = bytes >> block_log2_; left != 0;) {
        const u64 n = std::min(kBatch, left);
        block_checksums(batch, block, n, block_bytes(), seed_);
        checksums_.store(batch, first, n);
        block += n << block_log2_;
        first += n;
        left -= n;
    }
}

void ChecksummedFile::load(void* buffer, u64 offset, u64 bytes, void* scratch, u64 scratch_bytes) {
    constexpr const char* kFunction = "ChecksummedFile::load()";
    check_blocks(kFunction, offset, bytes);
    const u64 n_blocks = bytes >> block_log2_, first = offset >> block_log2_;
    if (scratch_bytes < n_blocks * kEntry) {
        throw BufferTooSmallException(kFunction, scratch_bytes, n_blocks * kEntry);
    }
    data_.load(buffer, offset, bytes);
    u32* recorded = static_cast<u32*>(scratch);
    checksums_.load(recorded, first, n_blocks);

    u32 computed[kBatch];
    for (u64 done = 0; done < n_blocks; done += kBatch) {
        const u64 n = std::min(kBatch, n_blocks - done);
        block_checksums(computed, static_cast<const u8*>(buffer) + (done << block_log2_), n, block_bytes(),
                        seed_);
        for (u64 i = 0; i < n; i++) {
            if (recorded[done + i] == computed[i] || recorded[done + i] == kNoChecksum) continue;
            const u64 start = (first + done + i) << block_log2_;
            throw FileException(kFunction,
                                "Checksum Mismatch: Data Corruption at Offset [" +
                                    Console::format_commas(start) + ", " +
                                    Console::format_commas(start + block_bytes()) + ")",
                                path_);
        }
    }
}

void ChecksummedFile::set_size(u64 bytes) {
    check_blocks("ChecksummedFile::set_size()", 0, bytes);
    // Where blocks appear or vanish, there is never a checksum that belongs to other bytes.
    const u64 before = data_.size();
    if (bytes < before) checksums_.set_length(bytes >> block_log2_);
    data_.set_size(bytes);
    checksums_.set_length(bytes >> block_log2_);
}

void ChecksummedFile::reserve(u64 bytes, Warnings& warnings) {
    set_size(bytes);
    data_.reserve(bytes, warnings);
}

void ChecksummedFile::close() {
    data_.close();
    checksums_.close();
}

void ChecksummedFile::flush() {
    data_.flush();
    checksums_.flush();
}

void ChecksummedFile::rename(const std::string& new_path) {
    data_.rename(new_path);
    path_ = new_path;
    checksums_.rename(new_path + kSuffix);
}

}  // namespace trel::FileIO
