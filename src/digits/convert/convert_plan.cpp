#include "digits/convert/convert_plan.h"

#include <algorithm>
#include <bit>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_array.h"
#include "arith/multiply/algorithm_table.h"
#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"

namespace kalvor::CBRv2 {

using trel::round_up_64;
using trel::round_up_8;

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
        trel::assertion_failure("ConvertPlanP::populate_fft_plans(): Thread Inconsistancy", "", "");
    }
}

// R^b by left-to-right binary powering.
void ConvertPlanP::make_base_power() {
    Word x[32] = {radix};
    u64 length = 1;
    for (int bit = static_cast<int>(std::bit_width(b)) - 2; bit >= 0; bit--) {
        Word square[32] = {};
        trel::sqr_basecase(square, x, length);
        length *= 2;
        if ((b >> bit) & 1) {
            const Word top = trel::bp_mul_uW(square, square, length, radix, 0, trel::serial_context());
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
        v.power_exp = static_cast<i64>(trel::u128(trailing_zeros) * H / 64);
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
        v.product_words = std::max({q, v.power_words + v.lower_words + 1, 2 * v.power_words + 3});
        const trel::MultiplySizes sizes =
            trel::basic_table64().get_algorithm(v.product_words).sizes(v.product_words);
        v.transform_bytes = sizes.transform_data;
        v.transform_scratch = sizes.transform_scratch;
        v.plain_bytes = std::max(round_up_64(sizes.scratch), sizes.transform_scratch);
        const u64 words = l == 0 ? base_power_words : 2 * level[l - 1].power_words;
        v.number_bytes = 8 * round_up_8(std::max(words, v.power_words));
        level.push_back(v);
    }
}

u64 ConvertPlanP::split_bytes(u64 l, u64 tasks) const {
    const Level& v = level[l];
    const u64 fraction = 8 * round_up_8(v.lower_words + 1);
    // The top power is transformed where it is used.
    const u64 product = l + 1 == levels ? v.plain_bytes : v.transform_bytes + v.transform_scratch;
    u64 below = 0;
    if (l > 0) {
        below = tasks >= 2 ? 2 * split_bytes(l - 1, (tasks + 1) / 2) : split_bytes(l - 1, 1);
    }
    return fraction + std::max(product, below);
}

void ConvertPlanP::make_sizes() {
    table_bytes = 0;
    scratch_bytes = 0;
    max_product_words = 0;
    for (u64 l = 0; l < levels; l++) {
        const Level& v = level[l];
        table_bytes += v.number_bytes;
        if (l + 1 < levels) {
            table_bytes += v.transform_bytes;
            scratch_bytes = std::max(scratch_bytes, v.transform_bytes + v.transform_scratch);
        }
        max_product_words = std::max(max_product_words, v.product_words);
    }
    if (levels == 0) return;
    scratch_bytes = std::max(scratch_bytes, split_bytes(levels - 1, tds));
    if (n > top_words()) {
        // Peeling: two fractions, the overlap word of each piece, and either a product or a piece's
        // conversion.
        const Level& v = level[levels - 1];
        const u64 product = 2 * v.transform_bytes + v.transform_scratch + 8 * round_up_8(v.product_words);
        const u64 pieces = n / v.radix_words + 1;
        scratch_bytes =
            2 * 8 * round_up_8(length(n)) + 8 * round_up_8(pieces) + std::max(product, scratch_bytes);
    }
}

ConvertPlanP ConvertPlanP::make(Word radix, u64 radix_words, u64 budget_bytes, u64 tds) {
    if (radix < 2 || radix_words < 1) {
        throw trel::InvalidParametersException("ConvertPlanP::make()", "Invalid Parameters");
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
        plan.make_sizes();
        if (plan.bytes() + 8 * plan.n <= budget_bytes) break;
        if (plan.levels < kMinDroppableLevels) break;
        plan.levels--;
    }
    return plan;
}

}  // namespace kalvor::CBRv2
