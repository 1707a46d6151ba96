#include "arith/kernels/word_array.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "arith/kernels/carry_join.h"
#include "arith/kernels/word_adders.h"
#include "arith/kernels/word_loops.h"

namespace trel {
namespace {

// Minimum words of a task.
constexpr u64 kMinAdd = 4096;
constexpr u64 kMinMul = 20000;
constexpr u64 kMinStrip = 16384;
constexpr u64 kMinCopyBytes = u64(1) << 20;
// Words gathered at a time when the operands do not cover the frame.
constexpr u64 kSpan = 128;

using AddKernel = u8 (*)(Word* T, const Word* A, const Word* B, u64 n, u8 carry);

// T[0..n) = ~A[0..n) + carry; returns the carry out (1 only for A = 0 and a carry).
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

// Whether the operand has a word at every position of [lo, hi).
bool covers(const PlacedWords& A, i64 lo, i64 hi) { return A.offset <= lo && hi <= A.offset + i64(A.length); }

// The words of A at [lo, lo + n), n <= kSpan: a pointer into A where it covers the span, otherwise a copy in
// `span` with zeros where A has no words.
const Word* gather(Word* span, const PlacedWords& A, i64 lo, u64 n) {
    const i64 hi = lo + i64(n);
    if (covers(A, lo, hi)) return A.words + (lo - A.offset);
    const i64 first = std::clamp(A.offset, lo, hi);
    const i64 last = std::clamp(A.offset + i64(A.length), first, hi);
    std::fill(span, span + (first - lo), 0);
    if (first < last) std::copy_n(A.words + (first - A.offset), u64(last - first), span + (first - lo));
    std::fill(span + (last - lo), span + n, 0);
    return span;
}

u8 combine_serial(AddKernel kernel, Word* T, const PlacedWords& A, const PlacedWords& B, u8 carry, i64 lo,
                  i64 hi) {
    if (hi <= lo) return carry;
    if (covers(A, lo, hi) && covers(B, lo, hi)) {
        return kernel(T, A.words + (lo - A.offset), B.words + (lo - B.offset), u64(hi - lo), carry);
    }
    Word span_a[kSpan], span_b[kSpan];
    for (i64 at = lo; at < hi; at += kSpan) {
        const u64 n = std::min<u64>(kSpan, u64(hi - at));
        carry = kernel(T + (at - lo), gather(span_a, A, at, n), gather(span_b, B, at, n), n, carry);
    }
    return carry;
}

u8 combine(AddKernel kernel, Ripple ripple, Word* T, const PlacedWords& A, const PlacedWords& B, u8 carry, i64 lo,
           i64 hi, const ParallelContext& P) {
    if (hi <= lo) return carry;
    const Blocks blocks = split_words(T, u64(hi - lo), kMinAdd, P.tds);
    if (blocks.count < 2) return combine_serial(kernel, T, A, B, carry, lo, hi);
    Word outs[kMaxBlocks];
    parallel_for(P, blocks.count, [&](u64 k) {
        const i64 begin = lo + i64(blocks.begin(k));
        outs[k] = combine_serial(kernel, T + blocks.begin(k), A, B, k == 0 ? carry : 0, begin,
                                 begin + i64(blocks.size(k)));
    });
    return u8(join_blocks(outs, blocks, T, ripple, P));
}

}  // namespace

u8 bp_add(Word* T, const PlacedWords& A, const PlacedWords& B, u8 carry, i64 lo, i64 hi,
          const ParallelContext& P) {
    return combine(word_adders().add, Ripple::carry, T, A, B, carry, lo, hi, P);
}

u8 bp_sub(Word* T, const PlacedWords& A, const PlacedWords& B, u8 borrow, i64 lo, i64 hi,
          const ParallelContext& P) {
    return combine(word_adders().sub, Ripple::borrow, T, A, B, borrow, lo, hi, P);
}

Word bp_mul_uW(Word* T, const Word* A, u64 n, Word w, Word c, const ParallelContext& P) {
    if (split_words(T, n, kMinMul, P.tds).count < 2) return trel_mul_1(T, A, n, w, c);
    // The blocks behind the head start on 64-byte boundaries.
    const u64 head = words_to_alignment(T);
    c = trel_mul_1(T, A, head, w, c);
    T += head;
    A += head;
    const Blocks blocks = divide_words(n - head, kMinMul, P.tds);
    Word outs[kMaxBlocks];
    parallel_for(P, blocks.count, [&](u64 k) {
        const u64 begin = blocks.begin(k);
        outs[k] = trel_mul_1(T + begin, A + begin, blocks.size(k), w, k == 0 ? c : 0);
    });
    return join_blocks(outs, blocks, T, Ripple::carry, P);
}

int bp_cmp(const PlacedWords& A, const PlacedWords& B) {
    if (A.length == 0) return B.length == 0 ? 0 : -1;
    if (B.length == 0) return 1;
    const i64 top_a = A.offset + i64(A.length), top_b = B.offset + i64(B.length);
    if (top_a != top_b) return top_a > top_b ? 1 : -1;
    u64 a = A.length, b = B.length;
    while (a > 0 && b > 0) {
        a--;
        b--;
        if (A.words[a] != B.words[b]) return A.words[a] > B.words[b] ? 1 : -1;
    }
    while (a > 0) {
        if (A.words[--a] != 0) return 1;
    }
    while (b > 0) {
        if (B.words[--b] != 0) return -1;
    }
    return 0;
}

u64 bp_nonzero_length(const Word* A, u64 n, const ParallelContext& P) {
    if (n == 0 || A[n - 1] != 0) return n;
    const auto strip = [](const Word* words, u64 length) {
        while (length > 0 && words[length - 1] == 0) length--;
        return length;
    };
    const Blocks blocks = split_words(A, n, kMinStrip, P.tds);
    if (blocks.count < 2) return strip(A, n);
    u64 lengths[kMaxBlocks];
    parallel_for(P, blocks.count,
                 [&](u64 k) { lengths[k] = strip(A + blocks.begin(k), blocks.size(k)); });
    for (u64 k = blocks.count; k-- > 0;) {
        if (lengths[k] != 0) return blocks.begin(k) + lengths[k];
    }
    return 0;
}

void bp_copy(void* destination, const void* source, u64 bytes, const ParallelContext& P) {
    if (P.tds < 2 || bytes < 2 * kMinCopyBytes) {
        if (bytes > 0) std::memcpy(destination, source, bytes);
        return;
    }
    const Blocks blocks = divide_words(bytes, kMinCopyBytes, P.tds);
    parallel_for(P, blocks.count, [&](u64 k) {
        std::memcpy(static_cast<char*>(destination) + blocks.begin(k),
                    static_cast<const char*>(source) + blocks.begin(k), blocks.size(k));
    });
}

u8 bp_negate(Word* A, u64 n, const ParallelContext& P) {
    const Blocks blocks = split_words(A, n, kMinAdd, P.tds);
    if (blocks.count < 2) return negate(A, A, n, 1);
    // The + 1 passes through the zero words at the bottom and ends in the first nonzero one.
    u64 first = 0;
    while (first < n && A[first] == 0) first++;
    parallel_for(P, blocks.count, [&](u64 k) {
        const u64 begin = blocks.begin(k), end = begin + blocks.size(k);
        if (end <= first) return;
        const u64 from = begin < first ? first : begin;
        negate(A + from, A + from, end - from, from == first);
    });
    return first == n;
}

bool bp_overlap(const Word* A, u64 n, const Word* B, u64 m) {
    return std::less<>()(A, B + m) && std::less<>()(B, A + n);
}

u8 add_word_ip(Word* T, u64 n, Word c) {
    for (u64 i = 0; i < n && c != 0; i++) {
        T[i] += c;
        c = T[i] < c;
    }
    return u8(c);
}

u8 sub_word_ip(Word* T, u64 n, Word c) {
    for (u64 i = 0; i < n && c != 0; i++) {
        const Word old = T[i];
        T[i] = old - c;
        c = old < c;
    }
    return u8(c);
}

u8 add_n(Word* T, const Word* A, const Word* B, u64 n, u8 carry) {
    return trel_add_n(T, A, B, n, carry);
}

u8 sub_n(Word* T, const Word* A, const Word* B, u64 n, u8 borrow) {
    return trel_sub_n(T, A, B, n, borrow);
}

}  // namespace trel
