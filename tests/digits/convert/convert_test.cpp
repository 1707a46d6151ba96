#include "digits/convert/convert.h"

#include <gtest/gtest.h>

#include <random>

#include "base/errors/exceptions.h"
#include "digits/convert/direct_convert.h"
#include "digits/convert/overlap.h"
#include "platform/parallel/spawn_framework.h"
#include "reference/radix_reference.h"
#include "reference/words.h"
#include "support/capture_console.h"
#include "support/monitored_run.h"
#include "support/scratch.h"

namespace kalvor::CBRv2 {
namespace {

constexpr Word kTop = kRadix19 - 1;

// Runs a conversion in memory of exactly the planned size. F / 2^(64 L), L = F.size().
std::vector<Word> run(const ConvertPlanP& plan, const std::vector<Word>& F, u64 tds,
                      const ConvertOptions& options = {}) {
    Scratch memory(plan.needs().bytes);
    Scratch out(trel::round_up_64(8 * plan.n));
    std::vector<Word> words = F;
    BigFloat x(words.data(), words.size());
    x.L = words.size();
    x.exp = -static_cast<i64>(words.size());
    x.sign = true;
    while (x.L > 0 && x.T[x.L - 1] == 0) x.L--;
    trel::MonitoredRun monitored;
    const MultiplyContext context{monitored.context().with_tds(tds), memory.view(), nullptr};
    convert(plan, context, trel::null_status(), out.words(), x, options);
    EXPECT_TRUE(memory.guards_intact()) << "n=" << plan.n << " tds=" << tds;
    EXPECT_TRUE(out.guards_intact()) << "n=" << plan.n << " tds=" << tds;
    EXPECT_EQ(words, F);
    return {out.words(), out.words() + plan.n};
}

std::vector<Word> run(u64 n, const std::vector<Word>& F, u64 tds = 1) {
    return run(ConvertPlanP::make(kRadix19, n, kNoBudget, tds), F, tds);
}

// The same with its outcome: the words, or the text of the overlap fault.
struct Outcome {
    std::vector<Word> words;
    std::string fault;
    bool operator==(const Outcome&) const = default;
};

Outcome converted(u64 n, const std::vector<Word>& F) {
    try {
        return {run(n, F), ""};
    } catch (const trel::AlgorithmFailedException& e) {
        return {{}, e.message};
    }
}

Outcome modelled(u64 n, const std::vector<Word>& F) {
    reference::RadixModel model(n);
    try {
        return {model.run(reference::to_mpz(F), F.size(), n), ""};
    } catch (const reference::RadixModel::Mismatch& e) {
        u64 H, expected, actual;
        EXPECT_EQ(std::sscanf(e.what(), "%llu %llu %llu", &H, &expected, &actual), 3);
        return {{},
                "Overlap Mismatch:\n    RL = " + std::to_string(H) + "\n    Expected = " +
                    std::to_string(expected) + "\n    Actual   = " + std::to_string(actual)};
    }
}

std::vector<Word> random_fraction(u64 L, u64 seed) {
    std::mt19937_64 rng(seed);
    std::vector<Word> F(L);
    for (Word& w : F) w = rng();
    return F;
}

// floor(2^(64 L) numerator / denominator) + extra
std::vector<Word> ratio(u64 L, const mpz_class& numerator, const mpz_class& denominator, int extra = 0) {
    return reference::to_words(reference::shifted(numerator, static_cast<i64>(L)) / denominator + extra, L);
}

std::vector<u64> all_sizes() {
    std::vector<u64> sizes;
    for (u64 n = 1; n <= 200; n++) sizes.push_back(n);
    for (const u64 n : {255, 256, 257, 400, 1000, 1920, 2047}) sizes.push_back(n);
    return sizes;
}

TEST(ConvertTest, RandomFractionsGiveTheFloor) {
    for (const u64 n : all_sizes()) {
        const u64 L = reference::RadixModel::need(n) + n % 3;
        const std::vector<Word> F = random_fraction(L, n);
        ASSERT_EQ(run(n, F), reference::radix_floor(reference::to_mpz(F), L, n)) << "n=" << n;
    }
}

// A fraction with fewer words than the digits need is a decimal of 64 L digits.
TEST(ConvertTest, ShortFractions) {
    CaptureConsole console;
    for (const u64 n : all_sizes()) {
        for (const u64 L : {u64(0), u64(1), u64(2), n / 3 + 1, n / 2 + 1, 3 * n / 4 + 1}) {
            const std::vector<Word> F = random_fraction(L, n + L);
            const Outcome got = converted(n, F);
            ASSERT_EQ(got, modelled(n, F)) << "n=" << n << " L=" << L;
            ASSERT_EQ(got.fault, "") << "n=" << n << " L=" << L;
            ASSERT_EQ(got.words, reference::radix_floor(reference::to_mpz(F), L, n))
                << "n=" << n << " L=" << L;
        }
    }
}

TEST(ConvertTest, SimpleValues) {
    CaptureConsole console;
    for (const u64 n : all_sizes()) {
        const u64 L = reference::RadixModel::need(n);
        ASSERT_EQ(run(n, std::vector<Word>(L, 0)), std::vector<Word>(n, 0));
        std::vector<Word> half(L, 0);
        half[L - 1] = Word(1) << 63;
        std::vector<Word> want(n, 0);
        want[n - 1] = kRadix19 / 2;
        ASSERT_EQ(run(n, half), want);
        ASSERT_EQ(run(n, ratio(L, 1, 3)), std::vector<Word>(n, 3333333333333333333ULL));
        // 1 - 2^(-64 L): all nines, because L words say more than n radix words
        ASSERT_EQ(run(n, std::vector<Word>(L, ~Word(0))), std::vector<Word>(n, kTop)) << n;
        // 0.1 rounded down is 0.1, unless it lies farther below than the digits reach
        std::vector<Word> tenth(n, 0);
        tenth[n - 1] = kRadix19 / 10;
        ASSERT_EQ(run(n, ratio(L, 1, 10)), tenth) << n;
        std::vector<Word> down(n, kTop);
        down[n - 1] = kRadix19 / 10 - 1;
        down[0]--;
        mpz_class unit;
        mpz_ui_pow_ui(unit.get_mpz_t(), 10, 19 * n);
        ASSERT_EQ(run(n, ratio(L, unit / 10 - 2, unit, 1)), down) << n;
        // the smallest fraction
        std::vector<Word> tiny(L, 0);
        tiny[0] = 1;
        ASSERT_EQ(run(n, tiny), std::vector<Word>(n, 0));
    }
}

// 0.1 rounded up: the upper parts come out as 0999..., the lower ones as 000..., and the correction makes
// 1000...
TEST(ConvertTest, AdditiveCorrectionAtASplit) {
    for (const u64 n : all_sizes()) {
        if (n < 16) continue;
        CaptureConsole console;
        const u64 L = reference::RadixModel::need(n);
        std::vector<Word> want(n, 0);
        want[n - 1] = kRadix19 / 10;
        ASSERT_EQ(run(n, ratio(L, 1, 10, 1)), want) << n;
        ASSERT_NE(console.text().find("Performing additive correction...\n"), std::string::npos) << n;
    }
}

// Everything beside terminating decimals, where a unit in the last word decides about all digits: the same
// words as the scheme in exact integers, and the same faults where the last nonzero digit lies in an overlap
// word.
TEST(ConvertTest, BesideTerminatingDecimals) {
    CaptureConsole console;
    std::mt19937_64 rng(5);
    gmp_randclass random(gmp_randinit_mt);
    random.seed(5);
    u64 faults = 0, rounded = 0;
    for (u64 n = 1; n <= 130; n++) {
        const u64 L = reference::RadixModel::need(n) + rng() % 2;
        for (int trial = 0; trial < 8; trial++) {
            const u64 digits = 1 + rng() % (19 * n + 18);
            mpz_class unit, numerator;
            mpz_ui_pow_ui(unit.get_mpz_t(), 10, digits);
            numerator = trial % 2 == 0 ? random.get_z_range(unit) : reference::mpz_of(rng() % 9 + 1);
            if (numerator >= unit) continue;
            const std::vector<Word> F = ratio(L, numerator, unit, static_cast<int>(rng() % 4) - 1);
            if (reference::to_mpz(F) < 0) continue;
            const Outcome want = modelled(n, F);
            ASSERT_EQ(converted(n, F), want) << "n=" << n << " digits=" << digits << " trial=" << trial;
            if (!want.fault.empty()) {
                faults++;
                continue;
            }
            // The floor, or one unit above it where the value nearly reaches the next one.
            const auto floor = reference::radix_floor(reference::to_mpz(F), L, n);
            if (floor == want.words) continue;
            std::vector<Word> next = floor;
            add1(trel::serial_context(), kRadix19, next.data(), n);
            ASSERT_EQ(next, want.words);
            ASSERT_GE(reference::radix_floor(reference::to_mpz(F), L, n + 1)[0], kTop - 9);
            rounded++;
        }
    }
    EXPECT_GT(rounded, 100u);
    EXPECT_EQ(faults, 0u);
}

// 10^-k as a division leaves it, to the precision that `digits` digits are computed with, above the decimal
// or (`below`) cut: `digits` digits are right and the conversion verifies. The value is converted and
// verified like any other.
void expect_power_of_ten(u64 k, u64 digits, u64 extra_words, bool below) {
    mpz_class ten, want;
    mpz_ui_pow_ui(ten.get_mpz_t(), 10, k);
    mpz_ui_pow_ui(want.get_mpz_t(), 10, digits - k);
    const u64 leading_zeros = (mpz_sizeinbase(ten.get_mpz_t(), 2) - 1) / 64;
    const u64 L = digits * 83049 / 100000 / 16 + extra_words + leading_zeros;
    std::vector<Word> words = ratio(L, 1, ten, below ? 0 : 1);
    BigFloat x(words.data(), words.size());
    x.L = words.size() - leading_zeros;
    x.exp = -static_cast<i64>(L);
    x.sign = true;

    const u64 n = radix_words(digits), verified = (digits + kDigitsPerWord - 1) / kDigitsPerWord;
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
    Scratch memory(trel::round_up_64(std::max(plan.needs().bytes, VerifyB::needs(n, verified, 1).bytes)));
    const MultiplyContext context{trel::serial_context(), memory.view(), nullptr};
    std::vector<Word> out(n);
    const std::string what = "k=" + std::to_string(k) + " digits=" + std::to_string(digits) +
                             " extra=" + std::to_string(extra_words) + " below=" + std::to_string(below);
    CaptureConsole console;
    ASSERT_NO_THROW(convert(plan, context, trel::null_status(), out.data(), x)) << what;
    ASSERT_NO_THROW(VerifyB::run(context, trel::null_status(), out.data(), n, verified, x)) << what;
    mpz_class got = 0, guard;
    for (u64 i = n; i-- > 0;) got = got * reference::mpz_of(kRadix19) + reference::mpz_of(out[i]);
    mpz_ui_pow_ui(guard.get_mpz_t(), 10, kDigitsPerWord * n - digits);
    got /= guard;
    ASSERT_EQ(got, want) << what;
}

TEST(ConvertTest, PowersOfTenAtAllDigitCounts) {
    for (const u64 k : {1, 18, 19, 20, 38, 39, 40, 57, 58, 152, 153, 171})
        for (u64 digits = std::max<u64>(k, 20); digits <= k + 420; digits++) {
            expect_power_of_ten(k, digits, 3 + digits % 5, false);
            if (HasFatalFailure()) return;
        }
}

TEST(ConvertTest, PowersOfTenDownToAThousand) {
    for (u64 k = 1; k <= 1000; k++)
        for (u64 digits = std::max<u64>(k, 20); digits <= 1100; digits += 1 + (61 * k + digits) % 300)
            for (const u64 extra : {2, 3, 5, 9}) {
                expect_power_of_ten(k, digits, extra, false);
                if (extra == 9) expect_power_of_ten(k, digits, extra, true);
                if (HasFatalFailure()) return;
            }
}

TEST(SlowConvertTest, PowersOfTenDownToAThousand) {
    for (u64 k = 1; k <= 1000; k++)
        for (u64 digits = std::max<u64>(k, 20); digits <= 1400; digits += 1 + k % 3) {
            expect_power_of_ten(k, digits, 2 + (k + digits) % 7, false);
            if (HasFatalFailure()) return;
        }
}

TEST(ConvertTest, TaskCountsGiveTheSameWords) {
    // Plans of up to 8 levels are serial by themselves; the conversion may still be asked to run in fewer
    // tasks.
    for (const u64 n : {u64(20), u64(100), u64(1000), u64(4500)}) {
        const std::vector<Word> F = random_fraction(reference::RadixModel::need(n), n);
        const std::vector<Word> want = run(n, F);
        EXPECT_EQ(want, reference::radix_floor(reference::to_mpz(F), F.size(), n));
        for (const u64 tds : {2, 7, 64}) EXPECT_EQ(run(n, F, tds), want) << n << " " << tds;
    }
}

// The same on threads of their own.
TEST(ConvertTest, Threads) {
    const std::unique_ptr<trel::BasicParallelizer> spawn = trel::SpawnConfig().make_framework();
    const u64 n = 9 << 9;
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 2);
    ASSERT_EQ(plan.tds, 2u);
    std::vector<Word> words = random_fraction(plan.length(n), n), out(n);
    BigFloat x(words.data(), words.size());
    x.L = words.size();
    x.exp = -static_cast<i64>(words.size());
    Scratch memory(plan.needs().bytes);
    convert(plan, {{spawn.get(), 7}, memory.view(), nullptr}, trel::null_status(), out.data(), x);
    EXPECT_TRUE(memory.guards_intact());
    EXPECT_EQ(out, run(n, words));
}

// Splits near the top whose halves run one after the other, above ones that fork; in exactly the planned
// memory.
TEST(ConvertTest, ForksBelowTheTop) {
    const u64 n = 200000;
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 64);
    ASSERT_FALSE(plan.forks(plan.levels - 1, plan.tds));
    ASSERT_TRUE(plan.forks(plan.forks_below - 1, plan.tds));
    const std::vector<Word> F = random_fraction(plan.length(n), n);
    EXPECT_EQ(run(plan, F, plan.tds), run(n, F));
}

