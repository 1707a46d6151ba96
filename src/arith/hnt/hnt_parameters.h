// The lengths of the hybrid transform: an outer transform whose elements are numbers themselves.
#pragma once

#include <span>

#include "os/types.h"

namespace trel {

// 2^k elements of L units of 32 bits; the elements are residues modulo 2^(32 L) + 1 and take one more unit.
// An operand gives each element one unit less than half of its room.
struct HntParameters {
    u32 k;
    u32 m;

    constexpr u64 elements() const { return u64(1) << k; }
    constexpr u64 element_units() const { return (u64(m) << k) / 128; }          // L
    constexpr u64 point_bits() const { return ((u64(m) << k) / 256 - 1) * 32; }  // payload of an element
    constexpr u64 capacity_bits() const { return point_bits() << k; }
    friend bool operator==(const HntParameters&, const HntParameters&) = default;
};

// HNT's largest size in the algorithm tables; the lists go beyond it.
constexpr u64 kHntMaxBits = 0x7fff0000000;
// From this many units an element's product goes to the floating-point FFT.
constexpr u64 kHntFftUnits = 24;

// The two lists, each in the order of capacity: 321 pairs and 189 pairs, the second for sizes beyond the
// first. In the second m may be odd. Built on first use, any thread.
std::span<const HntParameters> hnt_list_a();
std::span<const HntParameters> hnt_list_b();

// The first pair of the first list with enough capacity, else of the second, else LimitExceededException.
const HntParameters& find_hnt_parameters(u64 bits);

}  // namespace trel
