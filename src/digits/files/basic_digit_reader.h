// A source of digits: a digit file, or digits in memory. Digits are numbered from 1 after the point; the
// range {start, count} means digits start + 1 ... start + count.
#pragma once

#include <string>

#include "base/names/names.h"
#include "digits/files/digit_counts.h"
#include "os/types.h"
#include "platform/memory/aligned_buffer.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor {

// What is known of a range: its digits as one integer mod (2^61 - 1), and how often each occurs.
struct DigitRangeStats {
    explicit DigitRangeStats(u8 radix) : counts(radix) {}

    u64 hash = 0;
    DigitCounts counts;
};

// Says that a file holds no digits: its integer part does not end soon enough.
inline constexpr const char* kNoPoint =
    "A decimal place was not found within the first 63 bytes of the file.";

// Concurrent reads of disjoint or overlapping ranges are allowed; each brings its own scratch.
class BasicDigitReader {
  public:
    virtual ~BasicDigitReader();

    u8 radix() const { return radix_; }  // 10 or 16
    // Integer part, "." and the first digits.
    virtual std::string first_digits() const = 0;
    // 0 = unknown
    virtual u64 total_digits() const = 0;
    virtual bool is_in_range(u64 start, u64 count) const;
    // For people, one or more lines without the last line end: what a range that is not in range lacks. Empty
    // where that is not known.
    virtual std::string what_is_missing(u64 start, u64 count) const;
    // Throws what a load of the range would throw because of files that are missing or too short, before
    // anything is done with it.
    virtual void require(u64 /*start*/, u64 /*count*/) const {}
    // What the paths of its files begin with; of a single file, its path. Empty: they are not known.
    virtual std::string source() const { return {}; }
    // Bytes of scratch with which `count` digits are read at once, or as many of them as `limit` bytes allow.
    virtual u64 buffer_size(u64 count, u64 limit) const = 0;

    // values[0..count) = digit values 0 .. radix - 1, one a byte.
    virtual void load_digits(u8* values, u64 start, u64 count, AlignedBufferC scratch,
                             const ParallelContext& parallel) = 0;
    // Adds a range to the statistics; ranges that follow one another make one range.
    virtual void load_stats(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch,
                            const ParallelContext& parallel) = 0;

  protected:
    explicit BasicDigitReader(u8 radix) : radix_(radix) {}

    u8 radix_;
};

}  // namespace kalvor
