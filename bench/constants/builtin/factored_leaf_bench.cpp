// A leaf that leaves out shared primes, beside the same terms summed as they are. items = terms.
#include "constants/builtin/factored_leaf.h"

#include <benchmark/benchmark.h>

#include <array>
#include <span>
#include <vector>

#include "constants/bsr/common_p2b3.h"
#include "constants/builtin/row_series.h"

using namespace kalvor;
using trel::ExactFloat;
using trel::u64;
using trel::Word;
using Family = BinarySplitting::CommonP2B3::Family;

namespace {

constexpr u64 kPrecision = 51905130;  // of a billion digits

void run(benchmark::State& state, std::span<const BuiltInSeries> rows, bool factored) {
    const RowSeries series(rows[0], kPrecision);
    const u64 first = static_cast<u64>(state.range(0)), terms = static_cast<u64>(state.range(1));
    // Terms beyond the leaf's are summed in pieces that are not merged.
    const u64 step = factored ? terms : FactoredLeaf::kFewestTerms - 1;
    Family::Words words = Family::capacities(series, first, first + terms);
    for (u64& n : words) n += 2 * step;  // what is summed as it is may be longer
    std::vector<Word> memory(words[0] + words[1] + words[2]), scratch(series.most_leaf_words() + 8);
    Word* aligned = scratch.data();
    while (reinterpret_cast<std::uintptr_t>(aligned) % 64 != 0) aligned++;
    for (auto _ : state) {
        for (u64 a = first; a < first + terms; a += step) {
            const u64 b = std::min(a + step, first + terms);
            std::array<ExactFloat, 3> numbers;
            Word* at = memory.data();
            for (std::size_t i = 0; i < 3; at += words[i++]) numbers[i] = ExactFloat(at, words[i]);
            series.leaf(a, b, numbers[0], numbers[1], numbers[2], false, aligned, trel::serial_context());
            benchmark::DoNotOptimize(numbers);
        }
    }
    state.SetItemsProcessed(state.iterations() * terms);
}

void BM_LeafOfPi(benchmark::State& state) {
    run(state, pi_series(), true);
}
void BM_PiecesOfPi(benchmark::State& state) {
    run(state, pi_series(), false);
}
void BM_LeafOfZeta3(benchmark::State& state) {
    run(state, zeta3_series(), true);
}

}  // namespace

// The leaves of one million and of a hundred million digits of Pi.
BENCHMARK(BM_LeafOfPi)->Args({35000, 2204})->Args({3500000, 3444});
BENCHMARK(BM_PiecesOfPi)->Args({35000, 2204})->Args({3500000, 3444});
BENCHMARK(BM_LeafOfZeta3)->Args({35000, 2204});
