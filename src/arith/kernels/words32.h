// The kernels on arrays of 32-bit words (least significant first), for code that works in radix 2^32. Serial,
// portable; products below the thresholds by rows, above them by subtractive Karatsuba.
//
// Outputs of sums and of mul_1 may be the same array as an input; outputs of products overlap no operand.
#pragma once

#include "os/types.h"

namespace trel::words32 {

// T[0..n) = A[0..n) +- B[0..n) +- carry; return the carry or borrow out.
u8 add_n(u32* T, const u32* A, const u32* B, u64 n, u8 carry = 0);
u8 sub_n(u32* T, const u32* A, const u32* B, u64 n, u8 borrow = 0);
// T[0..n) += c / -= c with ripple; return the carry or borrow out.
u8 add_word_ip(u32* T, u64 n, u32 c);
u8 sub_word_ip(u32* T, u64 n, u32 c);
// T[0..n) = A[0..n) * w + c; returns the top word.
u32 mul_1(u32* T, const u32* A, u64 n, u32 w, u32 c);

// T[0..n+m) = A[0..n) * B[0..m), n, m >= 1.
void mul_basecase(u32* T, const u32* A, u64 n, const u32* B, u64 m);
void sqr_basecase(u32* T, const u32* A, u64 n);
// The same with Karatsuba above KaratsubaThresholds::mul32 / sqr32; scratch: scratch_words(n + m) words.
void mul_karatsuba(u32* T, const u32* A, u64 n, const u32* B, u64 m, u32* scratch);
void sqr_karatsuba(u32* T, const u32* A, u64 n, u32* scratch);
// Enough for a product of that many 32-bit words.
u64 scratch_words(u64 product_words);

}  // namespace trel::words32
