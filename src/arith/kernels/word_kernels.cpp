#include "arith/kernels/word_kernels.h"

#include "arith/kernels/word_loops.h"
#include "os/cpu.h"

namespace trel {
namespace {

u8 add_n(Word* T, const Word* A, const Word* B, u64 n, u8 carry) {
    return trel_add_n(T, A, B, n, carry);
}

u8 sub_n(Word* T, const Word* A, const Word* B, u64 n, u8 borrow) {
    return trel_sub_n(T, A, B, n, borrow);
}

Word mul_1(Word* T, const Word* A, u64 n, Word w, Word c) {
    return trel_mul_1(T, A, n, w, c);
}

u8 negate(Word* T, const Word* A, u64 n, u8 carry) {
    u64 i = 0;
    if (carry) {
        while (i < n && A[i] == 0) T[i++] = 0;
        if (i == n) return 1;
        T[i] = 0 - A[i];
        i++;
    }
    for (; i < n; i++) T[i] = ~A[i];
    return 0;
}

// A in blocks of nearly equal length, at most 8 words: 9 words are 5 + 4, so that added blocks have 4 words or
// more.
struct BlockSizes {
    u64 count, size, larger;  // `larger` blocks of size + 1, the others of `size`
    explicit BlockSizes(u64 n) : count((n + 7) / 8), size(n / count), larger(n % count) {}
    u64 operator[](u64 i) const { return size + (i < larger); }
};

template <const BlockProducts& products>
void mul_basecase(Word* T, const Word* A, u64 n, const Word* B, u64 m) {
    if (m == 1) {
        T[n] = trel_mul_1(T, A, n, B[0], 0);
        return;
    }
    const BlockSizes blocks(n);
    u64 k = blocks[0];
    products.mul_fresh[k](T, A, B, m);
    for (u64 i = 1; i < blocks.count; i++) {
        T += k;
        A += k;
        k = blocks[i];
        products.mul_add[k](T, A, B, m);
    }
}

template <const BlockProducts& products>
void sqr_basecase(Word* T, const Word* A, u64 n) {
    if (n == 1) {
        T[1] = trel_mul_1(T, A, 1, A[0], 0);
        return;
    }
    const BlockSizes blocks(n);
    u64 done = blocks[0];
    products.sqr_fresh[done](T, A, n);
    for (u64 i = 1; i < blocks.count; i++) {
        const u64 k = blocks[i];
        products.sqr_add[k](T + 2 * done, A + done, n - done);
        done += k;
    }
    products.sqr_finish(T, A, n);
}

constinit const WordKernels kBmi2{
    "bmi2", add_n, sub_n, mul_1, negate, mul_basecase<kBlockProductsBmi2>, sqr_basecase<kBlockProductsBmi2>};
constinit const WordKernels kAdx{
    "adx", add_n, sub_n, mul_1, negate, mul_basecase<kBlockProductsAdx>, sqr_basecase<kBlockProductsAdx>};

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
