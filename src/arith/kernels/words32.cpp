#include "arith/kernels/words32.h"

#include <utility>

#include "arith/kernels/karatsuba.h"
#include "arith/kernels/multiply_small.h"

namespace trel::words32 {
namespace {

struct Words32 {
    using W = u32;
    u64 sqr_threshold = karatsuba_thresholds().sqr32;
    u64 mul_threshold = karatsuba_thresholds().mul32;

    static u8 add_n(u32* T, const u32* A, const u32* B, u64 n) { return words32::add_n(T, A, B, n); }
    static u8 sub_n(u32* T, const u32* A, const u32* B, u64 n) { return words32::sub_n(T, A, B, n); }
    static u8 add_word(u32* T, u64 n, u32 c) { return add_word_ip(T, n, c); }
    static u8 sub_word(u32* T, u64 n, u32 c) { return sub_word_ip(T, n, c); }
    static void mul_basecase(u32* T, const u32* A, u64 n, const u32* B, u64 m) {
        words32::mul_basecase(T, A, n, B, m);
    }
    static void sqr_basecase(u32* T, const u32* A, u64 n) { words32::sqr_basecase(T, A, n); }
    static bool difference_in_tasks(u32*, const u32*, u64, const u32*, u64, bool) { return false; }
};

// T[0..n) += A[0..n) * w; returns the carry word.
u32 addmul_1(u32* T, const u32* A, u64 n, u32 w) {
    u64 carry = 0;
    for (u64 i = 0; i < n; i++) {
        carry += u64(A[i]) * w + T[i];
        T[i] = u32(carry);
        carry >>= 32;
    }
    return u32(carry);
}

}  // namespace

u8 add_n(u32* T, const u32* A, const u32* B, u64 n, u8 carry) {
    u64 c = carry;
    for (u64 i = 0; i < n; i++) {
        c += u64(A[i]) + B[i];
        T[i] = u32(c);
        c >>= 32;
    }
    return u8(c);
}

u8 sub_n(u32* T, const u32* A, const u32* B, u64 n, u8 borrow) {
    i64 c = -i64(borrow);
    for (u64 i = 0; i < n; i++) {
        c += i64(A[i]) - i64(B[i]);
        T[i] = u32(c);
        c >>= 32;
    }
    return u8(-c);
}

u8 add_word_ip(u32* T, u64 n, u32 c) {
    for (u64 i = 0; i < n && c != 0; i++) {
        T[i] += c;
        c = T[i] < c;
    }
    return u8(c);
}

u8 sub_word_ip(u32* T, u64 n, u32 c) {
    for (u64 i = 0; i < n && c != 0; i++) {
        const u32 old = T[i];
        T[i] = old - c;
        c = old < c;
    }
    return u8(c);
}

u32 mul_1(u32* T, const u32* A, u64 n, u32 w, u32 c) {
    u64 carry = c;
    for (u64 i = 0; i < n; i++) {
        carry += u64(A[i]) * w;
        T[i] = u32(carry);
        carry >>= 32;
    }
    return u32(carry);
}

void mul_basecase(u32* T, const u32* A, u64 n, const u32* B, u64 m) {
    T[n] = mul_1(T, A, n, B[0], 0);
    for (u64 j = 1; j < m; j++) T[n + j] = addmul_1(T + j, A, n, B[j]);
}

void sqr_basecase(u32* T, const u32* A, u64 n) { mul_basecase(T, A, n, A, n); }

void mul_karatsuba(u32* T, const u32* A, u64 n, const u32* B, u64 m, u32* scratch) {
    if (n < m) {
        std::swap(A, B);
        std::swap(n, m);
    }
    Karatsuba{Words32{}}.mul(T, A, n, B, m, scratch);
}

void sqr_karatsuba(u32* T, const u32* A, u64 n, u32* scratch) { Karatsuba{Words32{}}.sqr(T, A, n, scratch); }

// An unbalanced product holds a partial product of up to n + m words besides the halves of every level below it.
u64 scratch_words(u64 product_words) { return 5 * product_words + 64; }

}  // namespace trel::words32
