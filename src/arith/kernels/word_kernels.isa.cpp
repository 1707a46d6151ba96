// The serial inner loops of word_kernels.h.
#include "arith/kernels/word_kernels.h"

namespace trel::TREL_ISA {
namespace {

u8 add_n(Word* T, const Word* A, const Word* B, u64 n, u8 carry) {
    for (u64 i = 0; i < n; i++) {
        const u128 s = u128(A[i]) + B[i] + carry;
        T[i] = Word(s);
        carry = u8(s >> 64);
    }
    return carry;
}

u8 sub_n(Word* T, const Word* A, const Word* B, u64 n, u8 borrow) {
    for (u64 i = 0; i < n; i++) {
        const u128 d = u128(A[i]) - B[i] - borrow;
        T[i] = Word(d);
        borrow = u8(d >> 64) & 1;
    }
    return borrow;
}

Word mul_1(Word* T, const Word* A, u64 n, Word w, Word c) {
    for (u64 i = 0; i < n; i++) {
        const u128 p = u128(A[i]) * w + c;
        T[i] = Word(p);
        c = Word(p >> 64);
    }
    return c;
}

u8 negate(Word* T, const Word* A, u64 n, u8 carry) {
    u64 i = 0;
    if (carry) {
        while (i < n && A[i] == 0) T[i++] = 0;
        if (i == n) return 1;
        T[i] = 0 - A[i];
        i++;
    }
    for (; i < n; i++) T[i] = ~A[i];
    return 0;
}

Word addmul_1(Word* T, const Word* A, u64 n, Word w) {
    Word c = 0;
    for (u64 i = 0; i < n; i++) {
        const u128 p = u128(A[i]) * w + T[i] + c;
        T[i] = Word(p);
        c = Word(p >> 64);
    }
    return c;
}

void mul_basecase(Word* T, const Word* A, u64 n, const Word* B, u64 m) {
    T[n] = mul_1(T, A, n, B[0], 0);
    for (u64 j = 1; j < m; j++) T[n + j] = addmul_1(T + j, A, n, B[j]);
}

void sqr_basecase(Word* T, const Word* A, u64 n) { mul_basecase(T, A, n, A, n); }

}  // namespace

#define TREL_STRING2(x) #x
#define TREL_STRING(x) TREL_STRING2(x)
extern const WordKernels kWordKernels;
constinit const WordKernels kWordKernels{TREL_STRING(TREL_ISA), add_n, sub_n, mul_1,
                                         negate,                mul_basecase, sqr_basecase};

}  // namespace trel::TREL_ISA
