// What a window of a Code 17 product leaves out of the ring: coefficients that are never joined, and words
// and carries that fall beyond the window. Their sum modulo 2^192 - 1 makes the window checkable.
//
// Eight points are a multiple of 192 bits, so all groups have the same weight. A coefficient is
//
//     sum of y_i M_i  -  q M        (y_i a residue times a constant, M_i the other primes' product, q a
//     quotient)
//
// so the eight sums of each y_i and of q over all groups that are left out say everything: the products with
// M_i are formed once, at the end.
#pragma once

#include "arith/c17/c17_ends.h"
#include "arith/residue/ring_residue.h"
#include "os/sync.h"

namespace trel {

class C17Rest {
  public:
    // Any thread.
    void add(const C17Outside& sums);
    void add(const RingResidue& words);
    void subtract(const RingResidue& words);

    // The sum of everything.
    RingResidue total(const C17EndConstants& constants) const;

  private:
    os::Mutex mutex_;
    i128 y_[C17EndConstants::kMaxPrimes][8] = {};
    i128 quotient_[8] = {};
    RingResidue words_;
};

}  // namespace trel
