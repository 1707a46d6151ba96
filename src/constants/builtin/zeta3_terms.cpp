#include "constants/builtin/zeta3_terms.h"

#include <bit>

#include "constants/builtin/leaf_words.h"

namespace kalvor {

void zeta3_wedeniwski_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    using namespace leaf;
    static constexpr i64 kPolynomial[] = {126392, 412708, 531578, 336367, 104000, 12463};
    require(R, 8, "Zeta3_Wedeniwski_BSR_End_R1()");
    const u64 odd = 2 * k - 1;
    set_product(R, k, k, k, k, k, odd, odd, odd);

    require(P, 14, "Zeta3_Wedeniwski_BSR_End_P1()");
    Word words[6];
    BasicIntR polynomial(words, 6);
    set_polynomial(polynomial, kPolynomial, k);
    P.set_mulB(R, polynomial);

    require(Q, 9, "Zeta3_Wedeniwski_BSR_End_Q1()");
    const u64 below = 4 * k + 1, above = 4 * k + 3;
    set_product(Q, 24 * (3 * k + 1), 3 * k + 2, below, above, below, above, below, above);
}

void zeta3_az_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    using namespace leaf;
    constexpr const char* kLeaf = "Zeta3_AZ1_BSR_End1()";
    require(R, 5, kLeaf);
    set_product(R, k, k, k, k, k);

    require(P, 7, kLeaf);
    Word words[2];
    BasicIntR polynomial(words, 2);
    set(polynomial, (u128(205) * k + 250) * k + 77);
    P.set_mulB(R, polynomial);

    require(Q, 5, kLeaf);
    const u64 root = 4 * k + 2;
    set_product(Q, root, root, root, root, root);
}

// (3k + 1)(3k + 2) = (3k + 2)! / ((3k - 1)! 3k), and n! has n - popcount(n) factors of two.
u64 zeta3_wedeniwski_zero_bits(u64 n) {
    return 3 * n + 2 * n + 1 + static_cast<u64>(std::popcount(n)) -
           static_cast<u64>(std::popcount(3 * n + 2));
}

u64 zeta3_az_zero_bits(u64 n) {
    return 5 * n;
}

}  // namespace kalvor
