#include "digits/convert/remainder.h"

#include <algorithm>

#include "arith/kernels/word_array.h"
#include "base/errors/exceptions.h"

namespace kalvor::CBRv2 {

namespace {

const char kFunction[] = "RemainderFloatB::set_inverse_fmul()";

struct Convolution {
    const MultiplyContext& context;
    const PowerView& power;

    // out[0 .. total - skip) = words skip .. total - 1 of A P, as far as the convolution leaves them.
    void run(Word* out, u64 skip, u64 total, const Word* A, u64 length) const {
        const Transform& transform = power.transform;
        AlignedBufferC scratch = context.scratch;
        if (power.data == nullptr) {
            transform.multiply_plain(context.parallel, out, skip, total, A, length, power.words, power.n,
                                     scratch.spawn(transform.plain_bytes()).get(), goldilocks::kNone,
                                     power.carried);
            return;
        }
        const auto [work, space] = TransformMemory(transform, scratch);
        transform.multiply_held(context.parallel, out, skip, total, A, length, power.data, work, space);
    }
};

// Takes back a shift by one unit at the guard word window[0], whose true value is `guard`.
void repair(Word* window, u64 n, Word guard) {
    const Word difference = guard - window[0];
    if (difference == 0) return;
    if (difference == 1) {
        add_word_ip(window, n, 1);
    } else if (difference == ~Word(0)) {
        sub_word_ip(window, n, 1);
    } else {
        throw AlgorithmFailedException(kFunction, "Product window does not fit its low words.");
    }
}

}  // namespace

RadixFraction RemainderFloatB::set_inverse_fmul(const MultiplyContext& context,
                                                const ConvertPlanP::Level& level, const PowerView& power,
                                                RadixFraction f, u64 out_words, Word* out) {
    if (out_words > level.lower_words) throw InvalidParametersException(kFunction, "Truncated Range");
    const u64 e = static_cast<u64>(level.power_exp);
    if (f.L < e) throw AlgorithmFailedException(kFunction, "Unexpected: tmag < 0");

    // The words that reach the fraction, without zeros at either end.
    const u64 q = f.L - e;
    RadixFraction a = {f.words, std::min(f.stored, q), q};
    a = a.stripped();
    if (a.stored == 0) return {};

    const u64 W = power.transform.convolution_words();
    const u64 product = a.stored + power.n;
    const Convolution convolution{context, power};

    if (product <= W) {
        const u64 skip = a.L > out_words ? a.L - out_words : 0;
        const u64 total = std::min(product, a.L);
        if (total <= skip) return {};
        convolution.run(out, skip, total, a.words, a.stored);
        return {out, total - skip, a.L - skip};
    }

    const u64 spoiled = product - W;
    if (a.L > W || a.L < out_words + 1 || a.L - out_words - 1 < spoiled) {
        throw InvalidParametersException(kFunction, "Truncated Range");
    }
    const u64 skip = a.L - out_words - 1;
    convolution.run(out, skip, a.L, a.words, a.stored);
    if (out[0] == 0 || out[0] == ~Word(0)) {
        const u64 low = std::min(a.stored, skip + 1);
        if (low + power.n > W) throw InvalidParametersException(kFunction, "Truncated Range");
        Word guard = 0;
        convolution.run(&guard, skip, skip + 1, a.words, low);
        repair(out, out_words + 1, guard);
    }
    return {out + 1, out_words, out_words};
}

}  // namespace kalvor::CBRv2
