#include <utility>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_kernels.h"

namespace trel {
namespace {

void mul_words(Word* T, Word a, Word b) {
    const u128 p = u128(a) * b;
    T[0] = Word(p);
    T[1] = Word(p >> 64);
}

}  // namespace

void mul_basecase(Word* T, const Word* A, u64 n, const Word* B, u64 m) {
    if (n < m) {
        std::swap(A, B);
        std::swap(n, m);
    }
    if (n == 1) {
        mul_words(T, A[0], B[0]);
    } else {
        word_kernels().mul_basecase(T, A, n, B, m);
    }
}

void sqr_basecase(Word* T, const Word* A, u64 n) {
    if (n == 1) {
        mul_words(T, A[0], A[0]);
    } else {
        word_kernels().sqr_basecase(T, A, n);
    }
}

}  // namespace trel
