#include "digits/bbp/range_sum.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace kalvor::BBPv2 {

namespace {

// Limbs that are brought up to date for a whole tile before the next: their sums (16 KiB) stay in the first
// cache beside the tile.
constexpr u64 kLimbBlock = 256;
// While lanes of a tail still join: 768 bits, because 2^-767 is still a normal double.
constexpr u64 kTailBlock = 16;
// Terms of the tail in mode C, which are divided one by one.
constexpr u64 kTailTermsC = 16;

// 2^-n, n <= 1022
double negative_power(u64 n) {
    return std::bit_cast<double>((1023 - n) << 52);
}

}  // namespace

struct RangeSum::Tiles {
    BbpTile doubles;
    BbpTileC words;
};

RangeSum::RangeSum(u64 n_limbs, const BbpKernels& kernels)
    : kernels_(kernels),
      n_limbs_(n_limbs),
      tiles_(std::make_unique<Tiles>()),
      sums_(std::make_unique<u64[]>(8 * n_limbs)),
      total_(n_limbs) {}

RangeSum::~RangeSum() = default;

FractionFloat RangeSum::take() {
    fold();
    return std::exchange(total_, FractionFloat(n_limbs_));
}

void RangeSum::fold() {
    if (n_unfolded_ == 0) return;
    total_.add_lanes(sums_.get());
    std::fill_n(sums_.get(), 8 * n_limbs_, 0);
    n_unfolded_ = 0;
}

void RangeSum::count(u64 n) {
    n_unfolded_ += n;
    if (n_unfolded_ + kBbpTile > kBbpFoldTerms) fold();
}

void RangeSum::add(const SubSum& sub_sum, Mode mode, u64 k0, u64 k1, const Progress& done) {
    if (k0 < k1 && sub_sum.divisor(k0) == 1) {
        // 2^x / 1 is 2^(x + 1) / 2: a half at most, and a whole number from x = 0 on.
        const i64 x = sub_sum.exponent(k0);
        if (x < 0) total_.add_power(static_cast<u64>(-x));
        k0++;
        done(1);
    }
    const u64 tail = std::clamp(sub_sum.tail_begin(), k0, std::max(k0, k1));
    while (k0 < tail) {
        const u64 n = std::min(tail - k0, kBbpTile);
        add_powers(sub_sum, mode, k0, n);
        k0 += n;
        done(n);
    }
    while (k0 < k1) {
        const u64 n = std::min(k1 - k0, mode == Mode::c ? kTailTermsC : kBbpTile);
        if (mode == Mode::c) {
            for (u64 k = k0; k < k0 + n; k++) {
                add_tail_term_c(sub_sum.divisor(k), static_cast<u64>(-sub_sum.exponent(k)));
            }
        } else {
            add_tail(sub_sum, k0, n);
        }
        k0 += n;
        done(n);
    }
}

void RangeSum::add_powers(const SubSum& sub_sum, Mode mode, u64 k, u64 n) {
    const BbpTerms terms{n, sub_sum.divisor(k), sub_sum.a, static_cast<u64>(sub_sum.exponent(k)),
                         static_cast<u64>(-sub_sum.c)};
    if (mode == Mode::c) {
        kernels_.power_c(tiles_->words, terms);
    } else {
        (mode == Mode::a ? kernels_.power_a : kernels_.power_b)(tiles_->doubles, terms);
    }
    for (u64 j = 0; j < n_limbs_; j += kLimbBlock) {
        const u64 n_block = std::min(kLimbBlock, n_limbs_ - j);
        const bool last = j + n_block == n_limbs_;
        if (mode == Mode::c) {
            kernels_.limbs_c(&sums_[8 * j], n_block, tiles_->words, n, last);
        } else {
            kernels_.limbs(&sums_[8 * j], n_block, tiles_->doubles, n, last);
        }
    }
    count(n);
}

// 2^-s / m, cut: the quotient's limbs as of r = 2^-(s mod 48) from limb s / 48 on. A lane joins with the
// block that holds its first limb; until then it is zero.
void RangeSum::add_tail(const SubSum& sub_sum, u64 k, u64 n) {
    BbpTile& tile = tiles_->doubles;
    std::fill_n(tile.r, kBbpTile, 0);
    for (u64 i = 0; i < kBbpTile; i++) {
        // Lanes behind the last term need some divisor.
        const auto m = static_cast<double>(sub_sum.divisor(k + std::min(i, n - 1)));
        tile.m[i] = m;
        tile.inverse[i] = 1 / m;
    }
    const auto shift = [&](u64 i) { return static_cast<u64>(-sub_sum.exponent(k + i)); };
    u64 joined = 0;
    for (u64 j = shift(0) / FractionFloat::kLimbBits; j < n_limbs_;) {
        const u64 n_block = std::min(joined < n ? kTailBlock : kLimbBlock, n_limbs_ - j);
        const u64 begin = j * FractionFloat::kLimbBits;
        for (; joined < n && shift(joined) < begin + n_block * FractionFloat::kLimbBits; joined++) {
            tile.r[joined] = negative_power(shift(joined) - begin);
        }
        kernels_.limbs(&sums_[8 * j], n_block, tile, joined, j + n_block == n_limbs_);
        j += n_block;
    }
    count(n);
}

// The same by plain long division, limb by limb.
void RangeSum::add_tail_term_c(u64 divisor, u64 shift) {
    u64 j = shift / FractionFloat::kLimbBits;
    unsigned __int128 dividend = u64(1) << (FractionFloat::kLimbBits - shift % FractionFloat::kLimbBits);
    for (; j < n_limbs_; j++) {
        sums_[8 * j] += static_cast<u64>(dividend / divisor);
        dividend = dividend % divisor << FractionFloat::kLimbBits;
    }
    count(1);
}

}  // namespace kalvor::BBPv2
