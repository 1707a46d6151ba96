#include "constants/builtin/huvent_terms.h"

#include <iterator>

#include "base/errors/exceptions.h"
#include "constants/builtin/leaf_words.h"

namespace kalvor {
namespace {

// The square of an index is a word below this, and a coefficient by an index is far below 2^127.
constexpr u64 kShortIndex = u64(1) << 32;

// T = T w + c, w != 0, where that is positive.
void multiply_and_add(BasicIntR& T, Word w, i128 c) {
    while (T.L < 2) T.T[T.L++] = 0;
    const Word sign = c < 0 ? ~Word(0) : 0;
    const Word addend[2] = {static_cast<Word>(c), static_cast<Word>(static_cast<u128>(c) >> 64)};
    Word carry = 0;
    for (u64 i = 0; i < T.L; i++) {
        // (2^64 - 1)^2 + 2 (2^64 - 1) = 2^128 - 1
        const u128 p = u128(T.T[i]) * w + carry + (i < 2 ? addend[i] : sign);
        T.T[i] = static_cast<Word>(p);
        carry = static_cast<Word>(p >> 64);
    }
    T.T[T.L] = carry + sign;
    if (T.T[T.L] != 0) T.L++;
    while (T.T[T.L - 1] == 0) T.L--;
    const u64 residue = goldilocks::reduce(static_cast<u128>(c < 0 ? -c : c));
    T.residue = goldilocks::add(goldilocks::mul(T.residue, goldilocks::of_word(w)),
                                c < 0 ? goldilocks::neg(residue) : residue);
}

}  // namespace

void catalan_huvent_term(u64 k, BasicIntR& P, BasicIntR& Q) {
    using namespace leaf;
    constexpr u64 kWords = 18;
    for (const BasicIntR* T : {&P, &Q}) {
        if (T->buffer_size < kWords) {
            throw BufferTooSmallException("Catalan_Huvent_BSR_End()", T->buffer_size, kWords);
        }
    }
    static constexpr i64 kPolynomial[] = {
        4636372233093120,   37721048963088384,  140614334152704000, 318025249742389248, 486920573914447872,
        532937589964406784, 428868733241327616, 256653109156773888, 113872382317283328, 36670081182465024,
        8098743309464448,   1029713994232704,   5572409156528,      -24153149527360,    -4419704161120,
        -360406957080,      -11728430425};
    if (k < kShortIndex) {
        // Horner's rule in k^2, by two coefficients at a time: its values are every second one of that in k.
        set(P, static_cast<Word>(kPolynomial[0]));
        for (u64 i = 1; i < std::size(kPolynomial); i += 2) {
            multiply_and_add(P, k * k, i128(kPolynomial[i]) * static_cast<i64>(k) + kPolynomial[i + 1]);
        }
    } else {
        set_polynomial(P, kPolynomial, k);
    }

    // Nine factors of up to a word.
    Word words[9];
    BasicIntR root(words, 9);
    set_product(root, 2 * k + 1, 4 * k + 1, 4 * k + 3, 6 * k + 1, 6 * k + 5, 12 * k + 1, 12 * k + 5,
                12 * k + 7, 12 * k + 11);
    Q.set_sqrB(root);
}

}  // namespace kalvor