TEST(ConvertTest, PlanTasks) {
    EXPECT_EQ(ConvertPlanP::make(kRadix19, 9 << 9, kNoBudget, 64).tds, 2u);   // 9 levels
    EXPECT_EQ(ConvertPlanP::make(kRadix19, 9 << 10, kNoBudget, 64).tds, 4u);  // 10 levels
    EXPECT_EQ(ConvertPlanP::make(kRadix19, 9 << 10, kNoBudget, 3).tds, 3u);
    EXPECT_EQ(ConvertPlanP::make(kRadix19, 9 << 10, kNoBudget, 1).tds, 1u);
    EXPECT_EQ(ConvertPlanP::make(kRadix19, 9 << 8, kNoBudget, 64).tds, 1u);
    const ConvertPlanP twenty = ConvertPlanP::make(kRadix19, 9 << 20, kNoBudget, 64);
    EXPECT_EQ(twenty.levels, 20u);
    EXPECT_EQ(twenty.tds, 64u);
    // tasks are counted from the levels that the budget leaves
    EXPECT_EQ(ConvertPlanP::make(kRadix19, 9 << 10, 0, 64).tds, 1u);
}

TEST(ConvertTest, TightBudgetDropsLevelsAndStillConverts) {
    for (const u64 n : {u64(300), u64(1000), u64(1999)}) {
        const ConvertPlanP full = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
        const std::vector<Word> F = random_fraction(full.length(n), n);
        const std::vector<Word> want = reference::radix_floor(reference::to_mpz(F), F.size(), n);
        // no memory at all drops as far as levels are dropped: to 4
        const ConvertPlanP least = ConvertPlanP::make(kRadix19, n, 0, 1);
        EXPECT_EQ(least.levels, 4u);
        EXPECT_EQ(least.b, full.b);
        EXPECT_EQ(run(least, F, 1), want) << n;
        const ConvertPlanP one = ConvertPlanP::make(kRadix19, n, full.needs().bytes + 8 * n - 1, 1);
        EXPECT_LT(one.levels, full.levels);
        EXPECT_EQ(run(one, F, 1), want) << n;
        EXPECT_EQ(ConvertPlanP::make(kRadix19, n, full.needs().bytes + 8 * n, 1).levels, full.levels);
    }
    // corrections across the pieces
    CaptureConsole console;
    const ConvertPlanP least = ConvertPlanP::make(kRadix19, 1000, 0, 1);
    std::vector<Word> want(1000, 0);
    want[999] = kRadix19 / 10;
    EXPECT_EQ(run(least, ratio(least.length(1000), 1, 10, 1), 1), want);
}

