// Linear operations on word arrays beside GMP's. Items are words.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <random>
#include <vector>

#include "arith/kernels/shoup_divider.h"
#include "arith/kernels/word_array.h"
#include "arith/m61/m61.h"

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

template <class F>
void run(benchmark::State& state, F&& f) {
    const u64 n = u64(state.range(0));
    std::vector<Word> a = random_words(n, 1), b = random_words(n, 2), t(n);
    for (auto _ : state) {
        f(t, a, b, n);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(i64(state.iterations() * n));
    state.SetBytesProcessed(i64(state.iterations() * n * 8));
}

using V = std::vector<Word>;

void add_gmp(benchmark::State& s) {
    run(s, [](V& t, V& a, V& b, u64 n) { mpn_add_n(limbs(t), limbs(a), limbs(b), mp_size_t(n)); });
}
void add_aligned(benchmark::State& s) {
    run(s, [](V& t, V& a, V& b, u64 n) {
        bp_add(t.data(), {a.data(), n, 0}, {b.data(), n, 0}, 0, 0, i64(n), serial_context());
    });
}
// B is one word shorter than the frame, so spans are gathered.
void add_shifted(benchmark::State& s) {
    run(s, [](V& t, V& a, V& b, u64 n) {
        bp_add(t.data(), {a.data(), n, 0}, {b.data(), n - 1, 1}, 0, 0, i64(n), serial_context());
    });
}
void sub_aligned(benchmark::State& s) {
    run(s, [](V& t, V& a, V& b, u64 n) {
        bp_sub(t.data(), {a.data(), n, 0}, {b.data(), n, 0}, 0, 0, i64(n), serial_context());
    });
}
void mul_1_gmp(benchmark::State& s) {
    run(s, [](V& t, V& a, V&, u64 n) { mpn_mul_1(limbs(t), limbs(a), mp_size_t(n), 0x123456789abcdef1); });
}
void mul_uW(benchmark::State& s) {
    run(s, [](V& t, V& a, V&, u64 n) {
        bp_mul_uW(t.data(), a.data(), n, 0x123456789abcdef1, 0, serial_context());
    });
}
void negate(benchmark::State& s) {
    run(s, [](V&, V& a, V&, u64 n) { bp_negate(a.data(), n, serial_context()); });
}
void hash_words(benchmark::State& s) {
    run(s, [](V&, V& a, V&, u64 n) { benchmark::DoNotOptimize(m61::hash_words(a.data(), n)); });
}
void div_gmp(benchmark::State& s) {
    run(s, [](V& t, V& a, V&, u64 n) { mpn_divrem_1(limbs(t), 0, limbs(a), mp_size_t(n), 1000000007); });
}
void div_word(benchmark::State& s) {
    const ShoupDivider divider(1000000007);
    run(s, [&](V& t, V& a, V&, u64 n) { bp_div_np(divider, t.data(), a.data(), n, 0, serial_context()); });
}

#define SIZES ->Arg(8)->Arg(32)->Arg(100)->Arg(1000)->Arg(1 << 14)->Arg(1 << 22)
BENCHMARK(add_gmp) SIZES;
BENCHMARK(add_aligned) SIZES;
BENCHMARK(add_shifted) SIZES;
BENCHMARK(sub_aligned) SIZES;
BENCHMARK(mul_1_gmp) SIZES;
BENCHMARK(mul_uW) SIZES;
BENCHMARK(negate) SIZES;
BENCHMARK(hash_words) SIZES;
BENCHMARK(div_gmp)->Arg(100)->Arg(1 << 14);
BENCHMARK(div_word)->Arg(100)->Arg(1 << 14);

}  // namespace
