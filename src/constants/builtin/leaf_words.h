// Small products and sums of words, for the terms of a series.
//
// Inline, because a term takes a handful of them. The caller has checked the room for the result; nothing is
// written above it. The residue follows from the operands' residues alone.
#pragma once

#include <span>

#include "arith/exact/basic_int.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/fatal.h"
#include "base/names/names.h"

namespace kalvor::leaf {

inline void require(const BasicIntR& T, u64 words, const char* function) {
    if (T.buffer_size < words) {
        assertion_failure(kInvalidParameters, function, "The destination is too small.");
    }
}

// T = w, w != 0
inline void set(BasicIntR& T, Word w) {
    T.T[0] = w;
    T.L = 1;
    T.residue = goldilocks::of_word(w);
}
inline void set(BasicIntR& T, u128 x) {
    T.T[0] = static_cast<Word>(x);
    T.L = 1;
    if (x >> 64 != 0) {
        T.T[1] = static_cast<Word>(x >> 64);
        T.L = 2;
    }
    T.residue = goldilocks::reduce(x);
}
// T *= w, w != 0
inline void multiply(BasicIntR& T, Word w) {
    Word carry = 0;
    for (u64 i = 0; i < T.L; i++) {
        const u128 p = u128(T.T[i]) * w + carry;
        T.T[i] = static_cast<Word>(p);
        carry = static_cast<Word>(p >> 64);
    }
    if (carry != 0) T.T[T.L++] = carry;
    T.residue = goldilocks::mul(T.residue, goldilocks::of_word(w));
}
// T = A w, w != 0; T is not A
inline void set_multiple(BasicIntR& T, const BasicIntR& A, Word w) {
    Word carry = 0;
    for (u64 i = 0; i < A.L; i++) {
        const u128 p = u128(A.T[i]) * w + carry;
        T.T[i] = static_cast<Word>(p);
        carry = static_cast<Word>(p >> 64);
    }
    T.L = A.L;
    if (carry != 0) T.T[T.L++] = carry;
    T.residue = goldilocks::mul(A.residue, goldilocks::of_word(w));
}
inline void multiply(BasicIntR& T, Word w, int times) {
    for (int i = 0; i < times; i++) multiply(T, w);
}
// T = the product of factors, each not 0. As many as fit are multiplied into one word first, which are two or
// three for the terms of all but the longest sums.
template <class... Factors>
inline void set_product(BasicIntR& T, Word first, Factors... factors) {
    Word product = first;
    bool empty = true;
    const auto flush = [&] {
        if (empty) {
            set(T, product);
        } else {
            multiply(T, product);
        }
        empty = false;
    };
    const auto take = [&](Word factor) {
        const u128 p = u128(product) * factor;
        if (p >> 64 == 0) {
            product = static_cast<Word>(p);
        } else {
            flush();
            product = factor;
        }
    };
    (take(factors), ...);
    flush();
}
inline void add(BasicIntR& T, Word w) {
    T.residue = goldilocks::add(T.residue, goldilocks::of_word(w));
    for (u64 i = 0; w != 0; i++) {
        if (i == T.L) T.T[T.L++] = 0;
        T.T[i] += w;
        w = T.T[i] < w ? 1 : 0;
    }
}
// T -= w, w < T
inline void subtract(BasicIntR& T, Word w) {
    T.residue = goldilocks::sub(T.residue, goldilocks::of_word(w));
    for (u64 i = 0; w != 0; i++) {
        const Word borrow = T.T[i] < w ? 1 : 0;
        T.T[i] -= w;
        w = borrow;
    }
    if (T.T[T.L - 1] == 0) T.L--;
}

// T = the polynomial with these coefficients, the highest first, at k by Horner's rule. Every value on the
// way is positive.
inline void set_polynomial(BasicIntR& T, std::span<const i64> coefficients, u64 k) {
    set(T, static_cast<Word>(coefficients[0]));
    for (const i64 c : coefficients.subspan(1)) {
        multiply(T, k);
        if (c >= 0) {
            add(T, static_cast<Word>(c));
        } else {
            subtract(T, Word(0) - static_cast<Word>(c));
        }
    }
}

}  // namespace kalvor::leaf