TEST(ConvertTest, OtherRadixes) {
    for (const Word radix : {Word(10), Word(2), Word(1000000007), Word(1) << 32, ~Word(0), kRadix19 - 1}) {
        for (const u64 n : {5, 40, 77}) {
            const ConvertPlanP plan = ConvertPlanP::make(radix, n, kNoBudget, 1);
            const std::vector<Word> F = random_fraction(plan.length(n) + 1, n);
            EXPECT_EQ(run(plan, F, 1), reference::radix_floor(reference::to_mpz(F), F.size(), n, radix))
                << radix;
        }
    }
}

// Where the overlap is right, the correction makes it one too large, which `function` refuses.
void expect_fault_of_a_false_correction(const ConvertPlanP& plan, u64 n, const char* function) {
    const u64 H = plan.level[plan.levels - 1].radix_words;
    const std::vector<Word> F = random_fraction(plan.length(n), 3);
    const std::vector<Word> right = reference::radix_floor(reference::to_mpz(F), F.size(), n);
    try {
        run(plan, F, 1, {.correction = true, .observer = nullptr});
        FAIL();
    } catch (const trel::AlgorithmFailedException& e) {
        EXPECT_EQ(e.function, function);
        const Word expected = right[n - H - 1];
        EXPECT_EQ(e.message, "Overlap Mismatch:\n    RL = " + std::to_string(H) +
                                 "\n    Expected = " + std::to_string(expected) +
                                 "\n    Actual   = " + std::to_string(expected + 1));
    }
}

