// Newton iterations against one product of two numbers of p words in the same run: the counter "products" is
// the time of the operation divided by the time of that product. GMP and MPFR do the same work beside.
#include <benchmark/benchmark.h>
#include <gmp.h>
#include <mpfr.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "arith/multiply/dispatch.h"
#include "arith/multiply/transform_tables.h"
#include "arith/newton/agm.h"
#include "arith/newton/division.h"
#include "arith/newton/invsqrt.h"
#include "arith/newton/invsqrt_word.h"
#include "arith/newton/nth_root.h"
#include "arith/newton/power.h"
#include "arith/newton/power_word.h"
#include "arith/newton/reciprocal.h"
#include "base/simd/isa.h"

namespace trel {
namespace {

constexpr u64 kLargest = u64(1) << 19;         // words
constexpr int64_t kTenMillionDigits = 519051;  // words

class ThreadEach final : public BasicParallelizer {
  public:
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override {
        std::vector<std::thread> threads;
        for (u64 i = begin + 1; i < end; i++) threads.emplace_back([&action, i] { action.run(i); });
        if (begin < end) action.run(begin);
        for (std::thread& thread : threads) thread.join();
    }
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        std::thread thread([&b] { b.run(0); });
        a.run(0);
        thread.join();
    }
};

struct Memory {
    explicit Memory(u64 bytes)
        : bytes((bytes + 63) & ~u64(63)), p(std::aligned_alloc(64, std::max<u64>(this->bytes, 64))) {
        std::fill_n(static_cast<Word*>(p), this->bytes / 8, 1);
    }
    ~Memory() { std::free(p); }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;
    AlignedBufferC view() const { return {p, bytes}; }
    Word* words() const { return static_cast<Word*>(p); }
    u64 bytes;
    void* p;
};

MultiplyContext context(const Memory& scratch, u64 tds) {
    static ThreadEach threads;
    static Memory memory(TransformTables::bytes(2 * kLargest + 64));
    static TransformTables tables(2 * kLargest + 64, memory.view(), serial_context());
    return {{&threads, tds}, scratch.view(), &tables};
}

std::vector<Word> random_words(u64 n) {
    std::mt19937_64 rng(n);
    std::vector<Word> w(n);
    for (Word& x : w) x = rng();
    w.back() |= Word(1) << 62;
    return w;
}

BigFloat number(std::vector<Word>& w) {
    BigFloat A(w.data(), w.size());
    A.L = w.size();
    A.exp = -static_cast<i64>(w.size());
    A.sign = true;
    return A;
}

double seconds_of(auto&& f) {
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One p x p product on memory of its own.
class Product {
  public:
    Product(u64 p, u64 tds)
        : p_(p),
          a_(random_words(p)),
          b_(random_words(p + 1)),
          t_(2 * p),
          scratch_(multiply_scratch_bytes(2 * p)),
          mp_(context(scratch_, tds)) {}
    double seconds() {
        return seconds_of([&] { multiply_full(mp_, t_.data(), a_.data(), p_, b_.data(), p_); });
    }

  private:
    u64 p_;
    std::vector<Word> a_, b_, t_;
    Memory scratch_;
    MultiplyContext mp_;
};

// Operation and product take turns, so that both see the same machine; the smallest time of each counts.
template <class F>
void measure(benchmark::State& state, u64 p, u64 tds, F&& f) {
    Product product(p, tds);
    double best = 1e9, product_best = 1e9;
    for (auto _ : state) {
        const double seconds = seconds_of(f);
        state.SetIterationTime(seconds);
        best = std::min(best, seconds);
        for (int i = 0; i < 2; i++) product_best = std::min(product_best, product.seconds());
    }
    state.counters["products"] = best / product_best;
    state.counters["best_ms"] = best * 1e3;
    state.counters["product_ms"] = product_best * 1e3;
    state.SetLabel(isa_name(active_isa()));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(p));
}

void BM_Reciprocal(benchmark::State& state) {
    const u64 p = state.range(0), tds = state.range(1);
    std::vector<Word> a = random_words(p);
    const ReciprocalPlan plan = ReciprocalPlan::make(p, tds);
    const Memory result(8 * plan.result), temporaries(8 * plan.temporaries), scratch(plan.scratch_bytes);
    const MultiplyContext mp = context(scratch, tds);
    const BigFloat A = number(a);
    BigFloat T(result.words(), plan.result);
    measure(state, p, tds, [&] {
        Reciprocal_BigFloatR::run(plan, mp, null_status(), T, A, p, {temporaries.words(), plan.temporaries});
    });
}

void BM_Division(benchmark::State& state) {
    const u64 p = state.range(0), tds = state.range(1);
    std::vector<Word> a = random_words(p), b = random_words(p + 1);
    const DivisionPlan plan = DivisionPlan::make(p, tds);
    const Memory result(8 * plan.result), temporaries(8 * plan.temporaries), scratch(plan.scratch_bytes);
    const MultiplyContext mp = context(scratch, tds);
    const BigFloat A = number(a), B = number(b);
    BigFloat T(result.words(), plan.result);
    measure(state, p, tds, [&] {
        Division_BigFloatR::run(plan, mp, null_status(), T, A, B, {temporaries.words(), plan.temporaries});
    });
}

void BM_InvsqrtWord(benchmark::State& state) {
    const u64 p = state.range(0), tds = state.range(1);
    const InvsqrtWordPlan plan = InvsqrtWordPlan::make(p, tds);
    const Memory result(8 * plan.result), temporaries(8 * plan.temporaries), scratch(plan.scratch_bytes);
    const MultiplyContext mp = context(scratch, tds);
    BigFloat T(result.words(), plan.result);
    measure(state, p, tds, [&] {
        InvsqrtWord_BigFloatR::run(plan, mp, null_status(), T, 10005, p,
                                   {temporaries.words(), plan.temporaries});
    });
}

void BM_InvsqrtFloat(benchmark::State& state) {
    const u64 p = state.range(0), tds = state.range(1);
    std::vector<Word> a = random_words(p);
    const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, tds);
    const Memory result(8 * plan.result), temporaries(8 * plan.temporaries), scratch(plan.scratch_bytes);
    const MultiplyContext mp = context(scratch, tds);
    const BigFloat A = number(a);
    BigFloat T(result.words(), plan.result);
    measure(state, p, tds, [&] {
        InvsqrtFloat_BigFloatR::run(plan, mp, null_status(), T, A, p,
                                    {temporaries.words(), plan.temporaries});
    });
}

