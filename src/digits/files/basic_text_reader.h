// Reads a text digit file: the integer part, ".", then one character a digit and nothing else.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "digits/files/basic_digit_reader.h"
#include "platform/fileio/raw_file.h"

namespace kalvor {

class BasicTextReader final : public BasicDigitReader {
  public:
    // radix 10 or 16; 0 = told by the first 64 bytes (a letter a-f makes it 16). Throws StringException
    // "Invalid Digit", FileException "A decimal place was not found within the first 63 bytes of the file.",
    // InvalidParametersException "Invalid Radix".
    explicit BasicTextReader(const std::string& path, trel::u8 radix = 0);
    // Through a handle that is open already; it stays open.
    explicit BasicTextReader(std::shared_ptr<trel::FileIO::RawFile> file, trel::u8 radix = 0);

    std::string first_digits() const override { return head_; }
    trel::u64 total_digits() const override { return total_digits_; }
    trel::u64 buffer_size(trel::u64 count, trel::u64 limit) const override;

    // Throw InvalidParametersException "Out of range." or "Invalid Digit", FileException "Incomplete read.",
    // BufferTooSmallException when the scratch holds no whole sector.
    void load_digits(trel::u8* values, trel::u64 start, trel::u64 count, trel::AlignedBufferC scratch,
                     const trel::ParallelContext& context) override;
    void load_stats(DigitRangeStats& stats, trel::u64 start, trel::u64 count, trel::AlignedBufferC scratch,
                    const trel::ParallelContext& context) override;

  private:
    // Calls consume(characters, offset in the range, n) for one window of the range after the other.
    template <class Consume>
    void read_range(trel::u64 start, trel::u64 count, trel::AlignedBufferC scratch, Consume consume);

    std::mutex mutex_;
    const std::shared_ptr<trel::FileIO::RawFile> file_;
    std::string head_;  // the first bytes of the file, at most 64
    trel::u64 digits_offset_ = 0;
    trel::u64 total_digits_ = 0;
};

}  // namespace kalvor
