#include "digits/bbp/fraction_float.h"

#include <algorithm>

#include "base/errors/exceptions.h"

namespace kalvor::BBPv2 {

FractionFloat::FractionFloat(u64 n_limbs) {
    if (n_limbs < 2) {
        throw InvalidParametersException("FractionFloat::FractionFloat()", "Length must be at least 2.");
    }
    limbs_.resize(n_limbs);
}

void FractionFloat::clear() {
    std::fill(limbs_.begin(), limbs_.end(), 0);
}

void FractionFloat::require_same_length(const FractionFloat& x, const char* function) const {
    if (x.limbs_.size() != limbs_.size()) {
        throw InvalidParametersException(function, "Lengths do not match.");
    }
}

void FractionFloat::add(const FractionFloat& x) {
    require_same_length(x, "FractionFloat::add()");
    u64 carry = 0;
    for (u64 i = limbs_.size(); i-- > 0;) {
        carry += limbs_[i] + x.limbs_[i];
        limbs_[i] = carry & kMask;
        carry >>= kLimbBits;
    }
}

void FractionFloat::subtract(const FractionFloat& x) {
    require_same_length(x, "FractionFloat::subtract()");
    u64 borrow = 0;
    for (u64 i = limbs_.size(); i-- > 0;) {
        const u64 difference = limbs_[i] - x.limbs_[i] - borrow;
        limbs_[i] = difference & kMask;
        borrow = difference >> 63;
    }
}

void FractionFloat::add_lanes(const u64* sums) {
    __int128 carry = 0;
    for (u64 j = limbs_.size(); j-- > 0;) {
        for (u64 lane = 0; lane < 8; lane++) carry += static_cast<i64>(sums[8 * j + lane]);
        carry += static_cast<i64>(limbs_[j]);
        limbs_[j] = static_cast<u64>(carry) & kMask;
        carry >>= kLimbBits;
    }
}

void FractionFloat::add_at(u64 i, u64 value) {
    limbs_[i] += value;
    while (limbs_[i] > kMask) {
        limbs_[i] &= kMask;
        if (i-- == 0) return;
        limbs_[i]++;
    }
}

void FractionFloat::add_power(u64 s) {
    const u64 i = (s - 1) / kLimbBits;
    if (i < limbs_.size()) add_at(i, u64(1) << (kLimbBits - 1 - (s - 1) % kLimbBits));
}

std::string FractionFloat::hexadecimal(u64 n) const {
    std::string text;
    text.reserve(n);
    for (u64 i = 0; i < n; i++) {
        const u64 shift = kLimbBits - 4 - 4 * (i % 12);
        text += "0123456789ABCDEF"[limbs_[i / 12] >> shift & 15];
    }
    return text;
}

}  // namespace kalvor::BBPv2