// The correction flag stands for an overlap word known to be one too small.
TEST(ConvertTest, CorrectionFlag) {
    CaptureConsole console;
    const u64 n = 40;
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
    // Upper part 0999...9 with overlap R - 1, lower part zero: with the flag the overlap word becomes R,
    // which is the additive correction without an overlap mismatch.
    std::vector<Word> want(n, 0);
    want[n - 1] = kRadix19 / 10;
    EXPECT_EQ(run(plan, ratio(plan.length(n), 1, 10, 1), 1, {.correction = true, .observer = nullptr}), want);
    EXPECT_EQ(console.text().find("Overlap Mismatch"), std::string::npos);
    expect_fault_of_a_false_correction(plan, n, "CBRv2::convert_L()");
}

// The same where the whole range's upper part is the first piece of a plan with few levels.
TEST(ConvertTest, CorrectionFlagOfPieces) {
    CaptureConsole console;
    const u64 n = 1000;
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, 0, 1);
    ASSERT_GT(n, plan.top_words());
    std::vector<Word> want(n, 0);
    want[n - 1] = kRadix19 / 10;
    // 0.1 rounded up: every overlap of the first piece's range is R - 1 but the flag takes the last of them
    // for R
    EXPECT_EQ(run(plan, ratio(plan.length(n), 1, 10, 1), 1, {.correction = true, .observer = nullptr}), want);
    const std::string with_flag = console.text();
    CaptureConsole plain;
    EXPECT_EQ(run(plan, ratio(plan.length(n), 1, 10, 1), 1), want);
    const auto mismatches = [](const std::string& text) {
        u64 count = 0;
        for (u64 at = text.find("Overlap Mismatch"); at != std::string::npos;
             at = text.find("Overlap Mismatch", at + 1))
            count++;
        return count;
    };
    EXPECT_EQ(mismatches(plain.text()), mismatches(with_flag) + 1);
    expect_fault_of_a_false_correction(plan, n, "convertP()");
}

