// The lengths of the floating-point FFT and how many bits a point may hold at each.
#pragma once

#include <span>

#include "os/types.h"

namespace trel {

// N = a 2^k points of b bits.
struct FftParameters {
    u32 a;  // 1, 3 or 5
    u32 k;
    u32 b;

    constexpr u64 points() const { return u64(a) << k; }
    constexpr u64 capacity() const { return points() * b; }  // bits of the convolution
};

// The 105 entries in increasing order of capacity.
std::span<const FftParameters> fft_parameter_table();

// The first entry for a product of `bits` bits (entry 0 for everything up to 2048). Throws
// LimitExceededException beyond the last capacity, 100663296.
u64 fft_entry_for(u64 bits);

}  // namespace trel
