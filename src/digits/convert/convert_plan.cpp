#include "digits/convert/convert_plan.h"

#include <algorithm>
#include <bit>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_array.h"
#include "arith/multiply/algorithm_table.h"
#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"

namespace kalvor::CBRv2 {

namespace {

constexpr u64 kMinLeafSplit = 16;  // ranges of fewer radix words are leaves
constexpr u64 kMinDroppableLevels = 5;
constexpr u64 kSerialLevels = 8;  // the lowest levels add no parallelism of their own

u64 ceil_log2(u64 n) {
    return n <= 1 ? 0 : std::bit_width(n - 1);
}

}  // namespace

u64 ConvertPlanP::length(u64 n_radix_words) const {
    return fraction_length(word_size, n_radix_words);
}

void ConvertPlanP::check_tds(u64 asked) const {
    if (asked > tds) {
        assertion_failure("ConvertPlanP::populate_fft_plans(): Thread Inconsistancy", "", "");
    }
}

// R^b by left-to-right binary powering.
void ConvertPlanP::make_base_power() {
    Word x[32] = {radix};
    u64 length = 1;
    for (int bit = static_cast<int>(std::bit_width(b)) - 2; bit >= 0; bit--) {
        Word square[32] = {};
        sqr_basecase(square, x, length);
        length *= 2;
        if ((b >> bit) & 1) {
            const Word top = bp_mul_uW(square, square, length, radix, 0, serial_context());
            square[length++] = top;
        }
        while (square[length - 1] == 0) length--;
        std::copy_n(square, length, x);
    }
    const u64 zeros = trailing_zeros * b / 64;
    base_power_words = length - zeros;
    base_power.fill(0);
    std::copy_n(x + zeros, base_power_words, base_power.begin());
}

void ConvertPlanP::make_levels() {
    level.clear();
    for (u64 l = 0; l < levels; l++) {
        Level v{};
        v.radix_words = b << l;
        const u64 H = v.radix_words;
        v.power_exp = static_cast<i64>(u128(trailing_zeros) * H / 64);
        // floor(H log2(R) / 64) + 1 words; the addend is above the rounding error of the product for every H
        // < 2^40
        v.power_words = static_cast<u64>(static_cast<double>(H) * word_size + 0.001) + 1 - v.power_exp;
        v.input_words = length(H);
        // Below the top level a range has up to 2 H words, at the top level n.
        const u64 range = l + 1 == levels ? std::min(n, 2 * H) : 2 * H;
        v.lower_words = length(range - H);
        // The product of the fraction without the words that only reach the integer part (q words at most) by
        // the power. Of its words, those below q are needed from q - lower_words - 1 (a guard word) upwards,
        // see RemainderFloatB; and the square of the power must fit for the table and for the exact low
        // words.
        const u64 q = length(range) - static_cast<u64>(v.power_exp);
        const u64 product = std::max({q, v.power_words + v.lower_words + 1, 2 * v.power_words + 3});
        const MultiplySizes sizes = basic_table64().get_algorithm(product).sizes(product);
        v.transform_words = sizes.transform_words();
        v.held = sizes.held_product(product);
        // Where whole products run without a transform, their memory may be less than a transform's.
        v.plain = sizes.whole_product(product).maximum({0, sizes.transform_scratch, product});
        const u64 words = l == 0 ? base_power_words : 2 * level[l - 1].power_words;
        v.number_words = round_up_8(std::max(words, v.power_words));
        level.push_back(v);
    }
}

// The lower fraction, and above it first its making, then both halves.
Needs ConvertPlanP::split_needs(u64 l, u64 range_tds) const {
    const Level& v = level[l];
    // The top power is transformed where it is used.
    Needs needs = l + 1 == levels ? v.plain : v.held;
    if (l > 0)
        needs.take_maximum(forks(l, range_tds) ? split_needs(l - 1, (range_tds + 1) / 2).twice()
                                               : split_needs(l - 1, range_tds));
    return needs.above(v.lower_words + 1);
}

void ConvertPlanP::make_sizes() {
    table_words = 0;
    scratch = {};
    for (u64 l = 0; l < levels; l++) {
        const Level& v = level[l];
        table_words += v.number_words;
        if (l + 1 == levels) continue;
        table_words += v.transform_words;
        scratch.take_maximum(v.held);
    }
    if (levels == 0) return;
    scratch.take_maximum(split_needs(levels - 1, tds));
    if (n > top_words()) {
        // Peeling: two fractions, the overlap word of each piece, and either a product or a piece's
        // conversion.
        const Level& v = level[levels - 1];
        const u64 pieces = n / v.radix_words + 1;
        scratch.take_maximum(v.held.above(v.transform_words).above(v.held.product_words));
        scratch = scratch.above(length(n)).above(length(n)).above(pieces);
    }
}

// Every fork keeps the lower fractions of both halves at once, so each level of forks holds as many words as
// the value has. Where the range is long, its product alone keeps the tasks busy: its halves then run one
// after the other, at as many levels from the top as it takes to need a quarter more than one task at most.
void ConvertPlanP::bound_forks() {
    const u64 asked = tds;
    const auto bytes = [this](u64 tasks) {
        tds = tasks;
        make_sizes();
        return needs().bytes + 8 * n;
    };
    forks_below = levels;
    const u64 bound = bytes(1) / 4 * 5;
    while (bytes(asked) > bound && forks_below > kSerialLevels) forks_below--;
}

ConvertPlanP ConvertPlanP::make(Word radix, u64 radix_words, u64 budget_bytes, u64 tds) {
    if (radix < 2 || radix_words < 1) {
        throw InvalidParametersException("ConvertPlanP::make()", "Invalid Parameters");
    }
    ConvertPlanP plan{};
    plan.radix = radix;
    plan.trailing_zeros = std::countr_zero(radix);
    plan.word_size = radix_word_size(radix);
    plan.n = radix_words;
    plan.b = radix_words;
    while (plan.b >= kMinLeafSplit) {
        plan.b = (plan.b + 1) / 2;
        plan.levels++;
    }
    plan.make_base_power();
    for (;;) {
        const u64 k = std::min(std::max(plan.levels, kSerialLevels) - kSerialLevels, ceil_log2(tds));
        plan.tds = std::min(u64(1) << k, std::max<u64>(tds, 1));
        plan.make_levels();
        plan.bound_forks();
        if (plan.needs().bytes + 8 * plan.n <= budget_bytes) break;
        if (plan.levels < kMinDroppableLevels) break;
        plan.levels--;
    }
    return plan;
}

}  // namespace kalvor::CBRv2