TEST(ConvertTest, LeafOfOneWord) {
    // 2^-64 * (2^63 + 12345) in one word: both multiplications exact
    const Word f = (Word(1) << 63) + 12345;
    Word word;
    const Word overlap = convert_leaf(kRadix19, &word, 1, {&f, 1, 1});
    const auto want = reference::radix_floor(reference::to_mpz(&f, 1), 1, 2);
    EXPECT_EQ(word, want[1]);
    EXPECT_EQ(overlap, want[0]);
}

TEST(ConvertTest, DirectConversionRefusesLongInputs) {
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, 10, kNoBudget, 1);
    std::vector<Word> F(plan.length(10) + 1, 1), out(10);
    (void)DirectConvertB::run(plan, trel::null_status(), out.data(), {F.data(), F.size() - 1, F.size() - 1});
    try {
        (void)DirectConvertB::run(plan, trel::null_status(), out.data(), {F.data(), F.size(), F.size()});
        FAIL();
    } catch (const trel::InvalidParametersException& e) {
        EXPECT_EQ(e.function, "DirectConvertB::run()");
        EXPECT_EQ(e.message, "Input size is too large for conversion plan.");
    }
    const ConvertPlanP split = ConvertPlanP::make(kRadix19, 16, kNoBudget, 1);
    EXPECT_THROW((void)DirectConvertB::run(split, trel::null_status(), out.data(), {}),
                 trel::InvalidParametersException);
}

TEST(ConvertTest, MemoryBelowThePlanIsRefused) {
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, 80, kNoBudget, 1);
    const std::vector<Word> F = random_fraction(plan.length(80), 1);
    Scratch memory(plan.needs().bytes - 64);
    std::vector<Word> words = F, out(80);
    BigFloat x(words.data(), words.size());
    x.L = words.size();
    x.exp = -static_cast<i64>(words.size());
    const MultiplyContext context{trel::serial_context(), memory.view(), nullptr};
    EXPECT_THROW(convert(plan, context, trel::null_status(), out.data(), x), trel::BufferTooSmallException);
    EXPECT_TRUE(memory.guards_intact());
}

TEST(ConvertTest, PlacesOfTheValue) {
    // integer part and fraction; a value far below one; an integer
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, 30, kNoBudget, 1);
    Scratch memory(plan.needs().bytes);
    const MultiplyContext context{trel::serial_context(), memory.view(), nullptr};
    std::vector<Word> words = random_fraction(20, 9), out(30);
    for (const i64 exp : {i64(-19), i64(-20), i64(-25), i64(-40), i64(0), i64(-1)}) {
        BigFloat x(words.data(), 20);
        x.L = 20;
        x.exp = exp;
        convert(plan, context, trel::null_status(), out.data(), x);
        const u64 L = exp < 0 ? static_cast<u64>(-exp) : 0;
        const mpz_class F = reference::low_words(reference::to_mpz(words), L);
        EXPECT_EQ(out, reference::radix_floor(F, L, 30)) << exp;
    }
}

