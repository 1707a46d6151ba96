// A file that notices when a disk gives back other bytes than it took: a 32-bit checksum for each block, kept
// in a side file.
//
//   path               the data, any number of blocks of 2^k bytes
//   path.checksums     one little-endian u32 a block, block i at byte 4 i; 0x80000000 = none recorded:
//                      the block has not been stored yet
#pragma once

#include <string>

#include "platform/fileio/raw_file.h"

namespace trel::FileIO {

// The side file. Its accesses are a few bytes anywhere, so they go through the system's cache even where the
// data is raw, and none of them waits for the device: flush() does.
class ChecksumSideFile final : public RawFile {
  public:
    ChecksumSideFile(const std::string& data_path, OpenMode mode, bool temporary,
                     const FileCalls& calls = FileCalls::of_this_machine());

    // Checksums by block number.
    void store(const u32* checksums, u64 first, u64 n);
    void load(u32* checksums, u64 first, u64 n);
    // Cuts the list or extends it with blocks that have no checksum.
    void set_length(u64 n_blocks);

  private:
    using RawFile::load;
    using RawFile::store;

    u64 n_blocks_ = 0;  // the file's length
};

// Used by one thread at a time.
class ChecksummedFile final : public BaseFile {
  public:
    // raw: as for RawFile, for the data. block_log2: k, at least 6 and for raw files at least 12 (whole
    // sectors), else InvalidParametersException "Length is misaligned.". seed: part of every checksum, so
    // that blocks of different files never pass for each other; a file is read with the seed it was written
    // with.
    ChecksummedFile(std::string path, OpenMode mode, bool raw, u64 block_log2, u32 seed,
                    bool temporary = false, const FileCalls& calls = FileCalls::of_this_machine());

    bool is_open() const override { return data_.is_open() && checksums_.is_open(); }
    u64 block_bytes() const { return u64(1) << block_log2_; }

    // offset and bytes: whole blocks, else InvalidParametersException "Length is misaligned." or "Offset is
    // misaligned.". The data goes first: after a failure a block may be new with its old checksum, and is
    // then reported as corrupt.
    void store(const void* buffer, u64 offset, u64 bytes);
    // scratch: at least 4 bytes a block, else BufferTooSmallException. A block that is not what was stored
    // throws FileException "Checksum Mismatch: Data Corruption at Offset [4,096, 8,192)"; the buffer then
    // holds what was read.
    void load(void* buffer, u64 offset, u64 bytes, void* scratch, u64 scratch_bytes);

    u64 size() const { return data_.size(); }
    // bytes: whole blocks. New blocks have no checksum until they are stored.
    void set_size(u64 bytes);
    // As set_size, and reserves the space of the data (RawFile::reserve).
    void reserve(u64 bytes, Warnings& warnings);

    void close() override;
    // The data, then the checksums.
    void flush() override;
    // Both files, the data first: when the second rename fails, the data has its new name and its checksums
    // are whole under the old one.
    void rename(const std::string& new_path) override;

  private:
    void check_blocks(const char* function, u64 offset, u64 bytes) const;

    const u64 block_log2_;
    const u32 seed_;
    AlignedAccessFile data_;
    ChecksumSideFile checksums_;
};

}  // namespace trel::FileIO
