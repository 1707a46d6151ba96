// The constants of the integer transforms' prime sets: roots of unity, reduction and recombination.
#pragma once

#include "arith/intntt/integer_ntt_kernels.h"
#include "arith/ntt/ntt_records.h"

namespace trel {

// N32 works on 32-bit words, N64 on 64-bit words.
template <class W>
constexpr NttFamily kIntegerNttFamily = sizeof(W) == 4 ? NttFamily::n32 : NttFamily::n64;

// Made on first use (half a millisecond), kept for the life of the program; any thread. Throws as
// ntt_prime_set().
template <class W>
const IntegerNttSet<W>& integer_ntt_set(u32 a, u32 b);

extern template const IntegerNttSet<u32>& integer_ntt_set<u32>(u32 a, u32 b);
extern template const IntegerNttSet<u64>& integer_ntt_set<u64>(u32 a, u32 b);

}  // namespace trel
