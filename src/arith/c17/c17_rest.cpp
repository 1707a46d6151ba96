#include "arith/c17/c17_rest.h"

#include <mutex>

#include "arith/c17/c17_end_constants.h"

namespace trel {
namespace {

void add_signed(RingResidue& to, i128 value, u64 shift) {
    RingResidue one;
    one.add(static_cast<u128>(value < 0 ? -value : value), 0);
    const RingResidue moved = one.rotated(shift);
    value < 0 ? to.subtract(moved) : to.add(moved);
}

// The product of all primes but one.
RingResidue others(const C17PrimeConstants& prime, u32 a) {
    RingResidue m;
    for (u32 k = 0; k + 1 < a; k++) add_signed(m, static_cast<i64>(prime.others[k]), 48 * u64(k));
    return m;
}

}  // namespace

void C17Rest::add(const C17Outside& sums) {
    const std::lock_guard<os::Mutex> lock(mutex_);
    for (u32 l = 0; l < 8; l++) {
        for (u32 i = 0; i < C17EndConstants::kMaxPrimes; i++) y_[i][l] += static_cast<i64>(sums.y[i][l]);
        quotient_[l] += static_cast<i64>(sums.quotient[l]);
    }
}

void C17Rest::add(const RingResidue& words) {
    const std::lock_guard<os::Mutex> lock(mutex_);
    words_.add(words);
}
void C17Rest::subtract(const RingResidue& words) {
    const std::lock_guard<os::Mutex> lock(mutex_);
    words_.subtract(words);
}

RingResidue C17Rest::total(const C17EndConstants& constants) const {
    const u32 a = constants.set->a;
    const u64 point_bits = 24 * (u64(a) - 1);
    RingResidue sum = words_;
    for (u32 i = 0; i < a; i++) {
        const C17PrimeConstants& prime = constants.set->primes[i];
        RingResidue y;
        for (u64 l = 0; l < 8; l++) add_signed(y, y_[i][l], point_bits * l);
        const RingResidue m = others(prime, a);
        sum.add(m.times(y));
        if (i + 1 == a) {
            RingResidue p, q;
            add_signed(p, static_cast<i64>(prime.p), 0);
            for (u64 l = 0; l < 8; l++) add_signed(q, quotient_[l], point_bits * l);
            sum.subtract(m.times(p).times(q));
        }
    }
    return sum;
}

}  // namespace trel
