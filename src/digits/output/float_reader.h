// A number in memory as a source of digits.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "digits/convert/radix_fraction.h"
#include "digits/files/basic_digit_reader.h"

namespace kalvor {

// Decimal over the radix words of a conversion, hexadecimal over the binary words themselves. Owns no digits;
// the words outlive it. Read-only after construction, so any number of threads may read.
class FloatReaderB final : public BasicDigitReader {
  public:
    // radix_words[n - 1] holds the first 19 digits.
    FloatReaderB(trel::Word integer_part, const trel::Word* radix_words, trel::u64 n, trel::u64 total_digits);
    // Hexadecimal digits of |x|. Throws InvalidParametersException "Object is out of range." for |x| >= 2^64.
    FloatReaderB(const trel::BigFloat& x, trel::u64 total_digits);

    trel::u64 digits_per_word() const { return radix_ == 10 ? 19 : 16; }
    trel::Word integer_part() const { return integer_; }
    // Integer part, "." and up to 50 digits.
    std::string first_digits() const override;
    trel::u64 total_digits() const override { return total_; }
    trel::u64 buffer_size(trel::u64 count, trel::u64 limit) const override;

    // scratch: at least 10 words, else BufferTooSmallException.
    void load_digits(trel::u8* values, trel::u64 start, trel::u64 count, trel::AlignedBufferC scratch,
                     const trel::ParallelContext& context) override;
    void load_stats(DigitRangeStats& stats, trel::u64 start, trel::u64 count, trel::AlignedBufferC scratch,
                    const trel::ParallelContext& context) override;
    // words[i] = the (start + i)-th word of digits after the point, counted from 0.
    void load_words(trel::Word* words, trel::i64 start, trel::u64 count) const;

  private:
    void check_range(const char* function, trel::u64 start, trel::u64 count) const;

    trel::Word integer_;
    CBRv2::RadixFraction fraction_;
    trel::u64 total_;
};

}  // namespace kalvor
