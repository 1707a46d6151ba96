#include "arith/fft/fft_algorithm.h"

#include <algorithm>

#include "arith/fft/fft_moduli.h"
#include "arith/fft/fft_parameters.h"
#include "arith/fft/fft_tables.h"
#include "arith/fft/fft_transform.h"
#include "arith/kernels/word_array.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/transform_tables.h"

namespace trel {
namespace {

const FftParameters& parameters_for(u64 words) {
    // sizes that overflow as bits are refused as well
    const u64 bits = words > kFftMaxBits ? words : 64 * words;
    return fft_parameter_table()[fft_entry_for(bits)];
}

const FftSharedTables* shared_tables(const MultiplyContext& context) {
    const SharedTables* tables = context.tables == nullptr ? nullptr : context.tables->find(fft_algorithm());
    return static_cast<const FftSharedTables*>(tables);
}

// A record may be a quarter longer than the one below it, so a product of just too many words would cost a
// quarter more. Such a product runs on the shorter record, a convolution of W words modulo 2^(64 W) + 1, and
// the words that fold over are found again:
//
//     the product, n = W + k words    |  H  |            L            |   H has k words, L has W words
//     what comes back                       |            S            |   S = L - H + c
//     its lowest k words                                        | S_k |   S_k = L_k - H + c
//     a product of k by k words gives                           | L_k |   H = L_k - S_k + c, L = S + H - c
//
// c 2^(64 W) is what the sum of the coefficients has above S. When L < H, S is larger by 2^(64 W) + 1.
//
// Worth it while the small product costs less than the points that it saves: 30 ns a word against 4 ns a
// point; operands that reach into the upper half of the points take some of that gain.
//
// The product is compared modulo 2^192 - 1 and not, as transforms do, modulo 2^61 - 1 as well: that would
// cost it nearly 2 % (docs/reliability.md: Waves of the FFT).
struct ShortRecord {
    const FftParameters* record = nullptr;  // nullptr: take the record that fits
    u64 words = 0;                          // W
    u64 k = 0;
};

ShortRecord short_record(u64 n, u64 longer_operand) {
    const u64 entry = fft_entry_for(64 * n);
    if (entry == 0) return {};
    const FftParameters &fits = fft_parameter_table()[entry], &below = fft_parameter_table()[entry - 1];
    const u64 W = below.capacity() / 64, k = n - W;
    if (longer_operand > W || 9 * k > fits.points() - below.points()) return {};
    return {&below, W, k};
}

// T[0..W) = S becomes all W + k words. The memory of the transforms is free again.
void unfold(const MultiplyContext& context, Word* T, const ShortRecord& r, i64 c, const Word* A, u64 LA,
            const Word* B, u64 LB) {
    AlignedBufferC memory = context.scratch;
    Word* const product = memory.spawn(round_up_64(16 * r.k)).word_pointer();
    // An operand of fewer than k words has zeros above.
    const u64 a = std::min(LA, r.k), b = std::min(LB, r.k);
    multiply_full(context.with_scratch(memory), product, A, a, B, b);
    std::fill(product + std::min(a + b, r.k), product + r.k, 0);

    // H = L_k - S_k + c, which is one too low when L < H. In both cases this H gives L = S + H - c modulo
    // 2^(64 W), and the carry out of L's top is the missing one.
    Word* const H = T + r.words;
    const u64 up = r.words - r.k;
    sub_n(H, product, T, r.k);
    u8 carry = 0, borrow = 0;
    if (c >= 0) {
        add_word_ip(H, r.k, static_cast<Word>(c));
        carry = add_n(T, T, H, r.k);
        borrow = sub_word_ip(T, r.k, static_cast<Word>(c));
    } else {
        sub_word_ip(H, r.k, static_cast<Word>(-c));
        carry = add_n(T, T, H, r.k);
        carry += add_word_ip(T, r.k, static_cast<Word>(-c));
    }
    const u8 out = add_word_ip(T + r.k, up, carry);
    if (out > sub_word_ip(T + r.k, up, borrow)) add_word_ip(H, r.k, 1);
}

}  // namespace

// The number of points never falls along the table, so the record of a size needs the most memory of all that
// smaller sizes reach.
MultiplySizes FftAlgorithm::sizes(u64 words) const {
    const FftParameters& parameters = parameters_for(wrapped_words(words));
    MultiplySizes s;
    s.output = round_up_64(8 * words);
    s.transform_data = round_up_64(parameters.points() * sizeof(double)) + Transform::kLabelBytes;
    s.transform_scratch = round_up_64(parameters.capacity() / 8);
    s.scratch = 2 * s.transform_data + s.transform_scratch;  // plain_bytes() of the transform
    return s;
}

// Refused are lengths with three or five times a power of two points whose divisor misses errors of some
// branches, as far as runs use them by default, and all without a divisor.
u64 FftAlgorithm::wrapped_words(u64 words) const {
    const std::span<const FftParameters> table = fft_parameter_table();
    const FftParameters* record = &parameters_for(words);
    const auto is_refused = [](const FftParameters& r) {
        return !fft_modulus(r) || (r.capacity() / 64 <= kShortProductWords && !fft_modulus_is_good(r));
    };
    if (!is_refused(*record)) return words;
    while (is_refused(*record) && record != &table.back()) record++;
    return record->capacity() / 64;
}

void FftAlgorithm::make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const {
    holder.emplace<FftTransform>(fft_kernels(), parameters_for(words), shared_tables(context));
}

u64 FftAlgorithm::sqr(const MultiplyContext& context, Word* T, const Word* A, u64 L, u64 carried) const {
    const ShortRecord r = short_record(2 * L, L);
    if (r.record == nullptr) return MultiplyAlgorithm::sqr(context, T, A, L, carried);
    const FftTransform transform(fft_kernels(), *r.record, shared_tables(context));
    const ParallelContext& parallel = context.parallel;
    AlignedBufferC memory = context.scratch;
    void* const x = memory.spawn(transform.data_bytes()).get();
    const auto run = [&](RingResidue*) {
        const i64 c = transform.unchecked_all(parallel, T, A, L, nullptr, 0, x, nullptr);
        unfold(context, T, r, c, A, L, A, L);
    };
    return check_product({parallel, "FFT", "square", 2 * L}, T, 0, 2 * L, A, L, A, L, run,
                         {carried, carried});
}

u64 FftAlgorithm::mul(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
                      Carried carried) const {
    const ShortRecord r = short_record(LA + LB, std::max(LA, LB));
    if (r.record == nullptr || LA == 0 || LB == 0) {
        return MultiplyAlgorithm::mul(context, T, A, LA, B, LB, carried);
    }
    const FftTransform transform(fft_kernels(), *r.record, shared_tables(context));
    const ParallelContext& parallel = context.parallel;
    AlignedBufferC memory = context.scratch;
    void* const x = memory.spawn(transform.data_bytes()).get();
    void* const y = memory.spawn(transform.data_bytes()).get();
    const auto run = [&](RingResidue*) {
        const i64 c = transform.unchecked_all(parallel, T, A, LA, B, LB, x, y);
        unfold(context, T, r, c, A, LA, B, LB);
    };
    return check_product({parallel, "FFT", "product", LA + LB}, T, 0, LA + LB, A, LA, B, LB, run, carried);
}

u64 FftAlgorithm::table_bytes(u64 words) const {
    return FftSharedTables::bytes(words);
}

std::unique_ptr<SharedTables> FftAlgorithm::make_tables(u64 words, AlignedBufferC memory,
                                                        const ParallelContext& parallel) const {
    return std::make_unique<FftSharedTables>(words, memory, parallel);
}

const MultiplyAlgorithm& fft_algorithm() {
    static const FftAlgorithm algorithm;
    return algorithm;
}

}  // namespace trel
