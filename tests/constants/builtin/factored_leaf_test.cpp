// Leaves that leave out the primes that R and Q share, against the sums as they are.
#include "constants/builtin/factored_leaf.h"

#include <gtest/gtest.h>

#include <random>

#include "arith/estimate/double_double.h"
#include "constants/bsr/block_run.h"
#include "constants/builtin/row_series.h"
#include "reference/mpz_words.h"
#include "reference/series_definitions.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using reference::SeriesDefinition;
using trel::ExactFloat;
using trel::u64;
using trel::Word;
using Family = CommonP2B3::Family;

namespace {

struct Case {
    const BuiltInSeries* row;
    SeriesDefinition definition;
};

std::vector<Case> cases() {
    std::vector<Case> list;
    const auto add = [&](std::span<const BuiltInSeries> rows,
                         const std::vector<SeriesDefinition>& definitions) {
        for (u64 i = 0; i < rows.size(); i++) list.push_back({&rows[i], definitions[i]});
    };
    add(pi_series(), reference::pi_definitions());
    add(zeta3_series(), reference::zeta3_definitions());
    add(catalan_series(), reference::catalan_definitions());
    return list;
}

// The numbers of a leaf in buffers of the planned sizes, with guards.
struct Leaf {
    Leaf(const RowSeries& series, u64 a, u64 b, bool edge = false)
        : words(Family::capacities(series, a, b)),
          memory(8 * (words[0] + words[1] + words[2])),
          scratch(trel::round_up_64(8 * series.leaf_scratch_words(a, b))) {
        Word* at = memory.words();
        for (int i = 0; i < 3; at += words[i++]) numbers[i] = ExactFloat(at, words[i]);
        series.leaf(a, b, numbers[0], numbers[1], numbers[2], edge, scratch.words(), trel::serial_context());
    }
    bool guards_intact() const { return memory.guards_intact() && scratch.guards_intact(); }
    mpz_class value(int i) const {
        mpz_class z = reference::to_mpz(numbers[i].T, numbers[i].L);
        z <<= static_cast<mp_bitcnt_t>(64 * numbers[i].exp);
        return z;
    }

