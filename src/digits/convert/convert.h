// Radix conversion of a binary fraction into 19-digit decimal words, with its plan and its checks.
#pragma once

#include <memory>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/status/status.h"

namespace kalvor::CBRv2 {

using trel::BigFloat;
using trel::MultiplyContext;
using trel::Status;
using trel::u64;
using trel::Word;

inline constexpr Word kRadix19 = 10000000000000000000ULL;
inline constexpr u64 kDigitsPerWord = 19;
// The writer's own memory beyond the plan's figure.
inline constexpr u64 kWriterReserveBytes = 43648;

// Radix words for a number of computed digits: floor(digits / 19) + 3.
constexpr u64 radix_words(u64 compute_digits) { return compute_digits / kDigitsPerWord + 3; }

class ConvertPlanP {
  public:
    struct Level {
        u64 radix_words;      // b * 2^level
        u64 power_words;      // words kept of R^(b 2^level)
        trel::i64 power_exp;  // their exponent
        u64 input_words;      // "length of level": input words that the level's radix words and overlap need
        u64 product_words;    // size of the truncated product by that power
        u64 scratch_bytes;
    };

    // radix >= 2, else InvalidParametersException. budget_bytes: 0 = no limit.
    static ConvertPlanP make(Word radix, u64 radix_words, u64 budget_bytes, u64 tds);

    Word radix;
    u64 trailing_zeros;  // t: radix = 2^t * odd
    u64 n;               // radix words
    u64 b;               // base length
    u64 levels;          // b * 2^levels >= n
    u64 tds;             // the plan's task count
    std::vector<Level> level;
    u64 table_bytes;     // power table
    u64 scratch_bytes;   // everything else that convert() needs
    u64 max_product_words;

    u64 bytes() const { return table_bytes + scratch_bytes; }
};

// Converts the fraction of |x| into plan.n radix words: radix_out[0] holds the least significant word, radix_out[n - 1]
// the first 19 digits. x.mag() <= 1. context.scratch: plan.bytes().
void convert(const ConvertPlanP& plan, const MultiplyContext& context, Status& status, Word* radix_out,
             const BigFloat& x, bool correction = false);

// Checks that the first d = 19 * n_verify digits agree with |x|: the hash of the radix words against floor(|x| * 10^d)
// computed without the conversion. radix_words as written by convert(), integer_part = the word at position 0.
// Throws AlgorithmFailedException.
struct VerifyB {
    static u64 scratch_bytes(u64 n_verify, u64 x_words, u64 tds);
    static u64 max_product_words(u64 n_verify, u64 x_words);
    static void run(const MultiplyContext& context, Status& status, const Word* radix_words, u64 n,
                    u64 n_verify, const BigFloat& x);
};

// The range check of a value before conversion; prints or throws as the value demands. report prints the value.
void words_to_dec(int sign, trel::i64 magnitude, void (*report)(const BigFloat&), const BigFloat& x);

}  // namespace kalvor::CBRv2
