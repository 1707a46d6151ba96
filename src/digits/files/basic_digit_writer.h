// A sink of digits: a digit file, or a set of them.
#pragma once

#include <memory>

#include "base/names/names.h"
#include "digits/files/basic_digit_reader.h"

namespace kalvor {

// Digits as one byte each and as words of 19 or 16 of them (word_digits.h): values[0] and the first digit of
// words[0] are digit start + 1. The last word may have digits that are not meant.
struct DigitWords {
    const Word* words;
    const u8* values;
    u64 start;
};

//   store_digits() ...   every digit
//   finish()             the output is whole on the device, under a name that says it is not checked yet
//   read_back()          what the device has
//   publish()            the final name
class BasicDigitWriter {
  public:
    virtual ~BasicDigitWriter();
    // Writes values[0..count), 0 .. radix - 1, as digits start + 1 ... start + count. Ranges may come in any
    // order and from several threads; in ascending order is fastest.
    virtual void store_digits(const u8* values, u64 start, u64 count, AlignedBufferC scratch,
                              const ParallelContext& parallel) = 0;
    // The same with digits that are there in both forms: a writer takes the one that it stores. start and
    // count: what to store of them.
    virtual void store_words(const DigitWords& digits, u64 start, u64 count, AlignedBufferC scratch,
                             const ParallelContext& parallel);
    // Bytes of scratch with which `count` digits are written at once, or as many of them as `limit` bytes
    // allow.
    virtual u64 buffer_size(u64 count, u64 limit) const;
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
