#include "digits/convert/verify.h"

#include <algorithm>
#include <string>

#include "arith/m61/m61.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/power_word.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"
#include "digits/convert/power_table.h"

namespace kalvor::CBRv2 {

namespace {

// Sizes in words of the product whose low words are needed.
struct Sizes {
    u64 low;    // words of Z mod 2^s
    u64 power;  // words of 5^d
    u64 product() const { return low + std::min(low, power); }
};

// L: words of |x| after the point.
Sizes sizes_of(u64 L, u64 d) {
    const u64 low = 64 * L > d ? (64 * L - d + 63) / 64 : 0;
    return {low, PowerWordPlan::exact_words(5, d)};
}

// (hash R^n + the n words below `end`, the highest first) mod M61. One link of the chain for four words: the
// sum stays below 2^127.
u64 extend_hash(u64 hash, const Word* end, u64 n) {
    const u64 power = m61::canonical(kRadix19);
    const u64 power2 = m61::canonical(m61::mul(power, power));
    const u64 power3 = m61::canonical(m61::mul(power2, power));
    const u64 power4 = m61::canonical(m61::mul(power2, power2));
    for (; n >= 4; n -= 4, end -= 4) {
        const u128 sum = u128(hash) * power4 + u128(end[-1]) * power3 + u128(end[-2]) * power2 +
                         u128(end[-3]) * power + end[-4];
        const u64 high = static_cast<u64>(sum >> 64), low = static_cast<u64>(sum);
        hash = ((high << 3) & m61::kM61) + (high >> 58) + (low >> 61) + (low & m61::kM61);
    }
    for (; n > 0; n--, end--) hash = m61::add(m61::mul(hash, power), m61::fold(end[-1]));
    return hash;
}

Sizes largest_sizes(u64 n, u64 n_verify) {
    return sizes_of(fraction_length(radix_word_size(kRadix19), n), kDigitsPerWord * n_verify);
}

}  // namespace

// The power, and above it first its making, then the product.
Needs VerifyB::needs(u64 n, u64 n_verify, u64 tds) {
    const Sizes sizes = largest_sizes(n, n_verify);
    if (sizes.low == 0) return {};
    const PowerWordPlan power = PowerWordPlan::make_exact(5, kDigitsPerWord * n_verify, tds);
    return product_needs(sizes.product()).above(sizes.low).maximum(power.needs()).above(power.result);
}

VerifyB::Hashes VerifyB::hash_radix(const Word* radix_words, u64 n, u64 n_verify, u64 digits) {
    const Word* const end = radix_words + n;  // the first word is below it
    const u64 whole = digits / kDigitsPerWord, cut = digits % kDigitsPerWord;
    Hashes hashes;
    u64 hash = 0, done = 0;
    const auto go_to = [&](u64 place) {
        hash = extend_hash(hash, end - done, place - done);
        done = place;
    };
    if (n_verify <= whole) {
        go_to(n_verify);
        hashes.words = m61::canonical(hash);
    }
    go_to(whole);
    hashes.digits = hash;
    if (cut != 0) {
        const Word word = end[-1 - static_cast<i64>(whole)];
        const u64 power = m61::pow(10, cut);
        Word behind = 1;
        for (u64 i = cut; i < kDigitsPerWord; i++) behind *= 10;
        hashes.digits = m61::add(m61::mul(hash, power), m61::fold(word / behind));
        hash = m61::add(m61::mul(hash, m61::fold(kRadix19)), m61::fold(word));
        done++;
    }
    hashes.digits = m61::canonical(hashes.digits);
    if (n_verify > whole) {
        go_to(n_verify);
        hashes.words = m61::canonical(hash);
    }
    return hashes;
}

u64 VerifyB::hash_binary(const MultiplyContext& context, Status& status, const BigFloat& x, u64 d) {
    // What is left of a value far below the last digit, however far.
    if (x.L == 0) return 0;
    const u64 ten_d = m61::pow(10, d);
    const u64 residue = m61::mul(m61::mul_pow2_64(m61::hash_words(x.T, x.L), x.exp), ten_d);
    if (x.exp >= 0 || 64 * static_cast<u64>(-x.exp) <= d) return m61::canonical(residue);  // an integer

    const u64 L = static_cast<u64>(-x.exp);
    const u64 s = 64 * L - d;
    const Sizes sizes = sizes_of(L, d);
    AlignedBufferC memory = context.scratch;
    const PowerWordPlan plan = PowerWordPlan::make_exact(5, d, context.parallel.tds);
    BigFloat power = carve<BigFloat>(memory, plan.result);
    power.set_double(1.0, 0);  // what d = 0 leaves
    {
        StatusFrame frame(status, "Powering...   ");
        frame.node().refresh();
        const newton::RunMemory inner(context.with_scratch(memory), plan.temporaries);
        Power_uW_uL_BigFloatR::run(plan, inner.context, frame.node(), power, 5, d, sizes.power,
                                   inner.temporaries);
    }
    const u64 power_hash = m61::mul_pow2_64(m61::hash_words(power.T, power.L), power.exp);
    check_power_hash(status, "VerifyB::hash_binary()", m61::mul_pow2(power_hash, static_cast<i64>(d)), 10, d);
    if (power.exp != 0) {
        throw AlgorithmFailedException("VerifyB::hash_binary()", "The power is not exact.");
    }

    StatusFrame frame(status, "Multiplying...    ");
    frame.node().refresh();
    const u64 n = std::min(sizes.low, x.L);
    const u64 m = std::min(sizes.low, power.L);
    Word* const low = carve_words(memory, sizes.low);
    std::fill_n(low, sizes.low, Word(0));
    multiply_truncated(context.with_scratch(memory), low, 0, std::min(sizes.low, n + m), x.T, n, power.T, m);
    if (s % 64 != 0) low[sizes.low - 1] &= (Word(1) << (s % 64)) - 1;
    // Z / 2^s and (Z mod 2^s) / 2^s, both with Z scaled by 2^-s already in the first
    const u64 fraction = m61::mul_pow2(m61::hash_words(low, sizes.low), -static_cast<i64>(s));
    return m61::canonical(m61::sub(residue, fraction));
}

VerifyB::Hashes VerifyB::run(const MultiplyContext& context, Status& status, const Word* radix_words, u64 n,
                             u64 n_verify, const BigFloat& x, u64 digits, const char* function) {
    const u64 needed = std::max(n_verify, (digits + kDigitsPerWord - 1) / kDigitsPerWord);
    if (n < needed) throw BufferTooSmallException(function, n, needed);
    const u64 d = kDigitsPerWord * n_verify;
    const u64 integer = m61::mul(m61::fold(x.word_at(0)), m61::pow(10, d));
    const Hashes hashes = hash_radix(radix_words, n, n_verify, digits);
    const u64 R = m61::canonical(m61::add(integer, hashes.words));

    BigFloat cut = x;
    const u64 length = fraction_length(radix_word_size(kRadix19), n);
    if (x.exp < 0 && static_cast<u64>(-x.exp) > length) {
        const u64 drop = std::min(static_cast<u64>(-x.exp) - length, x.L);
        cut.T += drop;
        cut.L -= drop;
        cut.exp += static_cast<i64>(drop);
        cut.residue = goldilocks::kNone;
    }
    const u64 B = hash_binary(context, status, cut, d);
    if (R == B) return hashes;
    // convert() rounds nines up to the decimal that x approaches, and then x lies below it.
    if (n > n_verify &&
        std::all_of(radix_words, radix_words + (n - n_verify), [](Word w) { return w == 0; }) &&
        m61::canonical(m61::add(B, 1)) == R) {
        return hashes;
    }
    status.Status_Line("R = " + std::to_string(R));
    status.Status_Line("B = " + std::to_string(B));
    throw AlgorithmFailedException(function, "Base Conversion Failed: Checksum Mismatch");
}

}  // namespace kalvor::CBRv2