// Asks the run to stop at a product.
class StopAtProduct final : public ConvertObserver {
  public:
    StopAtProduct(trel::RunMonitor& monitor, int at) : monitor_(monitor), at_(at) {}
    void product_done(u64, Word*, u64) override {
        if (++products == at_) monitor_.stop.request();
    }
    int products = 0;

  private:
    trel::RunMonitor& monitor_;
    const int at_;
};

// One task as well looks between two products.
TEST(ConvertTest, AStopEndsTheConversionAtTheNextProduct) {
    for (const u64 budget : {u64(kNoBudget), u64(0)}) {
        const u64 n = 1000;
        const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, budget, 1);
        std::vector<Word> words = random_fraction(plan.length(n), n), out(n);
        BigFloat x(words.data(), words.size());
        x.L = words.size();
        x.exp = -static_cast<i64>(words.size());
        const auto products_until = [&](int stop_at) {
            trel::RunMonitor monitor;
            StopAtProduct observer(monitor, stop_at);
            Scratch memory(plan.needs().bytes);
            const MultiplyContext context{
                {trel::serial_context().framework, 1, &monitor}, memory.view(), nullptr};
            try {
                convert(plan, context, trel::null_status(), out.data(), x,
                        {.correction = false, .observer = &observer});
                EXPECT_EQ(stop_at, 0);
            } catch (const trel::RunStopped&) {
                EXPECT_NE(stop_at, 0);
            }
            return observer.products;
        };
        const int all = products_until(0);
        ASSERT_GT(all, 20);
        for (const int at : {1, 5, all / 2}) EXPECT_EQ(products_until(at), at) << budget;
    }
}

// ---- faults

class Damage final : public ConvertObserver {
  public:
    enum What { power, transform, ready, product };
    Damage(What what, u64 level, u64 word, unsigned bit)
        : what_(what), level_(level), word_(word), bit_(bit) {}

    void power_stored(u64 level, Word* words, u64 n) override { hit(power, level, words, n); }
    void transform_stored(u64 level, void* data, u64 bytes) override {
        hit(transform, level, static_cast<Word*>(data), bytes / 8);
    }
    void table_ready(u64 level, void* data, u64 bytes) override {
        hit(ready, level, static_cast<Word*>(data), bytes / 8);
    }
    // The first word.
    void product_done(u64 level, Word* words, u64 n) override { hit(product, level, words + (n - 1), 1); }
    bool done = false;

  private:
    void hit(What what, u64 level, Word* words, u64 n) {
        if (done || what != what_ || level != level_) return;
        words[word_ % n] ^= Word(1) << bit_;
        done = true;
    }
    What what_;
    u64 level_, word_;
    unsigned bit_;
};

std::string fault_of(u64 n, Damage& damage) {
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
    const std::vector<Word> F = random_fraction(plan.length(n), n);
    CaptureConsole console;
    try {
        run(plan, F, 1, {.correction = false, .observer = &damage});
        return "";
    } catch (const trel::AlgorithmFailedException& e) {
        return e.function + " " + e.message;
    }
}

TEST(ConvertFaultTest, FlippedBitInAStoredPower) {
    for (u64 l = 0; l < 3; l++) {
        for (const unsigned bit : {0u, 17u, 63u}) {
            Damage damage(Damage::power, l, 2 + bit, bit);
            EXPECT_EQ(fault_of(80, damage), "CheckP() Power Hash Mismatch");
            EXPECT_TRUE(damage.done);
        }
    }
}

// The transform of a level is also the root of the next power.
TEST(ConvertFaultTest, FlippedBitInAStoredTransform) {
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, 80, kNoBudget, 1);
    const std::vector<Word> F = random_fraction(plan.length(80), 80);
    CaptureConsole console;
    const std::vector<Word> right = run(plan, F, 1, {});
    u64 found = 0;
    for (u64 l = 0; l < 2; l++) {
        for (u64 word = 0; word < 24; word++) {
            Damage damage(Damage::transform, l, word, 51);
            try {
                ASSERT_EQ(run(plan, F, 1, {.correction = false, .observer = &damage}), right);
            } catch (const trel::AlgorithmFailedException& e) {
                const auto begins = [&e](const char* text) { return e.message.find(text) == 0; };
                EXPECT_TRUE(begins("The product does not fit its operands: ") ||
                            begins("An operand was damaged in memory: ") || begins("Power Hash Mismatch"))
                    << e.message;
                found++;
            }
            EXPECT_TRUE(damage.done);
        }
    }
    EXPECT_GT(found, 8u);
}

