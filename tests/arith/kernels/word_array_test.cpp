#include "arith/kernels/word_array.h"

#include <gmp.h>

#include <random>

#include "arith/kernels/carry_join.h"
#include "kernel_fixture.h"
#include "support/capture_console.h"
#include "support/effort.h"

namespace trel {
namespace {

using reference::pattern;
using reference::Words;

// Task counts with the framework that runs them.
struct Contexts {
    ReverseFramework reverse;
    ThreadFramework threads;
    std::vector<ParallelContext> all{
        {&reverse, 1}, {&reverse, 2}, {&reverse, 7}, {&reverse, 64}, {&threads, 3}};
};

Words placed(const Words& a, i64 offset, i64 lo, i64 hi) {
    Words frame(u64(hi - lo), 0);
    for (i64 at = lo; at < hi; at++) {
        if (at >= offset && at < offset + i64(a.size())) frame[u64(at - lo)] = a[u64(at - offset)];
    }
    return frame;
}

void check_frame(const Words& a, i64 offset_a, const Words& b, i64 offset_b, u8 carry, i64 lo, i64 hi,
                 const ParallelContext& parallel) {
    const u64 n = u64(hi - lo);
    const PlacedWords A{a.data(), a.size(), offset_a}, B{b.data(), b.size(), offset_b};
    Words want = reference::add(placed(a, offset_a, lo, hi), placed(b, offset_b, lo, hi), carry);
    Words t(n + 1, 77);
    u8 out = bp_add(t.data(), A, B, carry, lo, hi, parallel);
    ASSERT_EQ(t[n], 77u);
    t[n] = out;
    ASSERT_EQ(t, want) << "add n=" << n << " tds=" << parallel.tds;
    want = reference::sub(placed(a, offset_a, lo, hi), placed(b, offset_b, lo, hi), carry);
    t[n] = 77;
    out = bp_sub(t.data(), A, B, carry, lo, hi, parallel);
    ASSERT_EQ(t[n], 77u);
    t[n] = out;
    ASSERT_EQ(t, want) << "sub n=" << n << " tds=" << parallel.tds;
}

TEST(WordArrayTest, AddAndSubtractInFrames) {
    std::mt19937_64 rng(1);
    Contexts contexts;
    for (int round = 0; round < 600; round++) {
        const Words a = pattern(rng() % 300, rng), b = pattern(rng() % 300, rng);
        const i64 lo = i64(rng() % 400) - 200;
        const i64 hi = lo + i64(rng() % 400);
        check_frame(a, i64(rng() % 400) - 200, b, i64(rng() % 400) - 200, rng() & 1, lo, hi,
                    serial_context());
        if (HasFatalFailure()) return;
    }
    // Operands far outside the frame on either side.
    const Words a = pattern(10, rng);
    for (i64 offset : {-1000, -10, 0, 100, 5000}) {
        check_frame(a, offset, a, -offset, 1, 0, 300, serial_context());
    }
}

TEST(WordArrayTest, ParallelAddAndSubtract) {
    std::mt19937_64 rng(2);
    Contexts contexts;
    for (const ParallelContext& parallel : contexts.all) {
        for (u64 n : {4095, 4096, 4104, 8191, 8192, 8193, 12288, 12289, 12290, 12291, 16385, 30001}) {
            for (unsigned round = 0; round < 6 / kalvor_test::thinned(3); round++) {
                const Words a = pattern(n, rng), b = pattern(n, rng);
                check_frame(a, 5, b, 5, rng() & 1, 5, 5 + i64(n), parallel);
                // Shifted operands: each part of the frame is covered by none, one or both.
                check_frame(a, -i64(rng() % 9000), b, i64(rng() % 9000), rng() & 1, 0, i64(n), parallel);
                if (HasFatalFailure()) return;
            }
        }
    }
    EXPECT_GT(contexts.reverse.dispatches, 100u);
}

TEST(WordArrayTest, CarryThroughWholeBlocks) {
    Contexts contexts;
    for (const ParallelContext& parallel : contexts.all) {
        for (u64 n : {8192, 12288, 12289, 12290, 3 * 4096 + 3, 20000}) {
            const Words ones(n, ~Word(0)), zeros(n, 0), one{1};
            Words t(n);
            // All ones + 1 = 0 and a carry.
            EXPECT_EQ(bp_add(t.data(), {ones.data(), n, 0}, {one.data(), 1, 0}, 0, 0, i64(n), parallel), 1);
            EXPECT_EQ(t, zeros) << n << " " << parallel.tds;
            // 0 - 1 = all ones and a borrow.
            EXPECT_EQ(bp_sub(t.data(), {zeros.data(), n, 0}, {one.data(), 1, 0}, 0, 0, i64(n), parallel), 1);
            EXPECT_EQ(t, ones) << n << " " << parallel.tds;
            // A stretch that starts and ends inside blocks; the ripple must stop where it ends.
            for (u64 stop : {u64(4096 + 1), u64(4096 + 2), u64(8190), n - 1}) {
                Words a = ones;
                a[stop] = 5;
                Words want = zeros;
                std::fill(want.begin() + i64(stop), want.end(), ~Word(0));
                want[stop] = 6;
                EXPECT_EQ(bp_add(t.data(), {a.data(), n, 0}, {one.data(), 1, 0}, 0, 0, i64(n), parallel), 0);
                EXPECT_EQ(t, want) << n << " " << stop << " " << parallel.tds;
                a = zeros;
                a[stop] = 5;
                want = ones;
                std::fill(want.begin() + i64(stop), want.end(), 0);
                want[stop] = 4;
                EXPECT_EQ(bp_sub(t.data(), {a.data(), n, 0}, {one.data(), 1, 0}, 0, 0, i64(n), parallel), 0);
                EXPECT_EQ(t, want) << n << " " << stop << " " << parallel.tds;
            }
        }
    }
}

TEST(WordArrayTest, InPlaceForms) {
    std::mt19937_64 rng(3);
    Contexts contexts;
    for (const ParallelContext& parallel : contexts.all) {
        for (u64 n : {10, 500, 9000}) {
            const Words a = pattern(n, rng), b = pattern(n / 2, rng);
            const i64 at = i64(n / 3);
            Words want = reference::add(a, placed(b, at, 0, i64(n)), 0);
            Words t = a;
            const u8 out =
                bp_add(t.data(), {t.data(), n, 0}, {b.data(), b.size(), at}, 0, 0, i64(n), parallel);
            t.push_back(out);
            EXPECT_EQ(t, want);
            want = reference::sub(placed(b, at, 0, i64(n)), a, 0);
            t = a;
            const u8 borrow =
                bp_sub(t.data(), {b.data(), b.size(), at}, {t.data(), n, 0}, 0, 0, i64(n), parallel);
            t.push_back(borrow);
            EXPECT_EQ(t, want);
        }
    }
}

TEST(WordArrayTest, CarryJoin) {
    std::mt19937_64 rng(4);
    Contexts contexts;
    for (const ParallelContext& parallel : contexts.all) {
        for (u64 n : {100, 1000, 8192, 20000}) {
            for (unsigned round = 0; round < 60 / kalvor_test::thinned(6); round++) {
                const u64 length = std::max<u64>(8, (n / (1 + rng() % 60) + 7) & ~u64(7));
                const Blocks blocks{n, length, (n - 1) / length + 1};
                Words t = pattern(n, rng);
                Words carry_words(n, 0);
                u8 carries[kMaxBlocks] = {};
                for (u64 k = 0; k < blocks.count; k++) {
                    carries[k] = rng() & 1;
                    if (k + 1 == blocks.count) break;
                    // A block that let a carry out cannot be all ones itself (nor all zeros behind a borrow).
                    t[blocks.begin(k)] &= ~Word(1);
                    t[blocks.begin(k)] |= 2;
                    if (carries[k]) carry_words[blocks.begin(k + 1)] = 1;
                }
                t[n - 1] = 12345;
                for (Ripple ripple : {Ripple::carry, Ripple::borrow}) {
                    Words got = t;
                    const u8 out = bp_carry_join(carries, blocks, got.data(), ripple, parallel);
                    Words want = ripple == Ripple::carry ? reference::add(t, carry_words, 0)
                                                         : reference::sub(t, carry_words, 0);
                    ASSERT_EQ(out, want.back() | carries[blocks.count - 1]) << n;
                    want.pop_back();
                    ASSERT_EQ(got, want) << n << " " << parallel.tds;
                }
            }
        }
    }
}

TEST(WordArrayTest, MultiplyByOneWord) {
    std::mt19937_64 rng(5);
    Contexts contexts;
    for (const ParallelContext& parallel : contexts.all) {
        for (u64 n : {1, 2, 100, 19999, 20008, 40001, 60003}) {
            for (Word w : {Word(0), Word(1), ~Word(0), Word(rng())}) {
                for (Word c : {Word(0), ~Word(0)}) {
                    const Words a = rng() % 3 ? pattern(n, rng) : Words(n, ~Word(0));
                    Words want(n);
                    const Word high = mpn_mul_1(reinterpret_cast<mp_ptr>(want.data()),
                                                reinterpret_cast<mp_srcptr>(a.data()), mp_size_t(n), w);
                    const Word want_top =
                        high + mpn_add_1(reinterpret_cast<mp_ptr>(want.data()),
                                         reinterpret_cast<mp_srcptr>(want.data()), mp_size_t(n), c);
                    Words t(n + 1, 77);
                    ASSERT_EQ(bp_mul_uW(t.data(), a.data(), n, w, c, parallel), want_top) << n << " " << w;
                    ASSERT_EQ(t.back(), 77u);
                    t.pop_back();
                    ASSERT_EQ(t, want) << n << " " << w << " " << c << " " << parallel.tds;
                    t = a;
                    ASSERT_EQ(bp_mul_uW(t.data(), t.data(), n, w, c, parallel), want_top);
                    ASSERT_EQ(t, want);
                }
            }
        }
    }
}

TEST(WordArrayTest, MultiplyByOneWordRipplesThroughBlocks) {
    // (2^(64 n) - 1) / w * w for w | 2^64 - 1, plus 1: every word of the product is all ones and the carry
    // runs through the whole array.
    Contexts contexts;
    const u64 n = 60000;
    const Word w = 255;
    const Words a(n, ~Word(0) / w);
    for (const ParallelContext& parallel : contexts.all) {
        Words t(n);
        EXPECT_EQ(bp_mul_uW(t.data(), a.data(), n, w, 1, parallel), 1u);
        EXPECT_EQ(t, Words(n, 0)) << parallel.tds;
    }
}

TEST(WordArrayTest, Compare) {
    const Words a{5, 7}, zeros_below{0, 0, 5, 7}, bigger{6, 7}, smaller{~Word(0), 6}, tail{1, 5, 7};
    const auto cmp = [](const Words& x, i64 ex, const Words& y, i64 ey) {
        return bp_cmp({x.data(), x.size(), ex}, {y.data(), y.size(), ey});
    };
    EXPECT_EQ(cmp({}, 3, {}, 9), 0);
    EXPECT_EQ(cmp({}, 3, a, -9), -1);
    EXPECT_EQ(cmp(a, -9, {}, 3), 1);
    EXPECT_EQ(cmp(a, 0, a, 0), 0);
    EXPECT_EQ(cmp(a, 0, zeros_below, -2), 0);
    EXPECT_EQ(cmp(zeros_below, -2, a, 0), 0);
    EXPECT_EQ(cmp(a, 0, tail, -1), -1);
    EXPECT_EQ(cmp(tail, -1, a, 0), 1);
    EXPECT_EQ(cmp(a, 0, bigger, 0), -1);
    EXPECT_EQ(cmp(a, 0, smaller, 0), 1);
    EXPECT_EQ(cmp(a, 1, bigger, 0), 1);
    EXPECT_EQ(cmp(a, -1, smaller, 0), -1);
    EXPECT_EQ(cmp({1}, 2, a, 0), 1);   // magnitude 3 against 2
    EXPECT_EQ(cmp({9}, 1, a, 0), 1);   // same magnitude, first word decides
    EXPECT_EQ(cmp({7}, 1, a, 0), -1);  // the words left in the longer one decide
}

TEST(WordArrayTest, NonzeroLength) {
    Contexts contexts;
    for (const ParallelContext& parallel : contexts.all) {
        EXPECT_EQ(bp_nonzero_length(nullptr, 0, parallel), 0u);
        for (u64 n : {1, 100, 16391, 16392, 50000, 50001}) {
            Words a(n, 0);
            EXPECT_EQ(bp_nonzero_length(a.data(), n, parallel), 0u);
            for (u64 at : {u64(0), n / 3, n / 2, n - 1}) {
                a.assign(n, 0);
                a[at] = Word(1) << 63;
                a[at / 2] = 1;
                EXPECT_EQ(bp_nonzero_length(a.data(), n, parallel), at + 1) << n << " " << parallel.tds;
            }
        }
    }
}

TEST(WordArrayTest, Copy) {
    std::mt19937_64 rng(6);
    Contexts contexts;
    for (const ParallelContext& parallel : contexts.all) {
        for (u64 bytes : {u64(0), u64(1), u64(4097), (u64(2) << 20) - 1, (u64(5) << 20) + 13}) {
            std::vector<u8> from(bytes), to(bytes + 1, 9);
            for (u8& b : from) b = u8(rng());
            bp_copy(to.data(), from.data(), bytes, parallel);
            EXPECT_EQ(to.back(), 9);
            to.pop_back();
            EXPECT_EQ(to, from);
        }
    }
}

TEST(WordArrayTest, Negate) {
    std::mt19937_64 rng(7);
    Contexts contexts;
    for (const ParallelContext& parallel : contexts.all) {
        for (u64 n : {0, 1, 2, 7, 33, 4096, 9000, 20001}) {
            for (int round = 0; round < 6; round++) {
                Words a = pattern(n, rng);
                if (round > 2 && n > 4200) std::fill(a.begin(), a.begin() + i64(rng() % n), 0);
                Words want = reference::sub(Words(n, 0), a, 0);
                Words t = a;
                const u8 carry = bp_negate(t.data(), n, parallel);
                ASSERT_EQ(carry, 1 - want.back()) << n;
                want.pop_back();
                ASSERT_EQ(t, want) << n << " " << parallel.tds;
            }
        }
    }
}

TEST(WordArrayTest, SmallInPlaceRipples) {
    Words a{~Word(0), ~Word(0), 3};
    EXPECT_EQ(add_word_ip(a.data(), 3, 2), 0);
    EXPECT_EQ(a, (Words{1, 0, 4}));
    EXPECT_EQ(sub_word_ip(a.data(), 3, 2), 0);
    EXPECT_EQ(a, (Words{~Word(0), ~Word(0), 3}));
    EXPECT_EQ(add_word_ip(a.data(), 2, 1), 1);
    EXPECT_EQ(a, (Words{0, 0, 3}));
    EXPECT_EQ(sub_word_ip(a.data(), 2, ~Word(0)), 1);
    EXPECT_EQ(a, (Words{1, ~Word(0), 3}));
    EXPECT_EQ(add_word_ip(a.data(), 0, 5), 5);
    Words t(3);
    EXPECT_EQ(add_n(t.data(), a.data(), a.data(), 3, 1), 0);
    EXPECT_EQ(t, (Words{3, ~Word(0) - 1, 7}));
    EXPECT_EQ(sub_n(t.data(), a.data(), t.data(), 3), 1);
    EXPECT_EQ(t, (Words{~Word(0) - 1, 0, ~Word(0) - 3}));
}

}  // namespace
}  // namespace trel
