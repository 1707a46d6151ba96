// Reads one compressed digit file (kvd_header.h, docs/formats.md). Positions are those of the number, so that
// file 2 of 100000 digits each begins with digit 200001.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "base/names/names.h"
#include "digits/files/basic_digit_reader.h"
#include "digits/files/kvd_header.h"
#include "platform/fileio/raw_file.h"

namespace kalvor {

class BasicKvdFileReader final : public BasicDigitReader {
  public:
    // Reads the header, and nothing else of the file. Throws FileException for one that is not the header of
    // a compressed digit file, with the texts of check_kvd_header(), and InconsistentMetaData.
    explicit BasicKvdFileReader(const std::string& path,
                                const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());
    // Through a handle that is open already; it stays open.
    explicit BasicKvdFileReader(const std::shared_ptr<FileIO::RawFile>& file);

    const std::string& path() const { return file_->path(); }
    const std::string& version() const { return parsed_.header.version; }
    u64 digits_per_file() const { return shape_.digits_per_file; }
    u64 id() const { return parsed_.header.id; }
    u32 digits_per_word() const { return shape_.digits_per_word; }
    u64 words() const { return shape_.words; }
    DigitRange get_range() const { return shape_.range; }

    std::string first_digits() const override { return shape_.first_digits; }
    // Those of the set: 0 in every file but a last one that is not full.
    u64 total_digits() const override { return parsed_.header.total_digits; }
    // Within this file.
    bool is_in_range(u64 start, u64 count) const override;
    u64 buffer_size(u64 count, u64 limit) const override;

    // words[0..count) = the file's words from `first` on. scratch: at least three sectors. Throws
    // FileException "Read error." for words that the file does not have, "Invalid Digit" for one that does
    // not stand for digits.
    void read_words(Word* words, u64 first, u64 count, AlignedBufferC scratch);
    // Throw what read_words() does, and InvalidParametersException outside of the file's range.
    void load_digits(u8* values, u64 start, u64 count, AlignedBufferC scratch,
                     const ParallelContext& parallel) override;
    void load_stats(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch,
                    const ParallelContext& parallel) override;

    // The same in one task.
    void load_digits_here(u8* values, u64 start, u64 count, AlignedBufferC scratch);
    void load_stats_here(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch);

  private:
    BasicKvdFileReader(std::shared_ptr<FileIO::RawFile> file, ParsedKvdHeader parsed);
    void start_access(u64 start, u64 count) const;
    // consume(words, first word of the file, n) for one block after the other.
    template <class Consume>
    void for_words(u64 first, u64 count, AlignedBufferC scratch, Consume consume);
    u64 load(void* window, u64 offset, u64 bytes);

    std::mutex mutex_;
    const std::shared_ptr<FileIO::RawFile> file_;
    const ParsedKvdHeader parsed_;
    const KvdShape shape_;
};

}  // namespace kalvor
