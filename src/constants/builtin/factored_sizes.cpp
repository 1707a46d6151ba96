#include "constants/builtin/factored_sizes.h"

#include <algorithm>
#include <bit>

#include "arith/multiply/product_needs.h"

namespace kalvor {
namespace {

// Bits of the number of term k, and of every one before it.
u64 bits_of(const FactoredNumber& number, u64 k) {
    u64 n = static_cast<u64>(std::bit_width(number.constant));
    for (const LinearFactor& f : number.factors) {
        const u64 value = f.slope * k + (f.offset > 0 ? static_cast<u64>(f.offset) : 0);
        n += f.power * static_cast<u64>(std::bit_width(value));
    }
    return n;
}

u64 words_of(const Needs& needs) {
    return needs.bytes / sizeof(Word);
}

}  // namespace

u64 FactoredSizes::level_of(u64 blocks) {
    return static_cast<u64>(std::bit_width(blocks - 1));
}
u64 FactoredSizes::left_blocks(u64 blocks) {
    return u64(1) << (level_of(blocks) - 1);
}

u64 FactoredSizes::product_scratch_words(u64 n) {
    if (n <= kSingleWords) return 0;
    const u64 half = n / 2;
    return round_up_8(half) + round_up_8(n - half) + product_scratch_words(n - half);
}

FactoredSizes::FactoredSizes(const FactoredNumber& Q, const FactoredNumber& R, u64 last,
                             const BinarySplitting::CommonP2B3::Series::TermWords& term, u64 longest)
    : bits_Q_(bits_of(Q, last)), bits_R_(bits_of(R, last)), term_(term) {
    // Halves are summed above the numbers of both; no half is longer than the left one, and each length takes
    // no less than those before it.
    std::vector<u64> sums;
    for (u64 blocks = 1; blocks <= blocks_of(longest); blocks++) {
        u64 inner = 0, outer = 0;
        if (blocks == 1) {
            inner = outer = sum_block();
        } else {
            const u64 left = left_blocks(blocks), right = blocks - left;
            const u64 both = numbers(left * kBlockTerms) + numbers(right * kBlockTerms);
            inner = both + std::max(sums[left - 1], merge(blocks, true));
            outer = both + std::max(sums[left - 1], merge(blocks, false));
            inner = std::max(inner, sums.back());
        }
        sums.push_back(inner);
        outer += before_sums(blocks, Q.factors.size() + R.factors.size());
        scratch_.push_back(scratch_.empty() ? outer : std::max(outer, scratch_.back()));
    }
}

// The factors of each term, and for both sides words, their levels, counts and the words that are open.
u64 FactoredSizes::before_sums(u64 blocks, u64 factors) const {
    u64 n = round_up_8(factors * blocks * kBlockTerms);
    for (const bool of_Q : {true, false}) {
        n += blocks * kept(of_Q) + round_up_8(blocks * kept(of_Q) / 8) + round_up_8((blocks + 1) / 2) +
             blocks * kLevels;
    }
    return n;
}

// p, q, r; P, X, Y; Q, Z; R, W of FactoredLeaf::sum_words().
u64 FactoredSizes::sum_words() const {
    return round_up_8(term_.P) + round_up_8(term_.Q) + round_up_8(term_.R) + 3 * round_up_8(P(kWordTerms)) +
           2 * round_up_8(Q_of_words(kWordTerms)) + 2 * round_up_8(R_of_words(kWordTerms));
}

// n: kWordTerms times a power of two
u64 FactoredSizes::sum_piece(u64 n) const {
    if (n <= kWordTerms) return sum_words();
    const u64 half = n / 2;
    return 2 * numbers(half) + std::max(sum_piece(half), round_up_8(R(half) + P(half)));
}

u64 FactoredSizes::sum_block() const {
    u64 n = sum_piece(kBlockTerms);
    for (const bool of_Q : {true, false}) {
        const u64 words = gathered(of_Q);
        n = std::max(n, round_up_8(words) + product_scratch_words(words));
    }
    return n;
}

// What is never matched in a range's Q or R, and what is matched above `level`, multiplied: words of primes
// that are kept are full, those that are open may hold one prime each.
u64 FactoredSizes::with_matched(u64 blocks, u64 level, bool of_Q) const {
    return blocks * kBlockTerms * bits(of_Q) / kFullBits + blocks * (kLevels - 1 - level) + 2;
}

// Beside it, while it is formed: its words as they are gathered, then their product.
u64 FactoredSizes::while_matching(u64 blocks, u64 level, bool of_Q) const {
    const u64 words = with_matched(blocks, level, of_Q);
    const u64 gathering = blocks * (kept(of_Q) + kLevels);
    const u64 multiplying = round_up_8(words) + std::max(round_up_8(words) + product_scratch_words(words),
                                                         words_of(product_needs(words)));
    return std::max(round_up_8(gathering), round_up_8(words) + multiplying);
}

u64 FactoredSizes::merge(u64 blocks, bool matched_above) const {
    const u64 level = level_of(blocks), left = left_blocks(blocks), right = blocks - left;
    const u64 n1 = left * kBlockTerms, n2 = right * kBlockTerms;
    u64 R1 = 0, Q2 = 0, matching = 0;
    if (matched_above && level + 1 < kLevels) {
        R1 = round_up_8(with_matched(left, level, false));
        Q2 = round_up_8(with_matched(right, level, true));
        matching = std::max(while_matching(left, level, false), R1 + while_matching(right, level, true));
    }
    const u64 T = R(n1) + P(n2), both = std::max(P(n1), Q(n1)) + Q(n2);
    const u64 products = std::max(words_of(product_needs(T)), words_of(kept_product_needs(both, kAnyRoom)));
    // If nothing is matched above, the gathered words are none, but gathering takes its memory.
    const u64 gathering = round_up_8(left * (std::max(kept(true), kept(false)) + kLevels));
    return std::max({gathering, matching, R1 + Q2 + round_up_8(T) + products});
}

}  // namespace kalvor
