// Products by Code 17 against GMP: records, windows, kinds of products, tasks, and the check of coefficients.
#include <gtest/gtest.h>

#include <cfenv>
#include <cstring>

#include "arith/c17/c17_algorithm.h"
#include "arith/c17/c17_plan.h"
#include "arith/c17/c17_transform.h"
#include "arith/ntt/ntt_check.h"
#include "arith/ntt/ntt_support.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/monitored_run.h"

namespace {

using namespace trel;
using namespace kalvor_test;

class C17TransformTest : public testing::TestWithParam<Isa> {
  protected:
    C17Transform transform(const NttRecord& record) const {
        return C17Transform(c17_setup(GetParam(), record));
    }
};
class SlowC17TransformTest : public C17TransformTest {};

std::string isa_of(const testing::TestParamInfo<Isa>& info) {
    return isa_name(info.param);
}
INSTANTIATE_TEST_SUITE_P(Levels, C17TransformTest, testing::ValuesIn(available_isas()), isa_of);
INSTANTIATE_TEST_SUITE_P(SlowLevels, SlowC17TransformTest, testing::ValuesIn(available_isas()), isa_of);

std::vector<Word> window_of(const std::vector<Word>& C, u64 skip, u64 total) {
    std::vector<Word> w(total - skip, 0);
    for (u64 i = skip; i < total && i < C.size(); i++) w[i - skip] = C[i];
    return w;
}

enum class Way { transforms, plain, held };

// Words skip .. total - 1 of A B, of A^2 when B is A, one way or another.
std::vector<Word> product_by(const C17Transform& t, Way way, const ParallelContext& parallel,
                             const std::vector<Word>& A, const std::vector<Word>& B, u64 skip, u64 total) {
    const bool square = &A == &B;
    if (way == Way::transforms) return multiply(t, parallel, A, B, skip, total);
    Output T(total - skip);
    if (way == Way::plain) {
        Scratch memory(square ? t.data_bytes() + t.scratch_bytes() : t.plain_bytes());
        if (square) {
            t.square_plain(parallel, T.data(), skip, total, A.data(), A.size(), memory.data());
        } else {
            t.multiply_plain(parallel, T.data(), skip, total, A.data(), A.size(), B.data(), B.size(),
                             memory.data());
        }
        EXPECT_TRUE(memory.guards_intact());
    } else {
        Scratch y(t.data_bytes()), work(t.data_bytes()), scratch(t.scratch_bytes());
        t.forward(parallel, y.data(), B.data(), B.size(), scratch.data());
        const std::vector<u8> before(static_cast<u8*>(y.data()), static_cast<u8*>(y.data()) + y.size());
        t.multiply_held(parallel, T.data(), skip, total, A.data(), A.size(), y.data(), work.data(),
                        scratch.data());
        EXPECT_EQ(std::memcmp(before.data(), y.data(), y.size()), 0) << "the kept transform has changed";
        EXPECT_TRUE(y.guards_intact() && work.guards_intact() && scratch.guards_intact());
    }
    EXPECT_TRUE(T.guards_intact());
    return T.words();
}

std::string name_of(const NttRecord& r) {
    return "(" + std::to_string(r.a) + ", " + std::to_string(r.b) + ", " + std::to_string(r.c) + ")";
}

// C is A B: by GMP up to 2^24 bits and now and then beyond, else modulo 2^61 - 1.
void check_whole(const std::vector<Word>& A, const std::vector<Word>& B, const std::vector<Word>& C, u64 seed,
                 const std::string& where) {
    if (64 * C.size() <= u64(1) << 24 || seed % 16 == 0) {
        ASSERT_EQ(window_of(C, 0, A.size() + B.size()), product(A, B)) << where;
        return;
    }
    ASSERT_EQ(residue_61(C), product_residue_61(A, B)) << where;
}

// A product that fills the record, in one of the ways, a window of it in another, and a square.
void check_record(const C17Transform& t, u64 seed) {
    std::mt19937_64 rng(seed);
    const ParallelContext& parallel = serial_context();
    const u64 W = t.convolution_words();
    const Kind kind = kKinds[seed % 4];
    const u64 la = seed % 3 == 0 ? W / 2 : seed % 3 == 1 ? W - 1 - rng() % (W / 3) : 1 + rng() % (W / 2);
    const auto A = operand(kind, la, seed), B = operand(seed % 5 == 0 ? Kind::ones : kind, W - la, seed + 1);
    const std::string where = name_of(t.setup().record) + " seed " + std::to_string(seed);
    const auto C = product_by(t, static_cast<Way>(seed % 3), parallel, A, B, 0, W);
    check_whole(A, B, C, seed, where);
    const u64 skip = rng() % W, total = skip + 1 + rng() % (W - skip);
    ASSERT_EQ(product_by(t, static_cast<Way>((seed + 1) % 3), parallel, A, B, skip, total),
              window_of(C, skip, total))
        << where << " window " << skip << ".." << total;
    const auto S = operand(kKinds[(seed + 1) % 4], W / 2, seed + 2);
    check_whole(S, S, product_by(t, seed % 2 == 0 ? Way::plain : Way::transforms, parallel, S, S, 0, W), seed,
                where + " square");
}

TEST_P(C17TransformTest, TunedRecords) {
    u64 i = 0;
    for (const NttRecord& r : ntt_tuned_records(NttFamily::c17)) {
        i++;
        const u64 bits = ntt_capacity_bits(NttFamily::c17, r);
        if (bits > (u64(1) << 23) || (bits > (u64(1) << 20) && i % 4 != 0)) continue;
        check_record(transform(r), i);
        if (HasFatalFailure()) return;
    }
}
TEST_P(C17TransformTest, AllSetsAndFactors) {
    for (u8 a = 7; a <= 11; a++) {
        for (u8 b : {1, 3, 5, 7}) {
            for (u8 c = 8; c <= 10; c++) {
                check_record(transform({a, b, c, 0, 0, 0}), a + 3 * b + c);
                if (HasFatalFailure()) return;
            }
        }
    }
}
TEST_P(SlowC17TransformTest, TunedRecordsUpTo2To22Words) {
    u64 i = 0;
    for (const NttRecord& r : ntt_tuned_records(NttFamily::c17)) {
        const u64 bits = ntt_capacity_bits(NttFamily::c17, r);
        i++;
        if (bits > (u64(1) << 29)) break;
        if (bits > (u64(1) << 23) && is_for_another_level(i, GetParam())) continue;
        check_record(transform(r), i + 1);
        if (HasFatalFailure()) return;
    }
}
TEST_P(SlowC17TransformTest, GeneralRecords) {
    u64 i = 0;
    for (const NttRecord& r : ntt_general_records(NttFamily::c17)) {
        if (ntt_capacity_bits(NttFamily::c17, r) > (u64(1) << 25)) break;
        check_record(transform(r), i++);
        if (HasFatalFailure()) return;
    }
}
// Larger ones by their residues only: GMP would take seconds for each.
TEST_P(SlowC17TransformTest, LargeGeneralRecords) {
    u64 i = 0, done = 0;
    for (const NttRecord& r : ntt_general_records(NttFamily::c17)) {
        const u64 bits = ntt_capacity_bits(NttFamily::c17, r);
        if (bits <= (u64(1) << 25)) continue;
        if (bits > (u64(1) << 28)) break;
        i++;
        done++;
        if (is_for_another_level(i, GetParam())) continue;
        check_record(transform(r), i + (i % 16 == 0));
        if (HasFatalFailure()) return;
    }
    EXPECT_GE(done, 30u);
}

// Edges of windows around groups, rows and the ends; runs of ones that a carry from below would cross.
TEST_P(C17TransformTest, Windows) {
    for (const NttRecord& r : {NttRecord{7, 1, 10, 0, 0, 0}, NttRecord{10, 5, 8, 0, 0, 0},
                               NttRecord{11, 3, 9, 0, 0, 6}, NttRecord{9, 1, 14, 0, 0, 0}}) {
        const C17Transform t = transform(r);
        const u64 W = t.convolution_words(), G = c17_group_words(r.a), row = W / (r.b);
        std::mt19937_64 rng(r.c);
        for (Kind kind : kKinds) {
            const auto A = operand(kind, W / 2, 5), B = operand(kind, W - W / 2, 6);
            const auto C = product(A, B);
            std::vector<std::pair<u64, u64>> windows = {
                {0, 1},         {0, W},     {W - 1, W},     {1, W},         {G, 2 * G},
                {G - 1, G + 1}, {2 * G, W}, {2 * G + 1, W}, {W - G, W},     {W / 2, W},
                {0, W / 2},     {5, 5},     {row - 1, row}, {W - 2 * G, W}, {3 * G, 3 * G + 1}};
            if (row < W) windows.push_back({row, row + 1});
            for (int i = 0; i < 8; i++) {
                const u64 skip = rng() % W;
                windows.push_back({skip, skip + 1 + rng() % (W - skip)});
            }
            for (std::size_t i = 0; i < windows.size(); i += kalvor_test::thinned(3)) {
                const auto& [skip, total] = windows[i];
                ASSERT_EQ(product_by(t, Way::plain, serial_context(), A, B, skip, total),
                          window_of(C, skip, total))
                    << name_of(r) << " kind " << static_cast<int>(kind) << " window " << skip << ".."
                    << total;
            }
        }
    }
}

// A product whose words are ones for a long way below the window, with and without a carry from far below.
TEST_P(C17TransformTest, CarryFromFarBelow) {
    const C17Transform t = transform({8, 3, 9, 5, 8, 8});
    const u64 W = t.convolution_words();
    for (int borrow = 0; borrow < 2; borrow++) {
        // (2^(64 k) - 1) (2^(64 m) + 1) = 2^(64 (k + m)) - 2^(64 m) + 2^(64 k) - 1, k > m: ones from word m
        // on
        const u64 k = W / 2 + W / 4, m = 9;
        std::vector<Word> A(k, ~Word(0)), B(m + 1, 0);
        B[0] = 1;
        B[m] = 1;
        if (borrow) A[0]--;
        const auto C = product(A, B);
        for (u64 skip = 1; skip < W - 1; skip += skip < 100 ? 1 : 97) {
            ASSERT_EQ(product_by(t, Way::plain, serial_context(), A, B, skip, W), window_of(C, skip, W))
                << skip;
        }
    }
}

// x is `want`, one unit more or one unit less.
bool within_one_unit(std::vector<Word> x, const std::vector<Word>& want) {
    for (Word& w : x) {
        if (w-- != 0) break;
    }
    for (int i = 0; i < 3; i++) {
        if (x == want) return true;
        for (Word& w : x) {
            if (++w != 0) break;
        }
    }
    return false;
}

// Longer products than the convolution: the clean words, the lowest of them up to one unit.
TEST_P(C17TransformTest, WrappedWindows) {
    SpawnFramework spawn(64);
    for (const NttRecord& r :
         {NttRecord{7, 1, 10, 0, 0, 0}, NttRecord{10, 5, 8, 0, 0, 0}, NttRecord{8, 7, 8, 0, 0, 0},
          NttRecord{11, 3, 9, 0, 0, 0}, NttRecord{9, 1, 14, 0, 0, 0}}) {
        const C17Transform t = transform(r);
        const u64 W = t.convolution_words();
        const bool large = r.c >= 14;
        u64 i = 0;
        for (Kind kind : kKinds) {
            if (large && kind != Kind::random && kind != Kind::ones) continue;
            for (u64 n : {W + 1, W + 2, W + 7, W + c17_group_words(r.a), W + W / 3, 2 * W - 2}) {
                if (large && n != W + 1 && n != W + W / 3) continue;
                if (!large && i++ % kalvor_test::thinned(5) != 0) continue;
                const u64 la = std::min(W, n - n / 3);
                const auto A = operand(kind, la, n), B = operand(kind, n - la, n + 1);
                const auto S = operand(kind, (n + 1) / 2, n + 2);
                const auto C = product(A, B), D = product(S, S);
                for (const Way way : {Way::transforms, Way::plain, Way::held}) {
                    for (const u64 tds : {1, 2, 7}) {
                        if (large != (tds != 1)) continue;  // smaller ones run on one task
                        const ParallelContext parallel{&spawn, tds};
                        const std::string where = name_of(r) + " " + std::to_string(n) + " words, kind " +
                                                  std::to_string(static_cast<int>(kind)) + " way " +
                                                  std::to_string(static_cast<int>(way)) + " tds " +
                                                  std::to_string(tds);
                        const u64 skip = n - W, skip2 = D.size() - W;
                        for (const u64 total : {W, skip + 1, (W + skip + 1) / 2}) {
                            if (large && total != W) continue;
                            ASSERT_TRUE(within_one_unit(product_by(t, way, parallel, A, B, skip, total),
                                                        window_of(C, skip, total)))
                                << where << " total " << total;
                            if (way == Way::held || skip2 >= total) continue;
                            ASSERT_TRUE(within_one_unit(product_by(t, way, parallel, S, S, skip2, total),
                                                        window_of(D, skip2, total)))
                                << where << " square, total " << total;
                        }
                    }
                }
            }
        }
    }
}

// A product 2^(64 m) + (a small number): a carry that comes from far below runs through all of its middle.
TEST_P(C17TransformTest, CarriesRunIntoWindows) {
    SpawnFramework spawn(64);
    for (const NttRecord& r : {NttRecord{8, 3, 9, 0, 0, 0}, NttRecord{9, 1, 14, 0, 0, 0}}) {
        const C17Transform t = transform(r);
        const u64 half = t.convolution_words() / 2;
        const auto A = operand(Kind::random, half, 9);
        // B = ceil(2^(64 (2 half - 1)) / A)
        std::vector<Word> power(2 * half, 0), quotient(half + 1), rest(half);
        power.back() = 1;
        mpn_tdiv_qr(reinterpret_cast<mp_limb_t*>(quotient.data()), reinterpret_cast<mp_limb_t*>(rest.data()),
                    0, reinterpret_cast<const mp_limb_t*>(power.data()), static_cast<mp_size_t>(2 * half),
                    reinterpret_cast<const mp_limb_t*>(A.data()), static_cast<mp_size_t>(half));
        ASSERT_EQ(quotient[half], 0u);
        std::vector<Word> B(quotient.begin(), quotient.begin() + static_cast<std::ptrdiff_t>(half));
        B[0]++;
        const auto C = product(A, B);
        ASSERT_EQ(C[half + 5], 0u);
        const bool large = r.c >= 14;
        for (const u64 tds : {1, 2, 7}) {
            if (large != (tds != 1)) continue;  // smaller ones run on one task
            for (u64 skip = 1; skip < 2 * half; skip += 1 + (large ? skip : skip / 7)) {
                for (const Way way : {Way::transforms, Way::plain}) {
                    ASSERT_EQ(product_by(t, way, {&spawn, tds}, A, B, skip, 2 * half),
                              window_of(C, skip, 2 * half))
                        << name_of(r) << " skip " << skip << " tds " << tds;
                }
            }
        }
    }
}

TEST_P(C17TransformTest, TasksDoNotChangeWords) {
    SpawnFramework spawn(64);
    for (const NttRecord& r :
         {NttRecord{10, 5, 10, 0, 0, 0}, NttRecord{9, 1, 14, 0, 0, 6}, NttRecord{9, 3, 11, 0, 0, 0},
          NttRecord{9, 3, 13, 0, 0, 0}, NttRecord{11, 1, 13, 0, 0, 0}}) {
        const C17Transform t = transform(r);
        const u64 W = t.convolution_words();
        for (Kind kind : {Kind::random, Kind::ones}) {
            const auto A = operand(kind, W / 2, 1), B = operand(kind, W - W / 2, 2);
            const auto C = product(A, B);
            for (u64 tds : {1, 2, 7}) {
                const ParallelContext parallel{&spawn, tds};
                for (Way way : {Way::transforms, Way::plain, Way::held}) {
                    for (const auto& [skip, total] : {std::pair<u64, u64>{0, W}, {W / 3, W - 5}}) {
                        ASSERT_EQ(product_by(t, way, parallel, A, B, skip, total), window_of(C, skip, total))
                            << name_of(r) << " tds " << tds << " way " << static_cast<int>(way);
                    }
                }
            }
        }
    }
}

TEST_P(C17TransformTest, BuffersMayCoincide) {
    const C17Transform t = transform({8, 3, 9, 0, 0, 0});
    const u64 W = t.convolution_words();
    const auto A = operand(Kind::random, W / 2, 1), B = operand(Kind::runs, W - W / 2, 2);
    const auto C = product(A, B);
    Scratch scratch(t.scratch_bytes());
    for (int where = 0; where < 3; where++) {
        Scratch x(t.data_bytes()), y(t.data_bytes()), z(t.data_bytes());
        t.forward(serial_context(), x.data(), A.data(), A.size(), scratch.data());
        t.forward(serial_context(), y.data(), B.data(), B.size(), scratch.data());
        void* const work = where == 0 ? x.data() : where == 1 ? y.data() : z.data();
        Output T(W);
        t.inverse(serial_context(), T.data(), 0, W, work, x.data(), y.data(), scratch.data());
        ASSERT_EQ(T.words(), C) << where;
        if (where != 2) continue;
        Output again(W), square(W);
        t.inverse(serial_context(), square.data(), 0, W, z.data(), x.data(), x.data(), scratch.data());
        EXPECT_EQ(square.words(), window_of(product(A, A), 0, W));
        t.inverse(serial_context(), again.data(), 0, W, x.data(), x.data(), y.data(), scratch.data());
        EXPECT_EQ(again.words(), C);
    }
}

TEST_P(C17TransformTest, EmptyOperandIsZero) {
    const C17Transform t = transform({8, 3, 9, 0, 0, 0});
    const u64 W = t.convolution_words();
    const auto A = operand(Kind::random, W / 2, 1);
    EXPECT_EQ(product_by(t, Way::plain, serial_context(), A, {}, 0, W), std::vector<Word>(W, 0));
    EXPECT_EQ(product_by(t, Way::transforms, serial_context(), {}, A, 0, W), std::vector<Word>(W, 0));
}

TEST_P(C17TransformTest, TooLongThrows) {
    const C17Transform t = transform({7, 1, 10, 6, 4, 8});
    const std::vector<Word> A(t.convolution_words() + 1, 1);
    Scratch x(t.data_bytes()), scratch(t.scratch_bytes());
    try {
        t.forward(serial_context(), x.data(), A.data(), A.size(), scratch.data());
        FAIL();
    } catch (const ConvolutionTooSmallException& e) {
        EXPECT_EQ(e.function, "C17");
        EXPECT_EQ(e.message, "Convolution length is too small.");
        EXPECT_EQ(e.convolution_size, 147456u);
        EXPECT_EQ(e.requested_size, 147456u + 64);
    }
    t.forward(serial_context(), x.data(), A.data(), A.size() - 1, scratch.data());
}

// A residue that is off in one place makes one coefficient random: far above the bound.
TEST_P(C17TransformTest, CorruptedResiduesAreFound) {
    for (const NttRecord& r : {NttRecord{10, 5, 9, 0, 0, 0}, NttRecord{8, 1, 11, 0, 0, 0}}) {
        const C17Transform t = transform(r);
        const u64 W = t.convolution_words();
        const auto A = operand(Kind::random, W / 2, 1), B = operand(Kind::random, W - W / 2, 2);
        Scratch x(t.data_bytes()), y(t.data_bytes()), scratch(t.scratch_bytes());
        for (u32 prime = 0; prime < r.a; prime++) {
            t.forward(serial_context(), x.data(), A.data(), A.size(), scratch.data());
            t.forward(serial_context(), y.data(), B.data(), B.size(), scratch.data());
            static_cast<double*>(x.data())[prime * t.setup().plan.prime_stride + 17] += 1;
            Output T(W);
            try {
                t.inverse(serial_context(), T.data(), 0, W, x.data(), x.data(), y.data(), scratch.data());
                FAIL() << prime;
            } catch (const ConvolutionFailedException& e) {
                EXPECT_EQ(e.message, "Coefficient is too large.");
                EXPECT_EQ(e.first, ntt_excess_bound(r));
                EXPECT_GE(e.second, e.first);
            }
        }
    }
}

// Points whose coefficient alone is wrong: x is the transform of A, but modulo one prime of a number that
// differs from A in this point. The product with 1 then has a random coefficient there.
void spoil_point(const C17Transform& t, double* x, std::vector<Word> A, u64 point, u32 prime) {
    const u64 bit = point * 24 * (t.setup().record.a - 1u), row = t.setup().plan.prime_stride;
    A[bit / 64] ^= u64(1) << bit % 64;
    Scratch other(t.data_bytes()), scratch(t.scratch_bytes());
    t.forward(serial_context(), other.data(), A.data(), A.size(), scratch.data());
    std::memcpy(x + prime * row, static_cast<double*>(other.data()) + prime * row, 8 * row);
}

// Coefficients that only tell what stands above or below the window are checked too, and those that say
// nothing: all of them belong to the ring in which the product is compared.
TEST_P(C17TransformTest, CoefficientsOutsideTheWindowAreChecked) {
    for (const NttRecord& r : {NttRecord{10, 5, 9, 0, 0, 0}, NttRecord{9, 1, 14, 0, 0, 6}}) {
        const C17Transform t = transform(r);
        const u64 W = t.convolution_words(), G = c17_group_words(r.a), points = t.setup().plan.points();
        const std::vector<Word> one{1};
        struct Case {
            Kind kind;
            u64 skip, total, point;
            bool checked;
        };
        const u64 middle = W / 2 / G;  // a group
        const Case cases[] = {
            {Kind::random, 0, W / 2, points - 1, true},               // its top wraps into the window
            {Kind::random, 0, W / 2, points - 8 * 3, true},           // a group that says nothing
            {Kind::random, 0, W / 2, 8 * (middle - 3), true},         // inside
            {Kind::ones, middle * G, W - 5, 8 * (middle - 2), true},  // below, where carries run through
            {Kind::ones, middle * G, W - 5, 8 * 2, true},             // far below
            {Kind::random, middle * G, W - 5, 8 * 2, true},
        };
        for (const Case& c : cases) {
            const auto A = operand(c.kind, W - 2, 1);
            Scratch x(t.data_bytes()), y(t.data_bytes()), scratch(t.scratch_bytes());
            t.forward(serial_context(), x.data(), A.data(), A.size(), scratch.data());
            t.forward(serial_context(), y.data(), one.data(), 1, scratch.data());
            spoil_point(t, static_cast<double*>(x.data()), A, c.point, r.a - 1u);
            Output T(c.total - c.skip);
            bool refused = false;
            try {
                t.inverse(serial_context(), T.data(), c.skip, c.total, x.data(), x.data(), y.data(),
                          scratch.data());
            } catch (const ConvolutionFailedException&) {
                refused = true;
            }
            EXPECT_EQ(refused, c.checked) << name_of(r) << " point " << c.point << " of " << points;
        }
    }
}

class RoundingMode {
  public:
    explicit RoundingMode(int mode) : before_(std::fegetround()) { std::fesetround(mode); }
    ~RoundingMode() { std::fesetround(before_); }
    RoundingMode(const RoundingMode&) = delete;
    RoundingMode& operator=(const RoundingMode&) = delete;

