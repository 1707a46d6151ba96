// Reads a text digit file: the integer part, ".", then one character a digit and nothing else.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "base/names/names.h"
#include "digits/files/basic_digit_reader.h"
#include "platform/fileio/raw_file.h"

namespace kalvor {

class BasicTextReader final : public BasicDigitReader {
  public:
    // radix 10 or 16; 0 = told by the first 64 bytes (a letter a-f makes it 16). Throws StringException
    // "Invalid Digit", FileException "A decimal place was not found within the first 63 bytes of the file.",
    // InvalidParametersException "Invalid Radix".
    explicit BasicTextReader(const std::string& path, u8 radix = 0,
                             const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());
    // Through a handle that is open already; it stays open.
    explicit BasicTextReader(std::shared_ptr<FileIO::RawFile> file, u8 radix = 0);

    std::string first_digits() const override { return head_; }
    u64 total_digits() const override { return total_digits_; }
    std::string source() const override { return file_->path(); }
    u64 buffer_size(u64 count, u64 limit) const override;

    // Throw InvalidParametersException "Out of range." or "Invalid Digit", FileException "Incomplete read.",
    // BufferTooSmallException when the scratch holds no whole sector.
    void load_digits(u8* values, u64 start, u64 count, AlignedBufferC scratch,
                     const ParallelContext& parallel) override;
    void load_stats(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch,
                    const ParallelContext& parallel) override;

  private:
    // Calls consume(characters, offset in the range, n) for one window of the range after the other.
    template <class Consume>
    void read_range(u64 start, u64 count, AlignedBufferC scratch, Consume consume);

    std::mutex mutex_;
    const std::shared_ptr<FileIO::RawFile> file_;
    std::string head_;  // the first bytes of the file, at most 64
    u64 digits_offset_ = 0;
    u64 total_digits_ = 0;
};

}  // namespace kalvor
