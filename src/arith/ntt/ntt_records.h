// The families of number-theoretic transforms that cut an operand into points and work modulo several primes:
// their constants, their lists of parameter records, and the choice of a record by the size of a product.
#pragma once

#include <span>

#include "os/types.h"

namespace trel {

enum class NttFamily { n32, c17, n64, vst };

// One transform length: N = b 2^c points modulo a primes. d, e, f are hints for cache blocking (0: none) that
// never change a result.
struct NttRecord {
    u8 a, b, c, d, e, f;

    u64 points() const { return u64(b) << c; }
    friend bool operator==(const NttRecord&, const NttRecord&) = default;
};

struct NttFamilyConstants {
    const char* short_name;  // "N32", "C17", "N64", "VST"
    u32 prime_bits;          // primes are below 2^prime_bits: 31, 48, 63, 48
    u32 point_bits;          // payload of a point is point_bits * (a - 1): 16, 24, 32, 24
    u32 min_a, max_a;        // of the lists
    u64 max_bits;            // the largest product
};
const NttFamilyConstants& ntt_constants(NttFamily family);

// Payload bits of a point, and of all N points: the convolution length.
inline u32 ntt_point_bits(NttFamily family, u32 a) {
    return ntt_constants(family).point_bits * (a - 1);
}
u64 ntt_capacity_bits(NttFamily family, const NttRecord& record);

// The lists, each in the order of capacity; built on first use, any thread. They hold the lengths that no
// other length of at least their capacity beats in residues (a times N). N64 has no tuned list; VST shares
// C17's general list and has a thinner tuned one.
std::span<const NttRecord> ntt_tuned_records(NttFamily family);
std::span<const NttRecord> ntt_general_records(NttFamily family);

// The record for a product of `bits` bits: the first of the tuned list with enough capacity, else the first
// of the general list, else LimitExceededException with the limit and the request in bits.
const NttRecord& find_ntt_record(NttFamily family, u64 bits);
// The same for a size in words; the exception counts in words too.
const NttRecord& find_ntt_record_for_words(NttFamily family, u64 words);
// The most residues (a N) that the record of any product of up to `words` words has.
u64 ntt_largest_residues(NttFamily family, u64 words);

}  // namespace trel
