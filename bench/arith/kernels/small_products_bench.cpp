// Schoolbook and Karatsuba products beside GMP's mpn functions. Items are word products n * m.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <random>
#include <vector>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_kernels.h"

namespace {

using namespace trel;

std::vector<Word> random_words(u64 n, u64 seed) {
    std::mt19937_64 rng(seed);
    std::vector<Word> a(n);
    for (Word& w : a) w = rng();
    return a;
}

mp_ptr limbs(std::vector<Word>& a) {
    return reinterpret_cast<mp_ptr>(a.data());
}

struct Operands {
    std::vector<Word> a, b, t, scratch;
    explicit Operands(u64 n, u64 m)
        : a(random_words(n, 1)),
          b(random_words(m, 2)),
          t(n + m),
          scratch(karatsuba_sizes(64 * (n + m)).scratch_bytes / 8) {}
};

void count(benchmark::State& state, u64 n, u64 m) {
    state.SetItemsProcessed(i64(state.iterations() * n * m));
}

void mul_n_gmp(benchmark::State& state) {
    const u64 n = u64(state.range(0));
    Operands x(n, n);
    for (auto _ : state) {
        mpn_mul_n(limbs(x.t), limbs(x.a), limbs(x.b), mp_size_t(n));
        benchmark::ClobberMemory();
    }
    count(state, n, n);
}

void mul_n_basecase(benchmark::State& state, const WordKernels* kernels) {
    const u64 n = u64(state.range(0));
    Operands x(n, n);
    for (auto _ : state) {
        kernels->mul_basecase(x.t.data(), x.a.data(), n, x.b.data(), n);
        benchmark::ClobberMemory();
    }
    count(state, n, n);
}

void mul_n_small(benchmark::State& state) {
    const u64 n = u64(state.range(0));
    Operands x(n, n);
    for (auto _ : state) {
        trel::mul_basecase(x.t.data(), x.a.data(), n, x.b.data(), n);
        benchmark::ClobberMemory();
    }
    count(state, n, n);
}

void sqr_small(benchmark::State& state) {
    const u64 n = u64(state.range(0));
    Operands x(n, n);
    for (auto _ : state) {
        trel::sqr_basecase(x.t.data(), x.a.data(), n);
        benchmark::ClobberMemory();
    }
    count(state, n, n);
}

void mul_n_karatsuba(benchmark::State& state) {
    const u64 n = u64(state.range(0));
    Operands x(n, n);
    for (auto _ : state) {
        mul_karatsuba(x.t.data(), x.a.data(), n, x.b.data(), n, x.scratch.data(), serial_context());
        benchmark::ClobberMemory();
    }
    count(state, n, n);
}

void sqr_gmp(benchmark::State& state) {
    const u64 n = u64(state.range(0));
    Operands x(n, n);
    for (auto _ : state) {
        mpn_sqr(limbs(x.t), limbs(x.a), mp_size_t(n));
        benchmark::ClobberMemory();
    }
    count(state, n, n);
}

void sqr_basecase(benchmark::State& state, const WordKernels* kernels) {
    const u64 n = u64(state.range(0));
    Operands x(n, n);
    for (auto _ : state) {
        kernels->sqr_basecase(x.t.data(), x.a.data(), n);
        benchmark::ClobberMemory();
    }
    count(state, n, n);
}

void sqr_karatsuba(benchmark::State& state) {
    const u64 n = u64(state.range(0));
    Operands x(n, n);
    for (auto _ : state) {
        trel::sqr_karatsuba(x.t.data(), x.a.data(), n, x.scratch.data(), serial_context());
        benchmark::ClobberMemory();
    }
    count(state, n, n);
}

const std::vector<i64> kSmall{1, 2, 3, 4, 6, 8, 9, 10, 12, 16, 17, 20, 24, 25, 30, 31, 32, 36, 40};
const std::vector<i64> kMedium{32, 40, 48, 64, 80, 96, 128};

void register_all() {
    for (i64 n : kSmall) {
        benchmark::RegisterBenchmark("mul_n/gmp", mul_n_gmp)->Arg(n);
        benchmark::RegisterBenchmark("mul_n/dispatched", mul_n_small)->Arg(n);
        for (const WordKernels* k : available_word_kernels()) {
            benchmark::RegisterBenchmark((std::string("mul_n/basecase ") + k->name).c_str(), mul_n_basecase, k)
                ->Arg(n);
        }
    }
    for (i64 n : kSmall) {
        benchmark::RegisterBenchmark("sqr/gmp", sqr_gmp)->Arg(n);
        benchmark::RegisterBenchmark("sqr/dispatched", sqr_small)->Arg(n);
        for (const WordKernels* k : available_word_kernels()) {
            benchmark::RegisterBenchmark((std::string("sqr/basecase ") + k->name).c_str(), sqr_basecase, k)
                ->Arg(n);
        }
    }
    for (i64 n : kMedium) {
        benchmark::RegisterBenchmark("mul_n/gmp", mul_n_gmp)->Arg(n);
        benchmark::RegisterBenchmark("mul_n/karatsuba", mul_n_karatsuba)->Arg(n);
        benchmark::RegisterBenchmark("sqr/gmp", sqr_gmp)->Arg(n);
        benchmark::RegisterBenchmark("sqr/karatsuba", sqr_karatsuba)->Arg(n);
    }
}

[[maybe_unused]] const bool registered = (register_all(), true);

}  // namespace
