// Pi without its conversion to decimal digits: the sum of the series with its division, the inverse square
// root and the last product, beside the same steps by GMP. items = decimal digits.
#include <benchmark/benchmark.h>
#include <gmpxx.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "arith/multiply/transform_tables.h"
#include "base/simd/isa.h"
#include "constants/bsr/psr_series.h"
#include "constants/builtin/pi.h"
#include "constants/builtin/row_series.h"

using namespace kalvor;
using trel::AlignedBufferC;
using trel::BigFloat;
using trel::MultiplyContext;
using trel::u64;

namespace {

u64 words_for(u64 digits) {
    return static_cast<u64>(static_cast<double>(digits) * 0.8304820237218406) / 16 + 3;
}

// Memory of one run: uninitialised pages count, as they do in the program.
struct Region {
    explicit Region(u64 bytes) : storage(new char[bytes + 64]) {
        const auto address = reinterpret_cast<std::uintptr_t>(storage.get());
        view = AlignedBufferC(storage.get() + (64 - address % 64) % 64, trel::round_up_64(bytes - 63));
    }
    std::unique_ptr<char[]> storage;
    AlignedBufferC view;
};

struct Setup {
    Setup(u64 product_words, u64 working_bytes)
        : table_memory(trel::TransformTables::bytes(product_words) + 64),
          tables(product_words, table_memory.view, trel::serial_context()),
          working(working_bytes + 64),
          context{trel::serial_context(), working.view, &tables} {}
    Region table_memory;
    trel::TransformTables tables;
    Region working;
    MultiplyContext context;
};

void BM_Pi(benchmark::State& state) {
    const u64 digits = static_cast<u64>(state.range(0));
    const auto pi = Pi(PiAlgorithm::chudnovsky).make_evaluator({words_for(digits), 1});
    const trel::Needs& needs = pi->needs();
    Setup setup(needs.product_words, needs.bytes);
    std::vector<trel::Word> words(needs.result_words);
    for (auto _ : state) {
        BigFloat x(words.data(), words.size());
        pi->run(setup.context, trel::null_status(), x);
        benchmark::DoNotOptimize(words.data());
    }
    state.SetItemsProcessed(state.iterations() * digits);
    state.counters["bytes/digit"] = static_cast<double>(needs.bytes + 8 * needs.result_words +
                                                        trel::TransformTables::bytes(needs.product_words)) /
                                    static_cast<double>(digits);
    state.SetLabel(trel::isa_name(trel::active_isa()));
}

void BM_PiSeries(benchmark::State& state) {
    using Family = BinarySplitting::CommonP2B3::Family;
    const u64 digits = static_cast<u64>(state.range(0));
    const RowSeries series(pi_series()[0], words_for(digits));
    const BinarySplitting::PSR_SeriesB<Family> plan(series, series.precision(), 1);
    Setup setup(plan.needs().product_words, plan.needs().bytes);
    std::vector<trel::Word> lent(plan.needs().result_words);
    for (auto _ : state) benchmark::DoNotOptimize(plan.run(setup.context, trel::null_status(), lent.data()));
    state.SetItemsProcessed(state.iterations() * digits);
    state.SetLabel(trel::isa_name(trel::active_isa()));
}

struct Sum {
    mpz_class P, Q, R;
};
Sum gmp_sum(unsigned long a, unsigned long b) {
    if (b - a == 1) {
        Sum s;
        s.R = mpz_class(2 * b - 1) * (6 * b - 5) * (6 * b - 1);
        s.P = s.R * (13591409 + mpz_class(545140134) * b);
        s.Q = mpz_class(b) * b * b * 10939058860032000ul;
        return s;
    }
    const unsigned long m = (a + b) / 2;
    Sum x = gmp_sum(a, m);
    const Sum y = gmp_sum(m, b);
    x.P *= y.Q;
    x.P += ((m - a) % 2 != 0 ? -1 : 1) * mpz_class(x.R * y.P);
    x.Q *= y.Q;
    x.R *= y.R;
    return x;
}

void BM_GmpPi(benchmark::State& state) {
    const u64 digits = static_cast<u64>(state.range(0));
    for (auto _ : state) {
        const Sum s = gmp_sum(0, digits / 14 + 2);
        const auto bits = static_cast<mp_bitcnt_t>(64 * words_for(digits));
        const mpz_class root = sqrt(mpz_class(mpz_class(10005) << (2 * bits)));
        const mpz_class pi = 426880 * root * s.Q / (13591409 * s.Q - s.P);
        benchmark::DoNotOptimize(pi.get_mpz_t()->_mp_d);
    }
    state.SetItemsProcessed(state.iterations() * digits);
    state.SetLabel("gmp");
}

BENCHMARK(BM_PiSeries)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pi)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GmpPi)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);

}  // namespace