    std::array<u64, 3> words;
    Scratch memory, scratch;
    ExactFloat numbers[3];
};

// All three numbers are those of the range, divided by one and the same integer; sizes are within what plans
// are told.
void expect_leaf(const Case& c, u64 precision, u64 a, u64 b) {
    SCOPED_TRACE(testing::Message() << c.row->name << " " << a << " + " << b - a);
    const RowSeries series(*c.row, precision);
    ASSERT_LT(b - a, series.leaf_threshold());
    const Leaf leaf(series, a, b);
    ASSERT_TRUE(leaf.guards_intact());
    const auto want = c.definition.sum(a, b);
    const mpz_class Q = leaf.value(1);
    ASSERT_NE(Q, 0);
    const mpz_class g = want.Q / Q;
    ASSERT_GT(g, 1);
    ASSERT_EQ(mpz_class(Q * g), want.Q);
    ASSERT_EQ(mpz_class(leaf.value(0) * g), want.P);
    ASSERT_EQ(mpz_class(leaf.value(2) * g), want.R);
    for (const ExactFloat& A : leaf.numbers) ASSERT_EQ(A.residue, A.computed_residue());

    ASSERT_GE(SeriesDefinition::ln(g), series.saved(a, b));
    ASSERT_GE(series.log_size_P(a, b), SeriesDefinition::ln(leaf.value(0)));
    ASSERT_GE(series.log_size_Q(a, b), SeriesDefinition::ln(Q));
    ASSERT_GE(series.log_size_R(a, b), SeriesDefinition::ln(leaf.value(2)));

    const Leaf edge(series, a, b, true);
    ASSERT_TRUE(edge.guards_intact());
    ASSERT_EQ(edge.value(0), leaf.value(0));
    ASSERT_EQ(edge.value(1), Q);
    ASSERT_EQ(edge.numbers[2].L, 0u);
}

constexpr u64 kPrecision = 519054;
// The last terms of 10^15 digits.
constexpr u64 kFarPrecision = 51905126036840;

TEST(FactoredLeafTest, AroundEveryBlockAndLevel) {
    for (const Case& c : cases()) {
        for (const u64 n : {256, 257, 287, 288, 289, 319, 511, 512, 513, 1023, 1024, 1025, 1055}) {
            for (const u64 a : {u64(0), u64(1), 17 * n + 3, 1700000 + n}) {
                expect_leaf(c, kPrecision, a, a + n);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(FactoredLeafTest, LongLeaves) {
    for (const Case& c : cases()) {
        for (const u64 n : {1638, 2047, 2048, 2049, 3000, 4064, 4065, 4095}) {
            if (n % kalvor_test::thinned(3) != 0 && n != 4095) continue;
            expect_leaf(c, kPrecision, n % 2 == 0 ? 0 : 1700000, (n % 2 == 0 ? 0 : 1700000) + n);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(FactoredLeafTest, RandomRanges) {
    std::mt19937_64 random(31);
    for (const Case& c : cases()) {
        for (u64 i = 0; i < 24 / kalvor_test::thinned(4); i++) {
            const u64 n = FactoredLeaf::kFewestTerms + random() % 700;
            const u64 a = random() >> (24 + random() % 39);
            expect_leaf(c, a > 1000000 ? kFarPrecision : kPrecision, a, a + n);
            if (HasFatalFailure()) return;
        }
    }
}

// Products of linear factors fill more words there than today's terms do.
TEST(FactoredLeafTest, FarOut) {
    for (const Case& c : cases()) {
        const u64 last = std::min(RowSeries(*c.row, kFarPrecision).terms(), (u64(1) << 52) - 4200);
        for (const u64 a : {(u64(1) << 32) - 100, (u64(1) << 40) - 5, (u64(1) << 40) + 77, last - 4200}) {
            expect_leaf(c, kFarPrecision, a, a + 300);
            if (HasFatalFailure()) return;
        }
        expect_leaf(c, kFarPrecision, last - 4200, last - 4200 + 4095);
        if (HasFatalFailure()) return;
    }
}

// The shortest series with the term b: what is planned by its last term is least.
u64 precision_up_to(const BuiltInSeries& row, u64 b) {
    const double gain = trel::DoubleDouble::parse(row.gain).high;
    u64 p = static_cast<u64>(static_cast<double>(b) * gain / trel::dd::ln2_64().high);
    while (built_in_terms(row.gain, p) < b) p++;
    return p;
}

// Where two factors, or three, just do not fit in a word, and where terms are products of small primes for
// the most part: the words of a block are as many as they can be.
TEST(FactoredLeafTest, WorstIndices) {
    std::vector<u64> starts;
    for (const u64 slope : {1, 2, 3, 4, 6, 8}) {
        starts.push_back((u64(1) << 32) / slope + 1);
        starts.push_back(2642246 / slope);
    }
    // Multiples of 2^12 3^6 5^4 7^3 11 13, and of the primes to 41.
    constexpr u64 kPowers = u64(4096) * 729 * 625 * 343 * 143, kPrimes = 304250263527210;
    for (const u64 smooth : {kPowers, kPrimes}) {
        for (const u64 before : {1, 20, 150}) starts.push_back(smooth - before);
    }
    u64 n = FactoredLeaf::kFewestTerms, first = 0;
    for (const Case& c : cases()) {
        for (u64 i = first++ % 3; i < starts.size(); i += 3 * kalvor_test::thinned(3)) {
            const u64 a = starts[i], b = a + n;
            expect_leaf(c, precision_up_to(*c.row, b), a, b);
            if (HasFatalFailure()) return;
            n = n < 300 ? n + 7 : FactoredLeaf::kFewestTerms;
        }
    }
}

// The longest leaf of a short series is the series.
TEST(FactoredLeafTest, AroundTheThreshold) {
    for (const Case& c : cases()) {
        for (u64 p = 1, seen = 0; seen < 12; p++) {
            const RowSeries series(*c.row, p);
            const u64 N = series.terms();
            if (series.leaf_threshold() == c.row->leaf_threshold) continue;
            ASSERT_EQ(series.leaf_threshold(), N + 1);
            for (u64 n = N - std::min<u64>(seen, N - FactoredLeaf::kFewestTerms); n <= N; n++)
                expect_leaf(c, p, N - n, N);
            if (HasFatalFailure()) return;
            const Leaf plain(series, 1, FactoredLeaf::kFewestTerms);
            EXPECT_TRUE(plain.guards_intact());
            seen += 5;
        }
    }
}

// What a run of a range takes, by its own splits: a walk into both halves of each.
u64 walked(const BSR_BlockB<Family>& plan, u64 a, u64 b, bool longest_leaves) {
    const auto& series = plan.series();
    if (b - a < series.leaf_threshold())
        return trel::round_up_8(longest_leaves ? series.most_leaf_words() : series.leaf_scratch_words(a, b));
    const u64 m = plan.split(a, b);
    const u64 left = total_words(plan.capacities(a, m)), right = total_words(plan.capacities(m, b));
    const Needs merge = Family::merge_needs(
        {plan.capacities(a, m), plan.capacities(m, b), Family::capacities(series, a, b), 0});
    const u64 first = walked(plan, a, m, longest_leaves), second = walked(plan, m, b, longest_leaves);
    return left + std::max({first, right + second, right + merge.bytes / sizeof(Word)});
}

// Leaves of some thousand terms are a level of the plan: it covers them wherever they end, with little above.
TEST(FactoredLeafTest, PlansCoverRangesOfLeaves) {
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, kPrecision);
        const auto expect = [&](u64 a, u64 n) {
            const BSR_BlockB<Family> plan(series, {a, a + n, kPrecision, kPrecision}, false, true, 1, 0);
            SCOPED_TRACE(testing::Message() << c.row->name << " " << a << " + " << n);
            ASSERT_GE(plan.needs().bytes, sizeof(Word) * walked(plan, a, a + n, false));
            const u64 most = sizeof(Word) * walked(plan, a, a + n, true);
            ASSERT_GE(plan.needs().bytes, most);
            ASSERT_LE(plan.needs().bytes, most + most / 8);
        };
        for (u64 n = 4000; n < 40000; n += n < 4100 ? 1 : n / 9) {
            for (const u64 a : {u64(0), u64(1), n / 3, 10 * n, 900000 + n}) {
                expect(a, n);
                expect(a, 2 * n);
                if (HasFatalFailure()) return;
            }
        }
    }
}

// A leaf of 4095 terms at ten million digits.
TEST(FactoredLeafTest, LeavesTakeLittleMemory) {
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, kPrecision);
        const u64 N = series.terms(), numbers = total_words(Family::capacities(series, N - 4095, N));
        EXPECT_LE(series.most_leaf_words(), 12 * numbers) << c.row->name;
        EXPECT_EQ(series.most_leaf_words(), series.leaf_scratch_words(0, 4095));
    }
}

// Ranges of a few hundred terms stay as they are, and so do short series.
// The numbers of a leaf would lack them, and every run would end as if memory was damaged.
TEST(FactoredLeafTest, ConstantsWithPrimesThatAreNotSievedAreRefused) {
    const BuiltInSeries& row = pi_series()[0];
    const FactoredLeaf whole(row.factored_Q, row.factored_R, 10000, {row.words_P, row.words_Q, row.words_R});
    for (const trel::Word constant : {trel::Word(2053), trel::Word(2048 * 2053), trel::Word(0)}) {
        FactoredNumber Q = row.factored_Q, R = row.factored_R;
        (constant % 2 == 0 ? Q : R).constant = constant;
        EXPECT_THROW(FactoredLeaf(Q, R, 10000, {row.words_P, row.words_Q, row.words_R}),
                     trel::InvalidParametersException);
    }
    FactoredNumber Q = row.factored_Q;
    Q.constant = 2039 * 2039;
    const FactoredLeaf largest(Q, row.factored_R, 10000, {row.words_P, row.words_Q, row.words_R});
}

TEST(FactoredLeafTest, ShortRangesAreWhole) {
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, kPrecision);
        EXPECT_EQ(series.leaf_threshold(), FactoredLeaf::kTerms);
        const Leaf leaf(series, 5, 5 + FactoredLeaf::kFewestTerms - 1);
        EXPECT_TRUE(leaf.guards_intact());
        const auto want = c.definition.sum(5, 5 + FactoredLeaf::kFewestTerms - 1);
        EXPECT_EQ(leaf.value(0), want.P);
        EXPECT_EQ(leaf.value(1), want.Q);
        EXPECT_EQ(leaf.value(2), want.R);
        EXPECT_EQ(RowSeries(*c.row, 5).leaf_threshold(), c.row->leaf_threshold);
    }
}

// Halves of long ranges are leaves of no fewer terms than the bounds of their sizes count with.
TEST(FactoredLeafTest, LeavesOfLongRangesAreLong) {
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, kPrecision);
        u64 shortest = FactoredLeaf::kTerms;
        const auto walk = [&](const auto& self, u64 a, u64 b) -> void {
            if (b - a < series.leaf_threshold()) {
                shortest = std::min(shortest, b - a);
                return;
            }
            const u64 m = series.split(a, b);
            self(self, a, m);
            self(self, m, b);
        };
        for (u64 n = 4096; n < 20000; n += 61) walk(walk, 0, n);
        for (u64 n = 4096; n < 20000; n += 611) walk(walk, n, 2 * n);
        walk(walk, 0, series.terms());
        EXPECT_GE(shortest, 1638u) << c.row->name;
    }
}

