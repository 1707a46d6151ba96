// Products modulo a number below 2^48, without a division.
#pragma once

#include "os/types.h"

namespace trel {

class Modulus48 {
  public:
    // 1 < n < 2^48.
    explicit Modulus48(u64 n) : n_(n), inverse_(1.0 / static_cast<double>(n)) {}

    // x y modulo n; x, y < n. Three roundings leave the quotient, which is below 2^48, less than one from the
    // truth: the rest is above -n and below 2 n.
    u64 mul(u64 x, u64 y) const {
        const i64 quotient = static_cast<i64>(real(x) * real(y) * inverse_);
        const i64 rest = static_cast<i64>(x * y - static_cast<u64>(quotient) * n_), n = static_cast<i64>(n_);
        return static_cast<u64>(rest < 0 ? rest + n : rest >= n ? rest - n : rest);
    }

    // x < 2^63. Signed, because the unsigned conversion takes a branch before AVX-512.
    static double real(u64 x) { return static_cast<double>(static_cast<i64>(x)); }

  private:
    u64 n_;
    double inverse_;
};

}  // namespace trel
