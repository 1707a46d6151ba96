// Whole products of 20 to 400 words per operand through the dispatcher, beside the bare kernel and GMP: what
// the choice of an algorithm costs where products are small and many.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

#include "arith/kernels/multiply_small.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/transform_tables.h"
#include "base/simd/isa.h"

namespace {

using namespace trel;

struct Operands {
    explicit Operands(u64 n) : A(n), B(n), T(2 * n) {
        std::mt19937_64 rng(n);
        for (Word& w : A) w = rng();
        for (Word& w : B) w = rng();
    }
    std::vector<Word> A, B, T;
};

struct Memory {
    explicit Memory(u64 bytes)
        : bytes(round_up_64(bytes) + 64), pointer(std::aligned_alloc(64, this->bytes), std::free) {}
    AlignedBufferC view() const { return AlignedBufferC(pointer.get(), bytes); }

    u64 bytes;
    std::unique_ptr<void, void (*)(void*)> pointer;
};

bool supported(benchmark::State& state, u64 words) {
    if (words <= basic_table64().items().back().threshold_words) return true;
    state.SkipWithError("beyond the table");
    return false;
}

void report(benchmark::State& state, u64 n) {
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(n));
    state.SetLabel(isa_name(active_isa()));
}

void multiply(benchmark::State& state) {
    const u64 n = static_cast<u64>(state.range(0));
    if (!supported(state, 2 * n)) return;
    Operands o(n);
    const Memory memory(multiply_scratch_bytes(2 * n)), table_memory(TransformTables::bytes(2 * n));
    const TransformTables tables(2 * n, table_memory.view(), serial_context());
    const MultiplyContext context{serial_context(), memory.view(), &tables};
    for (auto _ : state) {
        multiply_full(context, o.T.data(), o.A.data(), n, o.B.data(), n);
        benchmark::ClobberMemory();
    }
    report(state, n);
}

void square(benchmark::State& state) {
    const u64 n = static_cast<u64>(state.range(0));
    if (!supported(state, 2 * n)) return;
    Operands o(n);
    const Memory memory(multiply_scratch_bytes(2 * n)), table_memory(TransformTables::bytes(2 * n));
    const TransformTables tables(2 * n, table_memory.view(), serial_context());
    const MultiplyContext context{serial_context(), memory.view(), &tables};
    for (auto _ : state) {
        multiply_full(context, o.T.data(), o.A.data(), n, o.A.data(), n);
        benchmark::ClobberMemory();
    }
    report(state, n);
}

// The kernel that the dispatcher reaches up to 80 product words, called directly.
void kernel(benchmark::State& state) {
    const u64 n = static_cast<u64>(state.range(0));
    Operands o(n);
    const Memory memory(karatsuba_sizes(128 * n).scratch_bytes);
    for (auto _ : state) {
        mul_karatsuba(o.T.data(), o.A.data(), n, o.B.data(), n, memory.view().word_pointer(),
                      serial_context());
        benchmark::ClobberMemory();
    }
    report(state, n);
}

void gmp_multiply(benchmark::State& state) {
    const u64 n = static_cast<u64>(state.range(0));
    Operands o(n);
    for (auto _ : state) {
        mpn_mul_n(reinterpret_cast<mp_limb_t*>(o.T.data()), reinterpret_cast<const mp_limb_t*>(o.A.data()),
                  reinterpret_cast<const mp_limb_t*>(o.B.data()), static_cast<mp_size_t>(n));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(n));
}

void gmp_square(benchmark::State& state) {
    const u64 n = static_cast<u64>(state.range(0));
    Operands o(n);
    for (auto _ : state) {
        mpn_sqr(reinterpret_cast<mp_limb_t*>(o.T.data()), reinterpret_cast<const mp_limb_t*>(o.A.data()),
                static_cast<mp_size_t>(n));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(n));
}

void sizes(benchmark::internal::Benchmark* b) {
    for (i64 n : {4, 10, 20, 28, 40, 41, 56, 80, 112, 160, 200, 280, 400}) b->Arg(n);
}
void small_sizes(benchmark::internal::Benchmark* b) {
    for (i64 n : {4, 10, 20, 28, 40}) b->Arg(n);
}

BENCHMARK(multiply)->Apply(sizes);
BENCHMARK(kernel)->Apply(small_sizes);
BENCHMARK(gmp_multiply)->Apply(sizes);
BENCHMARK(square)->Apply(sizes);
BENCHMARK(gmp_square)->Apply(sizes);

}  // namespace