TEST(ConvertFaultTest, FlippedBitInAProduct) {
    for (u64 l = 0; l < 3; l++) {
        for (const unsigned bit : {0u, 31u, 63u}) {
            // The first word of the lower fraction. What changes later words only is left to the
            // verification.
            Damage damage(Damage::product, l, 0, bit);
            EXPECT_EQ(fault_of(80, damage).find("CBRv2::convert_L() Overlap Mismatch:\n    RL = "), 0u);
            EXPECT_TRUE(damage.done);
        }
    }
}

// After the table's checks only the digits can tell: by an overlap, or by the verification of the whole.
TEST(ConvertFaultTest, DamagedReadyTransform) {
    for (const u64 n : {u64(80), u64(600)}) {
        for (const u64 level : {0, 1}) {
            const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
            std::vector<Word> words = random_fraction(plan.length(n), n), out(n);
            BigFloat x(words.data(), words.size());
            x.L = words.size();
            x.exp = -static_cast<i64>(words.size());
            Scratch memory(std::max(plan.needs().bytes, VerifyB::needs(n, n - 3, 1).bytes));
            const MultiplyContext context{trel::serial_context(), memory.view(), nullptr};
            Damage damage(Damage::ready, level, 11, 62);
            CaptureConsole console;
            try {
                convert(plan, context, trel::null_status(), out.data(), x,
                        {.correction = false, .observer = &damage});
                VerifyB::run(context, trel::null_status(), out.data(), n, n - 3, x);
                ADD_FAILURE() << n << " " << level;
            } catch (const trel::AlgorithmFailedException& e) {
                EXPECT_TRUE(e.message.find("Overlap Mismatch:") == 0 ||
                            e.message.find("The product does not fit its operands: ") == 0 ||
                            e.message == "Base Conversion Failed: Checksum Mismatch")
                    << e.message;
            }
            EXPECT_TRUE(damage.done);
        }
    }
}

// Flips a bit of one of the two words that are compared where ranges meet: of the first word of the lower
// range, which is one of the digits' words, or of the overlap word.
class DamageWhereRangesMeet final : public ConvertObserver {
  public:
    DamageWhereRangesMeet(u64 place, bool overlap, unsigned bit)
        : place_(place), overlap_(overlap), bit_(bit) {}
    void ranges_meet(Word& first, Word& overlap) override {
        if (places++ == place_) (overlap_ ? overlap : first) ^= Word(1) << bit_;
    }
    u64 places = 0;

  private:
    u64 place_;
    bool overlap_;
    unsigned bit_;
};

constexpr u64 kUnverified = 3;  // radix words at the end, as many as a run has

// The fault of a conversion and its verification; "" if there is none.
std::string fault_of(const ConvertPlanP& plan, const std::vector<Word>& F, ConvertObserver& damage,
                     std::vector<Word>& out) {
    std::vector<Word> words = F;
    BigFloat x(words.data(), words.size());
    x.L = words.size();
    x.exp = -static_cast<i64>(words.size());
    x.sign = true;
    while (x.L > 0 && x.T[x.L - 1] == 0) x.L--;
    const u64 verified = plan.n - kUnverified;
    Scratch memory(std::max(plan.needs().bytes, VerifyB::needs(plan.n, verified, 1).bytes));
    const MultiplyContext context{trel::serial_context(), memory.view(), nullptr};
    try {
        convert(plan, context, trel::null_status(), out.data(), x,
                {.correction = false, .observer = &damage});
        VerifyB::run(context, trel::null_status(), out.data(), plan.n, verified, x);
    } catch (const trel::AlgorithmFailedException& e) {
        return e.message;
    }
    return "";
}

TEST(ConvertFaultTest, FlippedBitsWhereRangesMeet) {
    CaptureConsole console;
    for (const auto& [n, budget] :
         {std::pair(u64(20), kNoBudget), {u64(80), kNoBudget}, {u64(1000), u64(0)}}) {
        const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, budget, 1);
        const std::vector<Word> F = random_fraction(plan.length(n), n);
        DamageWhereRangesMeet none(~u64(0), false, 0);
        std::vector<Word> out(n);
        ASSERT_EQ(fault_of(plan, F, none, out), "");
        ASSERT_GT(none.places, 0u);
        for (u64 place = 0; place < none.places; place++)
            for (const bool overlap : {false, true})
                for (unsigned bit = 0; bit < 64; bit += n == 1000 ? 21 : 1) {
                    DamageWhereRangesMeet damage(place, overlap, bit);
                    ASSERT_EQ(fault_of(plan, F, damage, out).find("Overlap Mismatch:\n    RL = "), 0u)
                        << n << " place=" << place << " overlap=" << overlap << " bit=" << bit;
                }
    }
}

