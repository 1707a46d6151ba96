// The two ends of Code 17 products on a block of points that stays in the caches; items are residues (points
// times primes), so the times of the three kernels and of the transforms compare. "all" is everything a
// product spends at its ends: two operands cut and reduced, one product joined.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "arith/ntt/c17_ends.h"

namespace {

using namespace trel;

constexpr u64 kPoints = 64;

struct Setup {
    explicit Setup(u32 a)
        : A(c17_group_words(a) * kPoints / 8 + 8), out(A.size()), memory(kPoints * (2 * a + 2)) {
        limbs = memory.data() + (64 - reinterpret_cast<u64>(memory.data()) % 64) % 64 / 8;
        residues = limbs + kPoints * (a - 1);
        make_c17_end_constants(&constants, ntt_prime_set(NttFamily::c17, a, 5), 13);
        std::mt19937_64 rng(1);
        for (Word& x : A) x = rng();
    }
    void cut(const C17EndKernels& k, u32 a) { k.cut(a, A.data(), A.size(), 0, kPoints, limbs, kPoints); }
    void reduce(const C17EndKernels& k, u32 a) {
        for (u32 i = 0; i < a; i++) {
            k.reduce(&constants, i, limbs, kPoints, kPoints, residues + i * kPoints);
        }
    }
    void recombine(const C17EndKernels& k) {
        k.recombine(&constants, residues, kPoints, kPoints, &carry, out.data());
    }

    std::vector<Word> A, out;
    std::vector<double> memory;
    double *limbs, *residues;
    C17EndConstants constants;
    C17Carry carry{};
};

enum class What { cut, reduce, recombine, all };

void ends(benchmark::State& state, What what, Isa isa) {
    const u32 a = static_cast<u32>(state.range(0));
    const C17EndKernels& k = c17_end_kernels(isa);
    Setup s(a);
    s.cut(k, a);
    s.reduce(k, a);
    for (auto _ : state) {
        for (int i = 0; i < (what == What::all ? 2 : 1); i++) {
            if (what == What::cut || what == What::all) s.cut(k, a);
            if (what == What::reduce || what == What::all) s.reduce(k, a);
        }
        if (what == What::recombine || what == What::all) s.recombine(k);
        benchmark::ClobberMemory();
    }
    const double residues = static_cast<double>(state.iterations() * kPoints * a);
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
    constexpr std::pair<What, const char*> kAll[] = {
        {What::cut, "cut"}, {What::reduce, "reduce"}, {What::recombine, "recombine"}, {What::all, "all"}};
    for (const Isa isa : available_isas()) {
        for (const auto& [what, name] : kAll) {
            const std::string full = std::string(name) + "/" + isa_name(isa);
            benchmark::RegisterBenchmark(full.c_str(), ends, what, isa)->DenseRange(7, 11);
        }
    }
    return true;
}();

}  // namespace
