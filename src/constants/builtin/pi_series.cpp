#include "constants/builtin/pi_series.h"

#include <bit>
#include <cmath>

#include "arith/residue/goldilocks.h"
#include "base/errors/fatal.h"

namespace kalvor {
namespace {

// Scratch words of a leaf per term, for both series.
constexpr u64 kGrowthWords = 23;

BinarySplitting::Series::Parameters parameters(PiSeriesKind kind, u64 precision_words) {
    const PiSeriesConstants& constants = PiSeriesConstants::of(kind);
    return {PiSeries::term_count(kind, precision_words), precision_words, constants.leaf_threshold,
            kGrowthWords, constants.alternating};
}

void require(const BasicIntR& T, u64 words, const char* function) {
    if (T.buffer_size < words) {
        assertion_failure(kInvalidParameters, function, "The destination is too small.");
    }
}

// T *= w, w != 0; the caller has checked the room.
inline void multiply(BasicIntR& T, Word w) {
    Word carry = 0;
    for (u64 i = 0; i < T.L; i++) {
        const u128 p = u128(T.T[i]) * w + carry;
        T.T[i] = Word(p);
        carry = Word(p >> 64);
    }
    if (carry != 0) T.T[T.L++] = carry;
    T.residue = goldilocks::mul(T.residue, goldilocks::of_word(w));
}
inline void set(BasicIntR& T, Word w) {
    T.T[0] = w;
    T.L = 1;
    T.residue = goldilocks::of_word(w);
}

double ln_factorial(double x) {
    return (x + 0.5) * std::log(x + 1) - x - dd::stirling().high;
}

}  // namespace

const PiSeriesConstants& PiSeriesConstants::of(PiSeriesKind kind) {
    static constexpr PiSeriesConstants chudnovsky = {13591409,
                                                     545140134,
                                                     10939058860032000,
                                                     6,
                                                     5,
                                                     15,
                                                     "32.65445004176851599077913804969300490729",
                                                     "36.93111616078457130182132488791258602081",
                                                     8,
                                                     true,
                                                     "Pi_Chudnovsky_BSR_End_R1()",
                                                     "Pi_Chudnovsky_BSR_End_P1()",
                                                     "Pi_Chudnovsky_BSR_End_Q1()"};
    static constexpr PiSeriesConstants ramanujan = {1103,
                                                    26390,
                                                    3073907232,
                                                    4,
                                                    3,
                                                    5,
                                                    "18.38047627747241588639166145022043732094",
                                                    "21.84621530333808625449589681453160567684",
                                                    12,
                                                    false,
                                                    "Pi_Ramanujan_BSR_End_R1()",
                                                    "Pi_Ramanujan_BSR_End_P1()",
                                                    "Pi_Ramanujan_BSR_End_Q1()"};
    return kind == PiSeriesKind::chudnovsky ? chudnovsky : ramanujan;
}

PiSeries::PiSeries(PiSeriesKind kind, u64 precision_words)
    : Series(parameters(kind, precision_words), {5, 4, 3}),
      constants_(PiSeriesConstants::of(kind)),
      gain_(DoubleDouble::parse(constants_.gain)),
      growth_(DoubleDouble::parse(constants_.growth)),
      full_(DoubleDouble::from_u64(precision_words) * dd::ln2_64()),
      log_r_(std::log(2.0 * static_cast<double>(constants_.r2 * constants_.r2))) {}

u64 PiSeries::term_count(PiSeriesKind kind, u64 precision_words) {
    const DoubleDouble gain = DoubleDouble::parse(PiSeriesConstants::of(kind).gain);
    const DoubleDouble per_word = dd::ln2_64() * reciprocal(gain);
    return static_cast<u64>(
        round_parts(DoubleDouble::from_u64(precision_words) * per_word + DoubleDouble(1.5)));
}

// 3 ln k! + k ln C
double PiSeries::log_size_to(u64 k) const {
    const double x = static_cast<double>(k);
    return 3 * ln_factorial(x) + x * growth_.high;
}

DoubleDouble PiSeries::log_size_to_dd(u64 k) const {
    const DoubleDouble x = DoubleDouble::from_u64(k);
    return DoubleDouble(3.0) * ln_factorial(x) + x * growth_;
}

DoubleDouble PiSeries::log_remaining(u64 k) const {
    const DoubleDouble rest = full_ - DoubleDouble::from_u64(k) * gain_;
    return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
}

double PiSeries::log_size_R(u64 a, u64 b) const {
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    return 3 * (ln_factorial(y) - ln_factorial(x)) + (y - x) * log_r_;
}

// n! has n - popcount(n) factors of two.
u64 PiSeries::zero_bits_Q(u64 a, u64 b) const {
    const auto in_factorial = [](u64 n) { return n - static_cast<u64>(std::popcount(n)); };
    return (b - a) * constants_.zero_bits_C + 3 * (in_factorial(b) - in_factorial(a));
}

void PiSeries::term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const {
    require(R, 3, constants_.name_R1);
    set(R, 2 * k - 1);
    multiply(R, constants_.r2 * k - constants_.r2_offset);
    multiply(R, constants_.r2 * k - 1);

    require(P, 5, constants_.name_P1);
    P.set_BasicInt(R);
    const u128 linear = constants_.A + u128(constants_.B) * k;
    if (linear >> 64 == 0) {
        multiply(P, Word(linear));
    } else {
        Word words[2] = {Word(linear), Word(linear >> 64)};
        BasicIntR factor(words, 2);
        factor.L = 2;
        factor.residue = goldilocks::reduce(linear);
        P.set_mulB(R, factor);
    }

    require(Q, 4, constants_.name_Q1);
    set(Q, k);
    multiply(Q, k);
    multiply(Q, k);
    multiply(Q, constants_.C);
}

}  // namespace kalvor