// The same with the values for which an overlap may be one off and the words above it are corrected: what the
// comparison takes for such a case, the verification finds.
TEST(ConvertFaultTest, FlippedBitsWhereRangesMeetBesideDecimals) {
    CaptureConsole console;
    u64 verified = 0;
    for (const u64 n : {u64(20), u64(80)}) {
        const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
        const u64 L = plan.length(n);
        mpz_class unit;
        mpz_ui_pow_ui(unit.get_mpz_t(), 10, 19 * (n / 2) + 1);
        for (const std::vector<Word>& F :
             {std::vector<Word>(L, 0), ratio(L, 1, 10), ratio(L, 1, 10, 1), ratio(L, 1, unit),
              ratio(L, 1, unit, 1), ratio(L, unit - 1, unit, 1), std::vector<Word>(L, ~Word(0))}) {
            DamageWhereRangesMeet none(~u64(0), false, 0);
            std::vector<Word> out(n);
            ASSERT_EQ(fault_of(plan, F, none, out), "");
            for (u64 place = 0; place < none.places; place++)
                for (const bool overlap : {false, true})
                    for (unsigned bit = 0; bit < 64; bit++) {
                        DamageWhereRangesMeet damage(place, overlap, bit);
                        const std::string fault = fault_of(plan, F, damage, out);
                        if (fault.find("Overlap Mismatch:") == 0) continue;
                        ASSERT_EQ(fault, "Base Conversion Failed: Checksum Mismatch")
                            << n << " place=" << place << " overlap=" << overlap << " bit=" << bit;
                        verified++;
                    }
        }
    }
    EXPECT_GT(verified, 0u);
}

TEST(ConvertFaultTest, CheckOfAPower) {
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    check_power_hash(status, "CheckP()", 1000, 10, 3);
    EXPECT_EQ(console.text(), "");
    try {
        check_power_hash(status, "CheckP()", 1001, 10, 3);
        FAIL();
    } catch (const trel::AlgorithmFailedException& e) {
        EXPECT_EQ(e.message, "Power Hash Mismatch");
    }
    EXPECT_NE(console.text().find("Radix Conversion: Power Hash Mismatch"), std::string::npos);
    EXPECT_NE(console.text().find("Expected: 1000\nActual  : 1001\n"), std::string::npos);
}

// ---- the range check

TEST(WordsToDecTest, Ranges) {
    CaptureConsole console;
    int reports = 0;
    trel::LinearConsoleNode status(79, 1.0);
    const auto report = [&] {
        reports++;
        return std::vector<std::string>{"the value"};
    };
    words_to_dec(status, 1, 1, report);
    words_to_dec(status, 1, -3, report);
    EXPECT_EQ(console.take(), "");
    words_to_dec(status, -1, 1, report);
    EXPECT_NE(
        console.take().find("Warning: Kalvor's digit output cannot handle negative numbers.\nOutput will be "
                            "flipped positive...\n"),
        std::string::npos);
    EXPECT_EQ(reports, 0);
    const std::string range =
        "\n\nKalvor's radix conversion and digit output is only equipped to handle\npositive numbers with a "
        "magnitude near 1.\n\nThe exact range that Kalvor can handle is:\n    32-bit binaries: 2^-32 < x < "
        "2^32\n    64-bit binaries: 2^-64 < x < 2^64";
    try {
        words_to_dec(status, 0, 0, report);
        FAIL();
    } catch (const trel::InvalidParametersException& e) {
        EXPECT_EQ(e.function, "words_to_dec()");
        EXPECT_EQ(e.message, "Number is zero and out of range." + range);
    }
    EXPECT_EQ(reports, 0);
    try {
        words_to_dec(status, 1, 2, report);
        FAIL();
    } catch (const trel::InvalidParametersException& e) {
        EXPECT_EQ(e.function, "words_to_dec()");
        EXPECT_EQ(e.message, "Number is out of range." + range);
    }
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(console.take(), "\nthe value\n");
}

// ---- a million digits

TEST(SlowConvertTest, LargeSizes) {
    for (const u64 n : {u64(5000), u64(20000), u64(52634)}) {
        const u64 L = reference::RadixModel::need(n);
        const std::vector<Word> F = random_fraction(L, n);
        const std::vector<Word> want = reference::radix_floor(reference::to_mpz(F), L, n);
        for (const u64 tds : {1, 2, 7}) ASSERT_EQ(run(n, F, tds), want) << n << " " << tds;
        CaptureConsole console;
        std::vector<Word> tenth(n, 0);
        tenth[n - 1] = kRadix19 / 10;
        ASSERT_EQ(run(n, ratio(L, 1, 10, 1)), tenth) << n;
        ASSERT_EQ(run(n, ratio(L, 1, 10)), tenth) << n;
    }
}

}  // namespace
}  // namespace kalvor::CBRv2
