// The digit extractor's terms: what one costs in each mode and on each instruction set, beside the same terms
// by plain 128-bit arithmetic.
//
// Terms are taken from the whole range of a computation in equal steps, so that exponents and divisors are
// those of a whole run. "cycles" are core cycles a term, with the clock taken from a chain of dependent
// additions just before. Floor of mode A: a squaring is four multiplications (three while m <= 90,000,000), a
// limb three, for a vector of eight terms; two vectors a cycle at avx512, one at avx2.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

#include "digits/bbp/bbp_formulas.h"
#include "digits/bbp/range_sum.h"
#include "os/clock.h"

namespace kalvor::BBPv2 {
namespace {

using trel::u64;

// Of processor time, as other programs run on the machine.
double seconds() {
    const trel::os::ProcessTimes times = trel::os::process_times();
    return times.user + times.kernel;
}

// Cycles a second. The best of a few, as another process may take the core.
double core_clock() {
    double best = 0;
    for (int repeat = 0; repeat < 5; repeat++) {
        constexpr u64 kAdditions = 20000000;
        const double start = seconds();
        u64 x = 0;
        for (u64 i = 0; i < kAdditions / 8; i++) {
            asm volatile(
                "add $1, %0\n add $1, %0\n add $1, %0\n add $1, %0\n"
                "add $1, %0\n add $1, %0\n add $1, %0\n add $1, %0"
                : "+r"(x));
        }
        best = std::max(best, kAdditions / (seconds() - start));
    }
    return best;
}

// Slices of the sub-sums of a formula, n_slices of each.
struct Sample {
    Sample(u64 formula_number, u64 offset, u64 n_slices, u64 n_terms) : n_terms(n_terms) {
        const Figures f = figures_of(formula_number, offset, 32);
        for (const SubSum& s : formula(formula_number).sub_sums) {
            for (u64 i = 0; i < n_slices; i++) {
                slices.push_back({at_offset(s, offset), (f.terms - n_terms - 64) / n_slices * i});
            }
        }
    }
    struct Slice {
        SubSum sub_sum;
        u64 begin;
    };
    std::vector<Slice> slices;
    u64 n_terms;

    u64 terms() const { return slices.size() * n_terms; }
    // Squarings of all terms.
    double squarings() const {
        double n = 0;
        for (const Slice& s : slices) {
            for (u64 k = s.begin; k < s.begin + n_terms; k++) {
                n += static_cast<double>(64 - __builtin_clzll(static_cast<u64>(s.sub_sum.exponent(k)))) - 6;
            }
        }
        return n;
    }
};

void set_counters(benchmark::State& state, const Sample& sample, double clock, double seconds) {
    const double n = static_cast<double>(sample.terms()) * static_cast<double>(state.iterations());
    state.SetItemsProcessed(static_cast<benchmark::IterationCount>(n));
    state.counters["ns"] = seconds / n * 1e9;
    state.counters["cycles"] = seconds / n * clock;
    state.counters["squarings"] = sample.squarings() / static_cast<double>(sample.terms());
}

void terms(benchmark::State& state, trel::Isa isa, Mode mode, u64 formula_number, u64 offset) {
    const Sample sample(formula_number, offset, 16, 4096);
    RangeSum sum(figures_of(formula_number, offset, 32).limbs, bbp_kernels(isa));
    const double clock = core_clock();
    const double start = seconds();
    for (auto _ : state) {
        for (const auto& [sub_sum, k] : sample.slices) {
            sum.add(sub_sum, mode, k, k + sample.n_terms, [](u64) {});
        }
        benchmark::DoNotOptimize(sum.take());
    }
    set_counters(state, sample, clock, seconds() - start);
}

// The difference of many limbs and few.
void limbs(benchmark::State& state, trel::Isa isa, Mode mode) {
    constexpr u64 kFew = 4, kMany = 2004, kTerms = 4096;
    const SubSum s = at_offset(formula(kBellardBbp).sub_sums[0], 10000000);
    RangeSum few(kFew, bbp_kernels(isa)), many(kMany, bbp_kernels(isa));
    double spent = 0;
    for (auto _ : state) {
        const double start = seconds();
        many.add(s, mode, 0, kTerms, [](u64) {});
        const double middle = seconds();
        few.add(s, mode, 0, kTerms, [](u64) {});
        spent += middle - start - (seconds() - middle);
    }
    const double n = static_cast<double>(state.iterations()) * kTerms * (kMany - kFew);
    state.counters["ns"] = spent / n * 1e9;
}

// The same terms one by one: powers by 128-bit remainders, limbs by 128-bit quotients.
void plain(benchmark::State& state, u64 offset) {
    const Sample sample(kBellardBbp, offset, 16, 64);
    const u64 n_limbs = figures_of(kBellardBbp, offset, 32).limbs;
    std::vector<u64> sums(n_limbs);
    const double clock = core_clock();
    const double start = seconds();
    for (auto _ : state) {
        for (const auto& [sub_sum, begin] : sample.slices) {
            for (u64 k = begin; k < begin + sample.n_terms; k++) {
                const u64 m = sub_sum.divisor(k);
                const auto x = static_cast<u64>(sub_sum.exponent(k));
                unsigned __int128 r = 1 % m;
                for (int bit = 63 - __builtin_clzll(x); bit >= 0; bit--) {
                    r = r * r % m;
                    if (x >> bit & 1) r = 2 * r % m;
                }
                for (u64& limb : sums) {
                    limb += static_cast<u64>((r << 48) / m);
                    r = (r << 48) % m;
                }
            }
        }
        benchmark::DoNotOptimize(sums.data());
        benchmark::ClobberMemory();
    }
    set_counters(state, sample, clock, seconds() - start);
}

const int registered = [] {
    for (const trel::Isa isa : trel::available_isas()) {
        const std::string level = trel::isa_name(isa);
        for (const u64 offset : {10000000ull, 100000000ull, 1000000000ull}) {
            for (const Mode mode : {Mode::a, Mode::b, Mode::c}) {
                benchmark::RegisterBenchmark(
                    ("term/7-term/" + std::to_string(offset) + "/" + mode_row(mode).letter + "/" + level)
                        .c_str(),
                    [=](benchmark::State& state) { terms(state, isa, mode, kBellardBbp, offset); });
            }
        }
        benchmark::RegisterBenchmark(
            ("term/4-term/10000000/A/" + level).c_str(),
            [=](benchmark::State& state) { terms(state, isa, Mode::a, kOriginalBbp, 10000000); });
        for (const Mode mode : {Mode::a, Mode::b, Mode::c}) {
            benchmark::RegisterBenchmark((std::string("limb/") + mode_row(mode).letter + "/" + level).c_str(),
                                         [=](benchmark::State& state) { limbs(state, isa, mode); });
        }
    }
    benchmark::RegisterBenchmark("term/7-term/10000000/plain",
                                 [](benchmark::State& state) { plain(state, 10000000); });
    return 0;
}();

}  // namespace
}  // namespace kalvor::BBPv2