// A^(-1/n) as formulas ask for it.
template <u64 n>
void BM_InvNthRoot(benchmark::State& state) {
    const u64 p = state.range(0), tds = state.range(1);
    std::vector<Word> a = random_words(p);
    const InvNthRootPlan plan = InvNthRootPlan::make(p, tds);
    const Memory result(8 * plan.result), temporaries(8 * plan.temporaries), scratch(plan.scratch_bytes);
    const MultiplyContext mp = context(scratch, tds);
    const BigFloat A = number(a);
    BigFloat T(result.words(), plan.result);
    measure(state, p, tds, [&] {
        inv_nth_root(plan, mp, null_status(), T, A, n, {temporaries.words(), plan.temporaries});
    });
}

void BM_PowerFloat(benchmark::State& state) {
    const u64 p = state.range(0), tds = state.range(1);
    std::vector<Word> a = random_words(p);
    const PowerFloatPlan plan = PowerFloatPlan::make(p, tds);
    const Memory result(8 * plan.result), temporaries(8 * plan.temporaries), scratch(plan.scratch_bytes);
    const MultiplyContext mp = context(scratch, tds);
    const BigFloat A = number(a);
    BigFloat T(result.words(), plan.result);
    measure(state, p, tds, [&] {
        Power_BF_uL_BigFloatR::run(plan, mp, null_status(), T, A, 7, p,
                                   {temporaries.words(), plan.temporaries});
    });
}

void BM_Agm(benchmark::State& state) {
    const u64 p = state.range(0), tds = state.range(1);
    std::vector<Word> a = random_words(p);
    const AGMPlan plan = AGMPlan::make(p, tds);
    const Memory result(8 * plan.result), temporaries(8 * plan.temporaries1), scratch(plan.scratch_bytes);
    const MultiplyContext mp = context(scratch, tds);
    const BigFloat A = number(a);
    BigFloat T(result.words(), plan.result);
    measure(state, p, tds, [&] {
        AGM1_BigFloatR::run(plan, mp, null_status(), T, A, p, {temporaries.words(), plan.temporaries1});
    });
}

