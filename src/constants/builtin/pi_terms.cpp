#include "constants/builtin/pi_terms.h"

#include <bit>

#include "constants/builtin/leaf_words.h"

namespace kalvor {
namespace {

// P = R (A + B k)
void set_P(BasicIntR& P, const BasicIntR& R, Word A, Word B, u64 k) {
    const u128 linear = A + u128(B) * k;
    if (linear >> 64 == 0) return leaf::set_multiple(P, R, static_cast<Word>(linear));
    Word words[2];
    BasicIntR factor(words, 2);
    leaf::set(factor, linear);
    P.set_mulB(R, factor);
}

// n! has n - popcount(n) factors of two.
u64 in_factorial(u64 n) {
    return n - static_cast<u64>(std::popcount(n));
}

}  // namespace

void pi_chudnovsky_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    leaf::require(R, 3, "Pi_Chudnovsky_BSR_End_R1()");
    leaf::set_product(R, 2 * k - 1, 6 * k - 5, 6 * k - 1);
    leaf::require(P, 5, "Pi_Chudnovsky_BSR_End_P1()");
    set_P(P, R, 13591409, 545140134, k);
    leaf::require(Q, 4, "Pi_Chudnovsky_BSR_End_Q1()");
    leaf::set_product(Q, k, k, k, Word(10939058860032000));
}

void pi_ramanujan_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    leaf::require(R, 3, "Pi_Ramanujan_BSR_End_R1()");
    leaf::set_product(R, 2 * k - 1, 4 * k - 3, 4 * k - 1);
    leaf::require(P, 5, "Pi_Ramanujan_BSR_End_P1()");
    set_P(P, R, 1103, 26390, k);
    leaf::require(Q, 4, "Pi_Ramanujan_BSR_End_Q1()");
    leaf::set_product(Q, k, k, k, Word(3073907232));
}

u64 pi_chudnovsky_zero_bits(u64 n) {
    return 15 * n + 3 * in_factorial(n);
}

u64 pi_ramanujan_zero_bits(u64 n) {
    return 5 * n + 3 * in_factorial(n);
}

}  // namespace kalvor
