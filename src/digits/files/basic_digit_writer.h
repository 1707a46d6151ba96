// A sink of digits: a digit file, or a set of them.
#pragma once

#include <memory>

#include "digits/files/basic_digit_reader.h"

namespace kalvor {

class BasicDigitWriter {
  public:
    virtual ~BasicDigitWriter();
    // Completes the output and opens it for reading back.
    virtual std::unique_ptr<BasicDigitReader> close_and_get_basic_reader() = 0;
    // Writes values[0..count), 0 .. radix - 1, as digits start + 1 ... start + count. Ranges may come in any
    // order and from several threads; in ascending order is fastest.
    virtual void store_digits(const trel::u8* values, trel::u64 start, trel::u64 count,
                              trel::AlignedBufferC scratch, const trel::ParallelContext& context) = 0;
};

}  // namespace kalvor
