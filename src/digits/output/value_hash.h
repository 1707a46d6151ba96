// One pass over the words of a value before its hexadecimal digits are written: their residue, which the
// value carries, and the hash of the digits.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "base/names/names.h"
#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor {

struct ValueHashes {
    u64 residue = 0;  // modulo 2^64 - 2^32 + 1, of the value with its sign
    // Modulo 2^61 - 1, as integers:
    u64 words = 0;   // the words after the point that hold the digits
    u64 digits = 0;  // the digits after the point
};

// Every word is read once, or twice within a piece that stays in the cache.
ValueHashes hash_value(const BigFloat& value, u64 hex_digits);

// The same; AlgorithmFailedException "A number was damaged in memory: value, ..." where the residue is not
// the one that the value carries. Counts a number that was looked at.
ValueHashes hash_checked_value(const ParallelContext& parallel, const BigFloat& value, u64 hex_digits,
                               const char* function);

}  // namespace kalvor
