// Radix conversion of d decimal digits, beside one product of two numbers of that size and beside GMP's
// mpz_get_str.
//
// The counter "products" tells the conversion in units of one such product, both taken at their fastest of
// the same run.
#include "digits/convert/convert.h"

#include <benchmark/benchmark.h>
#include <gmp.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "arith/multiply/dispatch.h"
#include "arith/multiply/transform_tables.h"

namespace {

using namespace kalvor;
using namespace kalvor::CBRv2;

class Memory {
  public:
    explicit Memory(u64 bytes)
        : bytes_(trel::round_up_64(bytes)), data_(std::aligned_alloc(64, bytes_ + 64)) {}
    ~Memory() { std::free(data_); }
    Memory(const Memory&) = delete;
    AlignedBufferC view() const { return AlignedBufferC(data_, bytes_); }

  private:
    u64 bytes_;
    void* data_;
};

std::vector<Word> random_words(u64 n) {
    std::mt19937_64 rng(n);
    std::vector<Word> words(n);
    for (Word& w : words) w = rng();
    return words;
}

// A value, its plan, and the memory and tables of a run.
struct Setting {
    explicit Setting(u64 digits)
        : plan(ConvertPlanP::make(kRadix19, radix_words(digits), kNoBudget, 1)),
          value(random_words(plan.length(plan.n))),
          out(plan.n),
          verified((digits + 18) / 19),
          largest(std::max({plan.needs().product_words, u64(2 * value.size()),
                            VerifyB::needs(plan.n, verified, 1).product_words})),
          table_memory(trel::TransformTables::bytes(largest)),
          tables(largest, table_memory.view(), trel::serial_context()),
          memory(std::max({plan.needs().bytes, VerifyB::needs(plan.n, verified, 1).bytes,
                           trel::multiply_scratch_bytes(2 * value.size())})),
          x(value.data(), value.size()) {
        x.L = value.size();
        x.exp = -static_cast<i64>(x.L);
        x.sign = true;
    }
    MultiplyContext context() const { return {trel::serial_context(), memory.view(), &tables}; }

    ConvertPlanP plan;
    std::vector<Word> value, out;
    u64 verified, largest;
    Memory table_memory;
    trel::TransformTables tables;
    Memory memory;
    BigFloat x;
};

template <class F>
double seconds(F&& f) {
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Conversion(benchmark::State& state) {
    Setting s(static_cast<u64>(state.range(0)));
    double fastest = 1e9;
    for (auto _ : state) {
        fastest = std::min(
            fastest, seconds([&] { convert(s.plan, s.context(), trel::null_status(), s.out.data(), s.x); }));
    }
    const u64 n = s.value.size();
    const std::vector<Word> b = random_words(n + 1);
    std::vector<Word> product(2 * n);
    double one = 1e9;
    for (int i = 0; i < 5; i++) {
        one = std::min(one, seconds([&] {
                           trel::multiply_full(s.context(), product.data(), s.value.data(), n, b.data(), n);
                       }));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["MB"] = static_cast<double>(s.plan.needs().bytes) * 1e-6;
    state.counters["products"] = fastest / one;
}

void Verification(benchmark::State& state) {
    Setting s(static_cast<u64>(state.range(0)));
    convert(s.plan, s.context(), trel::null_status(), s.out.data(), s.x);
    for (auto _ : state) {
        VerifyB::run(s.context(), trel::null_status(), s.out.data(), s.plan.n, s.verified, s.x);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["MB"] = static_cast<double>(VerifyB::needs(s.plan.n, s.verified, 1).bytes) * 1e-6;
}

void OneProduct(benchmark::State& state) {
    Setting s(static_cast<u64>(state.range(0)));
    const u64 n = s.value.size();
    const std::vector<Word> b = random_words(n + 1);
    std::vector<Word> product(2 * n);
    for (auto _ : state) trel::multiply_full(s.context(), product.data(), s.value.data(), n, b.data(), n);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void GmpGetStr(benchmark::State& state) {
    const u64 digits = static_cast<u64>(state.range(0));
    const std::vector<Word> value =
        random_words(static_cast<u64>(static_cast<double>(digits) * 0.0519051265));
    mpz_t z;
    mpz_init(z);
    mpz_import(z, value.size(), -1, 8, 0, 0, value.data());
    std::vector<char> text(digits + 100);
    for (auto _ : state) mpz_get_str(text.data(), 10, z);
    mpz_clear(z);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

constexpr i64 k1k = 1000, k10k = 10000, k100k = 100000, k1M = 1000000, k10M = 10000000;
BENCHMARK(Conversion)->Arg(k1k)->Arg(k10k)->Arg(k100k)->Arg(k1M)->Arg(k10M)->Unit(benchmark::kMillisecond);
BENCHMARK(OneProduct)->Arg(k1M)->Arg(k10M)->Unit(benchmark::kMillisecond);
BENCHMARK(Verification)->Arg(k1M)->Arg(k10M)->Unit(benchmark::kMillisecond);
BENCHMARK(GmpGetStr)->Arg(k1k)->Arg(k10k)->Arg(k100k)->Arg(k1M)->Arg(k10M)->Unit(benchmark::kMillisecond);

}  // namespace
