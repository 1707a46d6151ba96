#include "constants/builtin/catalan_terms.h"

#include "constants/builtin/leaf_words.h"

namespace kalvor {

void catalan_pilehrood_short_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    using namespace leaf;
    constexpr const char* kLeaf = "Catalan_Pilehrood1_BSR_End1()";
    require(P, 3, kLeaf);
    set(P, (u128(580) * k - 184) * k + 15);

    require(Q, 5, kLeaf);
    // 9 (6k - 5)^2 = (18k - 15)^2
    set_product(Q, 18 * k - 15, 18 * k - 15, 6 * k - 1, 6 * k - 1);

    require(R, 4, kLeaf);
    set_product(R, 32 * k, k, k, 2 * k - 1);
}

void catalan_pilehrood_long_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    using namespace leaf;
    constexpr const char* kLeaf = "Catalan_Pilehrood_BSR_End1()";
    static constexpr i64 kPolynomial[] = {419840, -915456, 782848, -332800, 73256, -7800, 315};
    require(P, 7, kLeaf);
    require(Q, 8, kLeaf);
    require(R, 8, kLeaf);
    // Horner's rule passes below zero at the first two.
    if (k <= 2) {
        set(P, Word(k == 1 ? 20203 : 7716075));
        set(Q, Word(k == 1 ? 11025 : 372683025));
        set(R, Word(k == 1 ? 288 : 940800));
        return;
    }
    set_polynomial(P, kPolynomial, k);

    const u64 q7 = 8 * k - 7, q5 = 8 * k - 5, q3 = 8 * k - 3, q1 = 8 * k - 1;
    set_product(Q, q7, q7, q5, q5, q3, q3, q1, q1);
    const u64 r3 = 4 * k - 3, r1 = 4 * k - 1;
    set_product(R, 32 * k, k, k, 2 * k - 1, r3, r3, r1, r1);
}

// The name of the leaf has another year than the series.
void catalan_guillera2008_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    using namespace leaf;
    constexpr const char* kLeaf = "Catalan_Guillera2018_BSR_End()";
    require(R, 3, kLeaf);
    set_product(R, k, k, k);

    require(P, 4, kLeaf);
    P.set_BasicInt(R);
    multiply(P, 3 * k + 2);

    require(Q, 3, kLeaf);
    set_product(Q, 2 * k + 1, 2 * k + 1, 2 * k + 1);
}

void catalan_guillera2019_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    using namespace leaf;
    constexpr const char* kLeaf = "Catalan_Guillera2019_BSR_End1()";
    static constexpr i64 kPolynomial[] = {45136, -57184, 21240, -3160, 165};
    require(P, 4, kLeaf);
    require(Q, 6, kLeaf);
    require(R, 6, kLeaf);
    // Horner's rule passes below zero at the first one.
    if (k == 1) {
        set(P, Word(6197));
        set(Q, Word(3375));
        set(R, Word(512));
        return;
    }
    set_polynomial(P, kPolynomial, k);

    // 27 (6k - 1)^3 = (18k - 3)^3
    const u64 q5 = 6 * k - 5, q3 = 18 * k - 3;
    set_product(Q, q5, q3, q5, q3, q5, q3);

    // 512 k^3 (2k - 1)^3 = (4k)^3 (4k - 2)^3
    const u64 r4 = 4 * k, r2 = 4 * k - 2;
    set_product(R, r4, r2, r4, r2, r4, r2);
}

void catalan_lupas_term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) {
    using namespace leaf;
    constexpr const char* kLeaf = "Catalan_Lupas_BSR_End1()";
    require(R, 4, kLeaf);
    set_product(R, 32 * k, k, k, 2 * k - 1);

    require(P, 6, kLeaf);
    Word words[2];
    BasicIntR polynomial(words, 2);
    set(polynomial, (u128(40) * k + 56) * k + 19);
    P.set_mulB(R, polynomial);

    require(Q, 4, kLeaf);
    set_product(Q, 4 * k + 1, 4 * k + 3, 4 * k + 1, 4 * k + 3);
}

}  // namespace kalvor
