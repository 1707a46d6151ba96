// The two ends of Code 17 products on blocks of points that stay in the first and in the second cache; times
// per residue (points times primes), so that the three kernels and the transforms compare. "all" is
// everything a product spends at its ends: two operands cut and reduced, one product joined.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "arith/c17/c17_ends.h"

namespace {

using namespace trel;

struct Setup {
    explicit Setup(u32 a, u64 n)
        : points(n), A(c17_group_words(a) * points / 8 + 8), out(A.size()), memory(points * (2 * a + 2)) {
        limbs = memory.data() + (64 - reinterpret_cast<u64>(memory.data()) % 64) % 64 / 8;
        residues = limbs + points * (a - 1);
        make_c17_end_constants(&constants, ntt_prime_set(NttFamily::c17, a, 5), 13);
        std::mt19937_64 rng(1);
        for (Word& x : A) x = rng();
    }
    void cut(const C17EndKernels& k, u32 a) { k.cut(a, A.data(), A.size(), 0, points, limbs); }
    void reduce(const C17EndKernels& k, u32 a, u32 n) {
        for (u32 i = 0; i < a; i += n) {
            k.reduce(&constants, i, std::min(n, a - i), limbs, points, residues + i * points, points);
        }
    }
    void recombine(const C17EndKernels& k) {
        k.recombine(&constants, residues, points, points, &carry, out.data());
    }

    u64 points;
    std::vector<Word> A, out;
    std::vector<double> memory;
    double *limbs, *residues;
    C17EndConstants constants;
    C17Carry carry{};
};

enum class What { cut, reduce_one, reduce, reduce_all, recombine, all };

void ends(benchmark::State& state, What what, Isa isa) {
    const u32 a = static_cast<u32>(state.range(0));
    const C17EndKernels& k = c17_end_kernels(isa);
    const u64 points = static_cast<u64>(state.range(1));
    Setup s(a, points);
    s.cut(k, a);
    s.reduce(k, a, a);
    for (auto _ : state) {
        for (int i = 0; i < (what == What::all ? 2 : 1); i++) {
            if (what == What::cut || what == What::all) s.cut(k, a);
            if (what == What::reduce || what == What::all) s.reduce(k, a, 2);
            if (what == What::reduce_one) s.reduce(k, a, 1);
            if (what == What::reduce_all) s.reduce(k, a, a);
        }
        if (what == What::recombine || what == What::all) s.recombine(k);
        benchmark::ClobberMemory();
    }
    const double residues = static_cast<double>(state.iterations() * points * a);
    state.counters["per_residue"] =
        benchmark::Counter(residues, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.SetLabel(isa_name(isa));
}

void constants(benchmark::State& state) {
    const NttPrimeSet& set = ntt_prime_set(NttFamily::c17, 10, 5);
    C17EndConstants constants;
    for (auto _ : state) {
        make_c17_end_constants(&constants, set, 13);
        benchmark::DoNotOptimize(constants);
    }
}
BENCHMARK(constants);

const bool kRegistered = [] {
    constexpr std::pair<What, const char*> kAll[] = {{What::cut, "cut"},
                                                     {What::reduce_one, "reduce_one"},
                                                     {What::reduce, "reduce"},
                                                     {What::reduce_all, "reduce_all"},
                                                     {What::recombine, "recombine"},
                                                     {What::all, "all"}};
    for (const Isa isa : available_isas()) {
        for (const auto& [what, name] : kAll) {
            const std::string full = std::string(name) + "/" + isa_name(isa);
            benchmark::RegisterBenchmark(full.c_str(), ends, what, isa)
                ->ArgsProduct({{7, 8, 9, 10, 11}, {64, 512}});
        }
    }
    return true;
}();

}  // namespace
