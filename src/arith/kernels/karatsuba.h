// Subtractive Karatsuba (Karatsuba and Ofman 1962) for any word type: three half-size products and five half-size
// additions a level.
//
// Time n^1.585; scratch 2 ceil(n/2) words a level, about 2n words in all; one thread (the differences of very
// large operands may be split over tasks). Private to this room.
#pragma once

#include <algorithm>

#include "os/types.h"

namespace trel {

// K offers: the word type W; sqr_threshold and mul_threshold; add_n, sub_n (T, A, B, n: carry or borrow out);
// add_word, sub_word (T, n, c: ripple in place); mul_basecase, sqr_basecase; difference_in_tasks, which may take a
// difference over and then returns true.
template <class K>
struct Karatsuba {
    using W = typename K::W;
    K k;


    // D[0..L) = |A0 - A1| for A0 = A[0..L), A1 = A[L..n), H = n - L <= L. Returns whether A0 >= A1.
    bool difference(W* D, const W* A, u64 L, u64 H) const {
        const W *low = A, *high = A + L;
        bool ge = true;
        if (L == H || low[L - 1] == 0) {
            u64 i = H;
            while (i > 0 && low[i - 1] == high[i - 1]) i--;
            ge = i == 0 || low[i - 1] > high[i - 1];
        }
        if (k.difference_in_tasks(D, low, L, high, H, ge)) return ge;
        if (ge) {
            const u8 borrow = k.sub_n(D, low, high, H);
            if (H < L) D[H] = W(low[H] - borrow);
        } else {
            k.sub_n(D, high, low, H);
            if (H < L) D[H] = 0;
        }
        return ge;
    }

    // T holds A0 B0 in words [0, 2L) and A1 B1 above; adds the middle term A0 B0 + A1 B1 - P (or + P) at word L, where P is
    // the product of the differences, 2L words. T has 2 (L + H) words.
    void middle(W* T, const W* product, u64 L, u64 H, bool subtract) const {
        W *p0 = T, *p1 = T + L, *p2 = T + 2 * L, *p3 = T + 3 * L;
        const u64 top = 2 * H - L;  // words of the high product above its word L; L = H or H + 1
        // Both new middle parts contain u = p1 + p2.
        const u8 cu = k.add_n(p1, p1, p2, L);
        u8 c3 = k.add_n(p2, p1, p3, top);
        if (top < L) {
            std::copy_n(p1 + top, L - top, p2 + top);
            c3 = k.add_word(p2 + top, L - top, c3);
        }
        const u8 c2 = k.add_n(p1, p1, p0, L);
        i64 carry;  // at word 3L
        if (subtract) {
            carry = -i64(k.sub_n(p1, p1, product, 2 * L));
        } else {
            carry = k.add_n(p1, p1, product, 2 * L);
        }
        carry += cu + c3;
        carry += k.add_word(p2, L, W(cu) + c2);
        if (carry >= 0) {
            k.add_word(p3, top, W(carry));
        } else {
            k.sub_word(p3, top, W(-carry));
        }
    }

    void sqr(W* T, const W* A, u64 n, W* scratch) const {
        if (n < k.sqr_threshold) {
            k.sqr_basecase(T, A, n);
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
    void balanced(W* T, const W* A, const W* B, u64 n, W* scratch) const {
        if (n < k.mul_threshold) {
            k.mul_basecase(T, A, n, B, n);
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
    void mul(W* T, const W* A, u64 n, const W* B, u64 m, W* scratch) const {
        if (m < k.mul_threshold) {
            k.mul_basecase(T, A, n, B, m);
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
    void product_of_rest(W* T, const W* A, u64 n, const W* B, u64 m, u64 done, W* scratch) const {
        const u64 rest = n - done;
        if (rest < m) {
            mul(scratch, B, m, A + done, rest, scratch + rest + m);
        } else {
            mul(scratch, A + done, rest, B, m, scratch + rest + m);
        }
        add_product(T + done, scratch, m, rest);
    }

    // T[0..m+rest) = T[0..m) + product[0..m+rest)
    void add_product(W* T, const W* product, u64 m, u64 rest) const {
        const u8 carry = k.add_n(T, T, product, m);
        std::copy_n(product + m, rest, T + m);
        k.add_word(T + m, rest, carry);
    }
};
template <class K>
Karatsuba(K) -> Karatsuba<K>;

}  // namespace trel