// 10^n of about p words, exact.
void BM_PowerOfTen(benchmark::State& state) {
    const u64 p = state.range(0), tds = state.range(1);
    const u64 n = p * 64 * 100 / 333;
    const PowerWordPlan plan = PowerWordPlan::make_exact(10, n, tds);
    const Memory result(8 * plan.result), temporaries(8 * plan.temporaries), scratch(plan.scratch_bytes);
    const MultiplyContext mp = context(scratch, tds);
    BigFloat T(result.words(), plan.result);
    measure(state, p, tds, [&] {
        Power_uW_uL_BigFloatR::run(plan, mp, null_status(), T, 10, n, plan.p, temporaries.words());
    });
}

struct Gmp {
    mpz_t a, b, t;
    explicit Gmp(u64 p) {
        mpz_inits(a, b, t, nullptr);
        const std::vector<Word> x = random_words(p), y = random_words(p + 1);
        mpz_import(a, p, -1, 8, 0, 0, x.data());
        mpz_import(b, p, -1, 8, 0, 0, y.data());
    }
    ~Gmp() { mpz_clears(a, b, t, nullptr); }
};

void gmp_label(benchmark::State& state, double best, Gmp& g) {
    double product = 1e9;
    for (int i = 0; i < 3; i++) product = std::min(product, seconds_of([&] { mpz_mul(g.t, g.a, g.b); }));
    state.counters["products"] = best / product;
    state.counters["best_ms"] = best * 1e3;
    state.counters["product_ms"] = product * 1e3;
}

void BM_GmpDivision(benchmark::State& state) {
    const u64 p = state.range(0);
    Gmp g(p);
    mpz_t dividend;
    mpz_init(dividend);
    mpz_mul_2exp(dividend, g.a, 64 * p);
    double best = 1e9;
    for (auto _ : state) best = std::min(best, seconds_of([&] { mpz_tdiv_q(g.t, dividend, g.b); }));
    mpz_clear(dividend);
    gmp_label(state, best, g);
}

void BM_MpfrInvsqrt(benchmark::State& state) {
    const u64 p = state.range(0);
    Gmp g(p);
    mpfr_t x, r;
    mpfr_inits2(static_cast<mpfr_prec_t>(64 * p), x, r, nullptr);
    mpfr_set_ui(x, 10005, MPFR_RNDN);
    double best = 1e9;
    for (auto _ : state) best = std::min(best, seconds_of([&] { mpfr_rec_sqrt(r, x, MPFR_RNDN); }));
    mpfr_clears(x, r, nullptr);
    gmp_label(state, best, g);
}

void BM_GmpPowerOfTen(benchmark::State& state) {
    const u64 p = state.range(0);
    Gmp g(p);
    double best = 1e9;
    for (auto _ : state)
        best = std::min(best, seconds_of([&] { mpz_ui_pow_ui(g.t, 10, p * 64 * 100 / 333); }));
    gmp_label(state, best, g);
}

void sizes(benchmark::internal::Benchmark* b) {
    for (int64_t p : {int64_t(1) << 10, int64_t(1) << 14, int64_t(1) << 16, kTenMillionDigits})
        for (int64_t tds : {1, 2}) b->Args({p, tds});
    b->Unit(benchmark::kMillisecond)->UseManualTime()->ArgNames({"words", "tds"});
}
void gmp_sizes(benchmark::internal::Benchmark* b) {
    for (int64_t p : {int64_t(1) << 10, int64_t(1) << 14, int64_t(1) << 16, kTenMillionDigits}) b->Args({p});
    b->Unit(benchmark::kMillisecond)->UseRealTime()->ArgNames({"words"});
}

BENCHMARK(BM_Reciprocal)->Apply(sizes);
BENCHMARK(BM_Division)->Apply(sizes);
BENCHMARK(BM_InvsqrtWord)->Apply(sizes);
BENCHMARK(BM_InvsqrtFloat)->Apply(sizes);
BENCHMARK(BM_InvNthRoot<3>)->Apply(sizes);
BENCHMARK(BM_InvNthRoot<4>)->Apply(sizes);
BENCHMARK(BM_PowerFloat)->Apply(sizes);
BENCHMARK(BM_Agm)
    ->Args({1 << 10, 1})
    ->Args({1 << 14, 1})
    ->Args({1 << 16, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->ArgNames({"words", "tds"});
BENCHMARK(BM_PowerOfTen)->Apply(sizes);
BENCHMARK(BM_GmpDivision)->Apply(gmp_sizes);
BENCHMARK(BM_MpfrInvsqrt)->Apply(gmp_sizes);
BENCHMARK(BM_GmpPowerOfTen)->Apply(gmp_sizes);

}  // namespace
}  // namespace trel
