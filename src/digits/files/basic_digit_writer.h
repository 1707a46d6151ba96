// A sink of digits: a digit file, or a set of them.
#pragma once

#include <memory>

#include "digits/files/basic_digit_reader.h"

namespace kalvor {

//   store_digits() ...   every digit
//   finish()             the output is whole on the device, under a name that says it is not checked yet
//   read_back()          what the device has
//   publish()            the final name
class BasicDigitWriter {
  public:
    virtual ~BasicDigitWriter();
    // Writes values[0..count), 0 .. radix - 1, as digits start + 1 ... start + count. Ranges may come in any
    // order and from several threads; in ascending order is fastest.
    virtual void store_digits(const trel::u8* values, trel::u64 start, trel::u64 count,
                              trel::AlignedBufferC scratch, const trel::ParallelContext& context) = 0;
    // Throws FileException when digits are missing.
    virtual void finish() = 0;
    // After finish(), until publish().
    virtual std::unique_ptr<BasicDigitReader> read_back() = 0;
    virtual void publish() = 0;
    // No more attempts, no warning: another writer begins again with the same output.
    virtual void abandon() = 0;
    // All of it without a check: completes the output and opens it under its final name.
    virtual std::unique_ptr<BasicDigitReader> close_and_get_basic_reader() = 0;
};

}  // namespace kalvor