  private:
    int before_;
};

TEST_P(C17TransformTest, WrongRoundingModeIsRefused) {
    const C17Transform t = transform({10, 5, 9, 0, 0, 0});
    const u64 W = t.convolution_words();
    const auto A = operand(Kind::random, W / 2, 1), B = operand(Kind::random, W - W / 2, 2);
    Scratch memory(t.plain_bytes());
    for (int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        Output T(W);
        CaptureConsole console;
        MonitoredRun run;
        bool failed = false;
        {
            const RoundingMode changed(mode);
            try {
                t.multiply_plain(run.context(), T.data(), 0, W, A.data(), A.size(), B.data(), B.size(),
                                 memory.data());
            } catch (const ConvolutionFailedException& e) {
                failed = e.message == "Coefficient is too large.";
            }
        }
        run.show();
        const std::string out = console.take();
        EXPECT_TRUE(failed) << mode;
        EXPECT_NE(out.find("The FPU Control Word has been corrupted."), std::string::npos);
    }
    Output T(W);
    t.multiply_plain(serial_context(), T.data(), 0, W, A.data(), A.size(), B.data(), B.size(), memory.data());
    EXPECT_EQ(T.words(), product(A, B));
}

TEST_P(C17TransformTest, WrongRoundingModeOfATransformIsRefused) {
    for (const NttFamily family : {NttFamily::c17, NttFamily::vst}) {
        const C17Transform t(c17_setup(GetParam(), {10, 5, 9, 0, 0, 0}), family);
        const auto A = operand(Kind::random, 100, 1);
        Scratch x(t.data_bytes()), scratch(t.scratch_bytes());
        CaptureConsole console;
        MonitoredRun run;
        try {
            const RoundingMode changed(FE_UPWARD);
            t.forward(run.context(), x.data(), A.data(), A.size(), scratch.data());
            FAIL();
        } catch (const ConvolutionFailedException& e) {
            EXPECT_EQ(e.function, ntt_constants(family).short_name);
            EXPECT_EQ(e.message, "Coefficient is too large.");
            EXPECT_EQ(e.first, ntt_excess_bound(t.setup().record));
        }
        run.show();
        EXPECT_EQ(console.take(), "The FPU Control Word has been corrupted.\n");
    }
}

TEST_P(C17TransformTest, CompatibleOnlyWithItsOwnRecord) {
    const C17Transform t = transform({8, 3, 9, 5, 8, 8}), same = transform({8, 3, 9, 5, 8, 8}),
                       other = transform({8, 3, 10, 6, 4, 6});
    EXPECT_TRUE(t.compatible(same));
    EXPECT_FALSE(t.compatible(other));
}

TEST(C17AlgorithmTest, SizesAreWhatTransformsNeed) {
    u64 data = 0, scratch = 0;
    for (u64 words = 3265; words < 3000000; words += words / 7) {
        const MultiplySizes s = c17_algorithm().sizes(words);
        TransformHolder holder;
        c17_algorithm().make_transform(holder, words, {serial_context(), {}});
        EXPECT_GE(holder->convolution_words(), words);
        EXPECT_GE(s.transform_data, holder->data_bytes());
        EXPECT_GE(s.transform_scratch, holder->scratch_bytes());
        EXPECT_GE(s.scratch, holder->plain_bytes());
        EXPECT_LE(holder->plain_bytes(), 2 * holder->data_bytes() + holder->scratch_bytes());
        EXPECT_GE(s.transform_data, data);
        EXPECT_GE(s.scratch, scratch);
        data = s.transform_data;
        scratch = s.scratch;
    }
    EXPECT_GT(c17_algorithm().sizes(0x1440000000000 / 64).scratch, u64(1) << 44);
    EXPECT_THROW(c17_algorithm().sizes(0x1440000000000 / 64 + 1), LimitExceededException);
}

// A plan for fewer primes leaves too little room for what the kernels of the record write.
TEST(C17SetupTest, PlanOfAnotherRecordIsRefused) {
    for (const Isa isa : available_isas()) {
        const NttRecord small{7, 1, 10, 0, 0, 0}, large{11, 1, 10, 0, 0, 0};
        (void)make_c17_setup(isa, large, make_c17_plan(large, 2));
        try {
            (void)make_c17_setup(isa, large, make_c17_plan(small, 2));
            FAIL();
        } catch (const AlgorithmFailedException& e) {
            EXPECT_EQ(e.function, "CarryBufferB()");
            EXPECT_EQ(e.message, "CarryBufferB(): memory_k < carry_k");
        }
    }
    check_carry_buffer(30, 30);
    EXPECT_THROW(check_carry_buffer(29, 30), AlgorithmFailedException);
}

TEST(C17AlgorithmTest, OtherFamiliesAreAnInvalidMode) {
    const C17Setup& setup = c17_setup(active_isa(), {7, 1, 10, 0, 0, 0});
    for (const NttFamily family : {NttFamily::n32, NttFamily::n64, static_cast<NttFamily>(9)}) {
        const auto expect = [](const char* function, auto&& make) {
            try {
                make();
                FAIL() << function;
            } catch (const InvalidParametersException& e) {
                EXPECT_EQ(e.function, function);
                EXPECT_EQ(e.message, "Invalid Mode");
            }
        };
        expect("C17Algorithm::C17Algorithm()", [&] { C17Algorithm algorithm(family); });
        expect("C17Transform::C17Transform()", [&] { C17Transform transform(setup, family); });
    }
}

using C17PlanDeathTest = testing::Test;
TEST(C17PlanDeathTest, HintsOutOfRangeEndTheProcess) {
    for (const NttRecord& r : {NttRecord{10, 5, 9, 4, 4, 6}, NttRecord{10, 5, 9, 5, 12, 6},
                               NttRecord{10, 5, 9, 5, 4, 12}, NttRecord{6, 5, 9, 0, 0, 0}}) {
        const auto make = [&] {
            print_to_stderr();
            make_c17_plan(r, 4);
        };
        std::string parameters;
        for (const u32 x : {r.a, r.b, r.c, r.d, r.e, r.f}) parameters += std::to_string(x) + " ";
        EXPECT_EXIT(make(), testing::ExitedWithCode(1),
                    "Invalid Function Parameters:   make_c17_plan\\(\\)\n\n" + parameters);
    }
}

}  // namespace
