// Radix words of a binary fraction in GMP integers: by definition, and by the divide-and-conquer scheme with
// its cuts, overlap words and corrections.
#pragma once

#include <gmpxx.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "os/types.h"
#include "reference/mpz_words.h"

namespace reference {

inline constexpr Word kR = 10000000000000000000ULL;

// floor(F / 2^(64 L) * R^n): n radix words, the last one first.
inline std::vector<Word> radix_floor(const mpz_class& F, u64 L, u64 n, Word radix = kR) {
    const mpz_class R = to_mpz(&radix, 1);
    mpz_class power;
    mpz_pow_ui(power.get_mpz_t(), R.get_mpz_t(), n);
    mpz_class scaled = shifted(F * power, -static_cast<i64>(L));
    std::vector<Word> words(n);
    for (Word& w : words) {
        const mpz_class digit = scaled % R;
        mpz_export(&w, nullptr, -1, sizeof(Word), 0, 0, digit.get_mpz_t());
        if (digit == 0) w = 0;
        scaled /= R;
    }
    return words;
}

// The scheme. Ranges are most significant word first here.
class RadixModel {
  public:
    struct Range {
        std::vector<Word> words;
        Word overlap;
    };
    struct Mismatch : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    explicit RadixModel(u64 n) : b_(n) {
        while (b_ >= 16) {
            b_ = (b_ + 1) / 2;
            levels_++;
        }
    }
    // F / 2^(64 L), n radix words; the last one first, as the conversion stores them.
    std::vector<Word> run(mpz_class F, u64 L, u64 n) {
        Range r = convert(std::move(F), L, n, levels_);
        const bool nines = r.overlap >= kR - kSlack;
        const bool endless = std::all_of(r.words.begin(), r.words.end(), [](Word w) { return w == kR - 1; });
        if (nines && !endless) add_one(r.words);
        return {r.words.rbegin(), r.words.rend()};
    }
    u64 corrections = 0;
    u64 accepted = 0;  // overlap words too small by their truncation

    static u64 need(u64 n) {
        return static_cast<u64>(std::ceil(static_cast<double>(n + 1) * (std::log2(1e19) / 64))) + 2;
    }

  private:
    static constexpr Word kSlack = 9;  // 16 / 2^64 of a radix word, rounded up
    static void add_one(std::vector<Word>& words) {
        for (u64 i = words.size(); i-- > 0;) {
            if (words[i] != kR - 1) {
                words[i]++;
                return;
            }
            words[i] = 0;
        }
    }
    static void cut(mpz_class& F, u64& L, u64 n) {
        if (L <= n) return;
        F = shifted(F, -static_cast<i64>(L - n));
        L = n;
    }
    static Word word(const mpz_class& z) { return to_words(z, 1)[0]; }

    Range leaf(mpz_class F, u64 L, u64 n) {
        const mpz_class R = to_mpz(&kR, 1);
        cut(F, L, n + 2);
        Range r;
        for (u64 left = n + 1; left > 0; left--) {
            F *= R;
            r.words.push_back(word(shifted(F, -static_cast<i64>(L))));
            F = low_words(F, L);
            if (left > 1 && L > left) cut(F, L, L - 1);
        }
        r.overlap = r.words.back();
        r.words.pop_back();
        return r;
    }
    Range convert(mpz_class F, u64 L, u64 n, u64 k) {
        while (k > 0 && b_ << (k - 1) >= n) k--;
        if (k == 0) return leaf(F, L, n);
        const u64 H = b_ << (k - 1);
        cut(F, L, need(n));
        mpz_class power;
        mpz_pow_ui(power.get_mpz_t(), to_mpz(&kR, 1).get_mpz_t(), H);
        mpz_class g = low_words(F * power, L);
        u64 g_words = L;
        cut(g, g_words, need(n - H));
        const Range lower = convert(g, g_words, n - H, k - 1);
        cut(F, L, need(H));
        Range upper = convert(F, L, H, k - 1);
        if (lower.words[0] != upper.overlap) {
            const Word next = lower.words.size() > 1 ? lower.words[1] : lower.overlap;
            if (lower.words[0] == upper.overlap + 1 && next < kSlack) {
                accepted++;
            } else if (lower.words[0] != 0 || upper.overlap != kR - 1) {
                throw Mismatch(std::to_string(H) + " " + std::to_string(lower.words[0]) + " " +
                               std::to_string(upper.overlap));
            } else {
                corrections++;
                add_one(upper.words);
            }
        }
        upper.words.insert(upper.words.end(), lower.words.begin(), lower.words.end());
        return {upper.words, lower.overlap};
    }

    u64 b_;
    u64 levels_ = 0;
};

}  // namespace reference
