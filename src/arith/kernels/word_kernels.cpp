#include "arith/kernels/word_kernels.h"

#include "arith/kernels/word_loops.h"
#include "os/cpu.h"

namespace trel {
namespace {

// The next block of `rest` words: eight, but the last two blocks share what is left (9 = 5 + 4), because an added
// block has at least 4 words. No division: it would cost as much as ten products.
u64 next_block(u64 rest) {
    if (rest <= 8) return rest;
    return rest >= 12 ? 8 : (rest + 1) / 2;
}

template <const BlockProducts& products>
void mul_basecase(Word* T, const Word* A, u64 n, const Word* B, u64 m) {
    if (m == 1) {
        T[n] = trel_mul_1(T, A, n, B[0], 0);
        return;
    }
    u64 k = next_block(n);
    products.mul_fresh[k](T, A, B, m);
    while (n > k) {
        T += k;
        A += k;
        n -= k;
        k = next_block(n);
        products.mul_add[k](T, A, B, m);
    }
}

template <const BlockProducts& products>
void sqr_basecase(Word* T, const Word* A, u64 n) {
    if (n == 1) {
        T[1] = trel_mul_1(T, A, 1, A[0], 0);
        return;
    }
    u64 done = next_block(n);
    products.sqr_fresh[done](T, A, n);
    while (done < n) {
        const u64 k = next_block(n - done);
        products.sqr_add[k](T + 2 * done, A + done, n - done);
        done += k;
    }
    products.sqr_finish(T, A, n);
}

constinit const WordKernels kBmi2{
    "bmi2", mul_basecase<kBlockProductsBmi2>, sqr_basecase<kBlockProductsBmi2>};
constinit const WordKernels kAdx{
    "adx", mul_basecase<kBlockProductsAdx>, sqr_basecase<kBlockProductsAdx>};

}  // namespace

const std::vector<const WordKernels*>& available_word_kernels() {
    static const std::vector<const WordKernels*> kernels = [] {
        const u32 features = os::cpuid(7).ebx;
        std::vector<const WordKernels*> found{&kBmi2};
        if (features >> 19 & 1) found.push_back(&kAdx);
        return found;
    }();
    return kernels;
}

const WordKernels& word_kernels() {
    static const WordKernels& kernels = *available_word_kernels().back();
    return kernels;
}

}  // namespace trel