// Changes a bit at the chosen stages of one name, and counts them.
class Flips final : public trel::ComputationStages {
  public:
    explicit Flips(std::string name, u64 at = ~u64(0), u64 place = 0)
        : name_(std::move(name)), at_(at), place_(place) {}
    void at(const char* stage, void* memory, u64 bytes) override {
        if (stage != name_ || bytes == 0 || count++ != at_) return;
        const u64 bit = place_ % (8 * bytes);
        static_cast<trel::u8*>(memory)[bit / 8] ^= static_cast<trel::u8>(1u << bit % 8);
    }
    u64 count = 0;

  private:
    const std::string name_;
    const u64 at_, place_;
};

// P, Q and R of a block of leaves and merges.
std::vector<mpz_class> run_block(const RowSeries& series, u64 a, u64 b, Flips& flips, u64& corrected) {
    const BSR_BlockB<Family> plan(series, {a, b, 100000, 100000}, false, true, 1);
    Scratch results(total_words(plan.capacities()) * sizeof(Word)), stack(plan.needs().bytes);
    trel::AlignedBufferC memory = results.view();
    auto range = carve_range<ExactFloat>(memory, plan.capacities());
    trel::RunMonitor monitor;
    monitor.stages = &flips;
    BlockRun<Family>(plan).run({{thread_framework(), 1, &monitor}, stack.view(), nullptr},
                               trel::null_status(), range);
    corrected = monitor.checks.corrected;
    std::vector<mpz_class> numbers;
    for (const ExactFloat& A : range) {
        mpz_class z = reference::to_mpz(A.T, A.L);
        z <<= static_cast<mp_bitcnt_t>(64 * A.exp);
        numbers.push_back(z);
    }
    return numbers;
}

