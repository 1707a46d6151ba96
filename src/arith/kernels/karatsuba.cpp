// Subtractive Karatsuba (Karatsuba and Ofman 1962): three half-size products and five half-size additions.
//
// Time n^1.585; scratch 2 ceil(n/2) words a level, about 2n words in all; one thread (the differences of very
// large operands are split over tasks).
#include <algorithm>
#include <utility>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_array.h"

namespace trel {
namespace {

constexpr u64 kParallelDifference = 0x20000;  // words of the high half

struct Karatsuba {
    const KaratsubaThresholds& thresholds;
    const ParallelContext& P;

    // D[0..L) = |A0 - A1| for A0 = A[0..L), A1 = A[L..n), H = n - L <= L. Returns whether A0 >= A1.
    bool difference(Word* D, const Word* A, u64 L, u64 H) const {
        const Word *low = A, *high = A + L;
        bool ge = true;
        if (L == H || low[L - 1] == 0) {
            u64 i = H;
            while (i > 0 && low[i - 1] == high[i - 1]) i--;
            ge = i == 0 || low[i - 1] > high[i - 1];
        }
        if (H > kParallelDifference) {
            const PlacedWords a{low, L, 0}, b{high, H, 0};
            bp_sub(D, ge ? a : b, ge ? b : a, 0, 0, i64(L), P);
        } else if (ge) {
            const u8 borrow = sub_n(D, low, high, H, 0);
            if (H < L) D[H] = low[H] - borrow;
        } else {
            sub_n(D, high, low, H, 0);
            if (H < L) D[H] = 0;
        }
        return ge;
    }

    // T = A0 B0 + A1 B1 2^(128 L) on entry; adds the middle term A0 B0 + A1 B1 - P (or + P) at word L, where P is
    // the product of the differences, 2L words. T has 2 (L + H) words.
    void middle(Word* T, const Word* product, u64 L, u64 H, bool subtract) const {
        Word *p0 = T, *p1 = T + L, *p2 = T + 2 * L, *p3 = T + 3 * L;
        const u64 top = 2 * H - L;  // words of the high product above its word L; L = H or H + 1
        // Both new middle parts contain u = p1 + p2.
        const u8 cu = add_n(p1, p1, p2, L, 0);
        u8 c3 = add_n(p2, p1, p3, top, 0);
        if (top < L) {
            std::copy_n(p1 + top, L - top, p2 + top);
            c3 = add_word_ip(p2 + top, L - top, c3);
        }
        const u8 c2 = add_n(p1, p1, p0, L, 0);
        i64 carry;  // at word 3L
        if (subtract) {
            carry = -i64(sub_n(p1, p1, product, 2 * L, 0));
        } else {
            carry = add_n(p1, p1, product, 2 * L, 0);
        }
        carry += cu + c3;
        carry += add_word_ip(p2, L, Word(cu) + c2);
        if (carry >= 0) {
            add_word_ip(p3, top, Word(carry));
        } else {
            sub_word_ip(p3, top, Word(-carry));
        }
    }

    void sqr(Word* T, const Word* A, u64 n, Word* scratch) const {
        if (n < thresholds.sqr64) {
            sqr_basecase(T, A, n);
            return;
        }
        const u64 L = (n + 1) / 2, H = n - L;
        difference(T, A, L, H);
        sqr(scratch, T, L, scratch + 2 * L);
        sqr(T, A, L, scratch + 2 * L);
        sqr(T + 2 * L, A + L, H, scratch + 2 * L);
        middle(T, scratch, L, H, true);
    }

    // n words by n words
    void balanced(Word* T, const Word* A, const Word* B, u64 n, Word* scratch) const {
        if (n < thresholds.mul64) {
            mul_basecase(T, A, n, B, n);
            return;
        }
        const u64 L = (n + 1) / 2, H = n - L;
        const bool a = difference(T, A, L, H);
        const bool b = difference(T + L, B, L, H);
        balanced(scratch, T, T + L, L, scratch + 2 * L);
        balanced(T, A, B, L, scratch + 2 * L);
        balanced(T + 2 * L, A + L, B + L, H, scratch + 2 * L);
        // (A0 - A1)(B0 - B1) is positive when both comparisons agree.
        middle(T, scratch, L, H, a == b);
    }

    // n >= m
    void mul(Word* T, const Word* A, u64 n, const Word* B, u64 m, Word* scratch) const {
        if (m < thresholds.mul64) {
            mul_basecase(T, A, n, B, m);
        } else if (n == m) {
            balanced(T, A, B, n, scratch);
        } else if (n <= 2 * m) {
            balanced(T, A, B, m, scratch);
            product_of_rest(T, A, n, B, m, m, scratch);
        } else {
            balanced(T, A, B, m, scratch);
            u64 done = m;
            for (; n - done >= 3 * m; done += m) {
                balanced(scratch, A + done, B, m, scratch + 2 * m);
                add_product(T + done, scratch, m, m);
            }
            product_of_rest(T, A, n, B, m, done, scratch);
        }
    }

    // T[0..done+m) holds A[0..done) * B; adds A[done..n) * B.
    void product_of_rest(Word* T, const Word* A, u64 n, const Word* B, u64 m, u64 done, Word* scratch) const {
        const u64 rest = n - done;
        if (rest < m) {
            mul(scratch, B, m, A + done, rest, scratch + rest + m);
        } else {
            mul(scratch, A + done, rest, B, m, scratch + rest + m);
        }
        add_product(T + done, scratch, m, rest);
    }

    // T[0..m+k) = T[0..m) + product[0..m+k)
    void add_product(Word* T, const Word* product, u64 m, u64 k) const {
        const u8 carry = add_n(T, T, product, m, 0);
        std::copy_n(product + m, k, T + m);
        add_word_ip(T + m, k, carry);
    }
};

}  // namespace

void mul_karatsuba(Word* T, const Word* A, u64 n, const Word* B, u64 m, Word* scratch, const ParallelContext& P) {
    if (n < m) {
        std::swap(A, B);
        std::swap(n, m);
    }
    Karatsuba{karatsuba_thresholds(), P}.mul(T, A, n, B, m, scratch);
}

void sqr_karatsuba(Word* T, const Word* A, u64 n, Word* scratch, const ParallelContext& P) {
    Karatsuba{karatsuba_thresholds(), P}.sqr(T, A, n, scratch);
}

const KaratsubaThresholds& karatsuba_thresholds() {
    static constinit const KaratsubaThresholds thresholds;
    return thresholds;
}

KaratsubaSizes karatsuba_sizes(u64 bits) {
    const u64 w = bits / 64 + (bits % 64 != 0);
    const KaratsubaThresholds& thresholds = karatsuba_thresholds();
    const auto sum = [w](u64 threshold) {
        u64 total = 0;
        for (u64 s = w; s >= threshold; s /= 2) {
            s = (s + 1) & ~u64(1);
            total += s;
        }
        return total;
    };
    const u64 sqr = 8 * sum(thresholds.sqr64);
    const u64 mul = w >= thresholds.mul64 ? 16 * w + 8 * sum(thresholds.mul64) : 0;
    return {(8 * w + 71) & ~u64(63), (24 * w + std::max(sqr, mul) + 71) & ~u64(63)};
}

}  // namespace trel
