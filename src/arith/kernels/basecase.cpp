#include <utility>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_kernels.h"
#include "arith/kernels/word_loops.h"

namespace trel {
namespace {

void mul_words(Word* T, Word a, Word b) {
    const u128 p = u128(a) * b;
    T[0] = Word(p);
    T[1] = Word(p >> 64);
}

// Products of few words without the calls and the tables of the block kernels, which cost up to as much as the
// products themselves.

inline u128 wide(Word a, Word b) {
    return u128(a) * b;
}

void mul_2(Word* T, const Word* A, const Word* B) {
    const Word a0 = A[0], a1 = A[1], b0 = B[0], b1 = B[1];
    const u128 p = wide(a0, b0), q = wide(a1, b1), r = wide(a0, b1), s = wide(a1, b0);
    const u128 m = r + Word(p >> 64);  // no overflow: (2^64 - 1)^2 + 2^64 - 1 < 2^128
    const u128 n = s + Word(m);
    T[0] = Word(p);
    T[1] = Word(n);
    const u128 top = q + Word(m >> 64) + Word(n >> 64);
    T[2] = Word(top);
    T[3] = Word(top >> 64);
}

// A column's sum runs through three words.
struct Column {
    u128 low = 0;
    Word high = 0;

    void add(u128 p) {
        low += p;
        high += low < p;
    }
    Word take() {
        const Word word = Word(low);
        low = low >> 64 | u128(high) << 64;
        high = 0;
        return word;
    }
};

void sqr_3(Word* T, const Word* A) {
    const Word a0 = A[0], a1 = A[1], a2 = A[2];
    Column c;
    c.add(wide(a0, a0));
    T[0] = c.take();
    c.add(wide(a0, a1));
    c.add(wide(a0, a1));
    T[1] = c.take();
    c.add(wide(a0, a2));
    c.add(wide(a0, a2));
    c.add(wide(a1, a1));
    T[2] = c.take();
    c.add(wide(a1, a2));
    c.add(wide(a1, a2));
    T[3] = c.take();
    c.add(wide(a2, a2));
    T[4] = c.take();
    T[5] = Word(c.low);
}

}  // namespace

void mul_basecase(Word* T, const Word* A, u64 n, const Word* B, u64 m) {
    if (n < m) {
        std::swap(A, B);
        std::swap(n, m);
    }
    if (n == 1) {
        mul_words(T, A[0], B[0]);
    } else if (n == 2 && m == 2) {
        mul_2(T, A, B);
    } else {
        word_kernels().mul_basecase(T, A, n, B, m);
    }
}

void sqr_basecase(Word* T, const Word* A, u64 n) {
    switch (n) {
        case 1:
            return mul_words(T, A[0], A[0]);
        case 2:
            return mul_2(T, A, A);
        case 3:
            return sqr_3(T, A);
        case 4:
            return trel_sqr_4(T, A);
        case 5:
            return trel_sqr_5(T, A);
        default:
            return word_kernels().sqr_basecase(T, A, n);
    }
}

}  // namespace trel
