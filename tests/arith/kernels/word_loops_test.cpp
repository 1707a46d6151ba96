// The loops behind additions, subtractions and products by one word against plain arithmetic.
#include "arith/kernels/word_loops.h"

#include <random>

#include "arith/kernels/word_adders.h"
#include "kernel_fixture.h"
#include "os/cpu.h"

namespace trel {
namespace {

using reference::pattern;
using reference::Words;

constexpr Word kCanary = 0x5ca1ab1e0ddba11;

// The levels whose adders this processor can run. The looked-ahead form uses AVX512 F, DQ, BW only, so it is
// also tested on processors that lack other parts of its level.
std::vector<Isa> runnable_adders() {
    std::vector<Isa> isas;
    if (is_built(Isa::avx2)) isas.push_back(Isa::avx2);
    constexpr u32 kFDqBw = 1u << 16 | 1u << 17 | 1u << 30;
    if (is_built(Isa::avx512) && (os::cpuid(7).ebx & kFDqBw) == kFDqBw && (os::xcr0() & 0xe6) == 0xe6)
        isas.push_back(Isa::avx512);
    return isas;
}

class WordAddersTest : public ::testing::TestWithParam<Isa> {
  protected:
    const WordAdders& k = word_adders(GetParam());
};
INSTANTIATE_TEST_SUITE_P(Levels, WordAddersTest, ::testing::ValuesIn(runnable_adders()),
                         [](const auto& info) { return isa_name(info.param); });

TEST_P(WordAddersTest, AddAndSubtract) {
    std::mt19937_64 rng(1);
    for (u64 n = 0; n <= 140; n++) {
        for (int round = 0; round < 20; round++) {
            const Words a = pattern(n, rng), b = round % 4 ? pattern(n, rng) : a;
            const u8 c = rng() & 1;
            Words t(n + 1, kCanary);
            ASSERT_EQ(k.add(t.data(), a.data(), b.data(), n, c), reference::add(a, b, c)[n]) << n;
            ASSERT_EQ(t[n], kCanary);
            t[n] = reference::add(a, b, c)[n];
            ASSERT_EQ(t, reference::add(a, b, c)) << n;
            Words in_place = a;
            k.add(in_place.data(), in_place.data(), b.data(), n, c);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
            in_place = b;
            k.add(in_place.data(), a.data(), in_place.data(), n, c);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));

            t[n] = kCanary;
            const Words want = reference::sub(a, b, c);
            ASSERT_EQ(k.sub(t.data(), a.data(), b.data(), n, c), want[n]) << n;
            ASSERT_EQ(t[n], kCanary);
            t[n] = want[n];
            ASSERT_EQ(t, want) << n;
            in_place = a;
            k.sub(in_place.data(), in_place.data(), b.data(), n, c);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
            in_place = b;
            k.sub(in_place.data(), a.data(), in_place.data(), n, c);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
        }
    }
}

TEST(WordLoopsTest, MultiplyByOneWord) {
    std::mt19937_64 rng(2);
    for (u64 n = 0; n <= 140; n++) {
        for (int round = 0; round < 20; round++) {
            const Words a = pattern(n, rng);
            const Word edges[] = {0, 1, ~Word(0), Word(1) << 63, rng(), rng()};
            const Word w = edges[rng() % 6], c = edges[rng() % 6];
            Words product = n == 0 ? Words{0} : reference::mul(a, {w});
            Words low(n + 1, 0);
            low[0] = c;
            Words want = reference::add(product, low, 0);
            want.pop_back();
            Words t(n + 1, kCanary);
            const Word top = trel_mul_1(t.data(), a.data(), n, w, c);
            ASSERT_EQ(t[n], kCanary);
            t[n] = top;
            ASSERT_EQ(t, want) << n << " " << w << " " << c;
            Words in_place = a;
            ASSERT_EQ(trel_mul_1(in_place.data(), in_place.data(), n, w, c), top);
            ASSERT_TRUE(std::equal(in_place.begin(), in_place.end(), t.begin()));
        }
    }
}

}  // namespace
}  // namespace trel
