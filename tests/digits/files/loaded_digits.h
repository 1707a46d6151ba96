// Digits of a reader, with what it writes behind them looked at.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "digits/files/basic_digit_reader.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor_test {

inline std::vector<trel::u8> load(kalvor::BasicDigitReader& reader, trel::u64 start, trel::u64 count,
                                  trel::u64 scratch_bytes = 1 << 16,
                                  const trel::ParallelContext& parallel = trel::serial_context()) {
    const trel::GuardedBuffer scratch(scratch_bytes, 4096);
    std::vector<trel::u8> values(count + 1, 0xEE);
    reader.load_digits(values.data(), start, count, trel::AlignedBufferC(scratch.get(), scratch_bytes),
                       parallel);
    EXPECT_EQ(values.back(), 0xEE);
    values.pop_back();
    return values;
}

}  // namespace kalvor_test
