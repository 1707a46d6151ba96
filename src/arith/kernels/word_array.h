// Operations on plain arrays of 64-bit words, least significant word first: the ground of every big number.
//
// All are exact, re-entrant and allocate nothing. The forms that take a ParallelContext split long arrays into at
// most min(tds, 64) blocks and join before they return; with tds = 1 they are serial.
#pragma once

#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// A word array placed in a frame of word positions: word i stands at position offset + i.
struct PlacedWords {
    const Word* words;
    u64 length;
    i64 offset;
};

// Whether A[0..n) and B[0..m) share a word.
bool bp_overlap(const Word* A, u64 n, const Word* B, u64 m);

// T[i - lo] = A(i) + B(i) + carry for the positions lo <= i < hi; an operand is zero outside its own range, words
// below lo or at and above hi are ignored. Returns the carry out (0 or 1). T may be A's or B's own array when they
// are aligned word for word.
u8 bp_add(Word* T, const PlacedWords& A, const PlacedWords& B, u8 carry, i64 lo, i64 hi, const ParallelContext& P);
// The same for A - B - borrow; returns the borrow out.
u8 bp_sub(Word* T, const PlacedWords& A, const PlacedWords& B, u8 borrow, i64 lo, i64 hi,
          const ParallelContext& P);
// T[0..n) = A[0..n) * w + c; returns the top word. T == A is allowed, partial overlap is not.
Word bp_mul_uW(Word* T, const Word* A, u64 n, Word w, Word c, const ParallelContext& P);
// Compares magnitudes of (words, length, exponent in words): -1, 0, +1. Top words must be nonzero.
int bp_cmp(const PlacedWords& A, const PlacedWords& B);
// The length without zero words at the top; 0 for an all-zero array.
u64 bp_nonzero_length(const Word* A, u64 n, const ParallelContext& P);
void bp_copy(void* destination, const void* source, u64 bytes, const ParallelContext& P);
// Complement all words and add 1 (two's complement) in place; returns 1 when A was all zeros.
u8 bp_negate(Word* A, u64 n, const ParallelContext& P);

// Serial in-place forms for short arrays.
// T[0..n) += c / -= c with ripple; return the carry / borrow out.
u8 add_word_ip(Word* T, u64 n, Word c);
u8 sub_word_ip(Word* T, u64 n, Word c);
// T[0..n) = A[0..n) +- B[0..n) +- carry; aliasing allowed when equal.
u8 add_n(Word* T, const Word* A, const Word* B, u64 n, u8 carry = 0);
u8 sub_n(Word* T, const Word* A, const Word* B, u64 n, u8 borrow = 0);

}  // namespace trel
