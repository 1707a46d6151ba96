// Residues of numbers modulo an odd number, for rings modulo 2^(64 W) + 1: they have no small divisor that
// would make a residue a sum of words.
#pragma once

#include "os/types.h"

namespace trel {

// Arithmetic modulo an odd m below 2^62, 0 for none. Values are lazily reduced: below 2^63.
class OddModulus {
  public:
    OddModulus(u64 m = 0);

    u64 value() const { return m_; }
    explicit operator bool() const { return m_ != 0; }
    // A[0..n), least significant word first.
    u64 residue(const Word* A, u64 n) const;
    u64 product(u64 a, u64 b) const;
    u64 add(u64 a, i64 small) const;
    bool equal(u64 a, u64 b) const { return a % m_ == b % m_; }

  private:
    u64 reduce(u128 t) const;  // t / 2^64 for t below 2^126

    u64 m_, negative_inverse_, two128_, two320_;
};

}  // namespace trel