// One bit changed in each number of a leaf's result, of a merge's and of a block's, and in each part of what
// the sieve of a leaf leaves: the range is done again and comes out right. Of the sieve's parts a good deal
// is room that was not filled; the terms' rests, the first part, are full.
constexpr u64 kPartsOfASieve = 9;  // rests; of Q and of R: words, their levels, counts, words that are open
TEST(FactoredLeafTest, FaultsAreFound) {
    std::mt19937_64 random(32);
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, kPrecision);
        for (const u64 n : {u64(600), u64(9001)}) {
            if (n > 600 && c.row != &zeta3_series()[0] && c.row != &catalan_series()[0]) continue;
            for (const std::string name : {"sieve", "piece", "range", "rest"}) {
                Flips none(name);
                u64 corrected = 0;
                const auto right = run_block(series, 5000, 5000 + n, none, corrected);
                ASSERT_EQ(corrected, 0u);
                ASSERT_GE(none.count, 3u) << name;
                const auto want = c.definition.sum(5000, 5600);
                if (n == 600) {
                    ASSERT_EQ(mpz_class(right[0] * want.Q), mpz_class(want.P * right[1]));
                }
                const u64 rounds = name == "sieve" && n == 600 ? 6 / kalvor_test::thinned(3) : 1;
                u64 found = 0;
                for (u64 i = 0; i < rounds * none.count; i++) {
                    const u64 at = i % none.count;
                    SCOPED_TRACE(testing::Message() << c.row->name << " " << n << " " << name << " " << at);
                    Flips flip(name, at, random());
                    EXPECT_EQ(run_block(series, 5000, 5000 + n, flip, corrected), right);
                    if (name != "sieve" || at % kPartsOfASieve == 0) {
                        EXPECT_EQ(corrected, 1u);
                    }
                    found += corrected;
                }
                EXPECT_GE(kPartsOfASieve * found, rounds * none.count) << name;
            }
        }
    }
}

}  // namespace
