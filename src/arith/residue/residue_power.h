// Powers of residues, whatever the modulus.
#pragma once

#include "os/types.h"

namespace trel {

// base^exponent by squarings; 1 for exponent 0. multiply(a, b) is the product of the ring.
template <class Multiply>
constexpr u64 residue_power(u64 base, u64 exponent, Multiply&& multiply) {
    u64 r = 1;
    for (; exponent != 0; exponent >>= 1) {
        if ((exponent & 1) != 0) r = multiply(r, base);
        base = multiply(base, base);
    }
    return r;
}

}  // namespace trel
