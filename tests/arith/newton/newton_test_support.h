// What the tests of the Newton iterations share: memory of exactly the planned size between guard words and
// tasks on real threads, a status that records, and comparison with exact integers.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "arith/kernels/linear_word_buffer.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "base/errors/exceptions.h"
#include "base/status/status.h"
#include "reference/mpz_u64.h"
#include "support/capture_console.h"
#include "support/number.h"
#include "support/scratch.h"
#include "support/threads.h"

namespace kalvor_test {

using namespace trel;

// n words, 64-byte aligned, guarded on both sides.
class GuardedWords {
  public:
    explicit GuardedWords(u64 n) : memory_(8 * n) {}
    Word* get() const { return memory_.words(); }
    u64 size() const { return memory_.size() / 8; }
    bool intact() const { return memory_.guards_intact(); }

  private:
    Scratch memory_;
};

// Result, temporaries and scratch of exactly the sizes that a plan names.
struct Workspace {
    Workspace(u64 result_words, u64 temporary_words, u64 scratch_bytes, u64 tds = 1)
        : result(result_words),
          temporaries(temporary_words),
          scratch(scratch_bytes / 8),
          T(result.get(), result_words),
          context{{thread_framework(), tds}, AlignedBufferC(scratch.get(), scratch_bytes), nullptr} {}
    // All of it in the context's memory, as formulas hand it over.
    explicit Workspace(const Needs& needs, u64 tds = 1)
        : Workspace(needs.result_words, 0, needs.bytes, tds) {}
    LinearWordBuffer buffer() const { return {temporaries.get(), temporaries.size()}; }
    // The result carries its residue as well.
    bool intact() const {
        return result.intact() && temporaries.intact() && scratch.intact() &&
               (T.L == 0 || T.residue == T.computed_residue(serial_context()));
    }

    GuardedWords result, temporaries, scratch;
    BigFloat T;
    MultiplyContext context;
};

using Number = kalvor_test::NumberOf<BigFloat>;

// Records the frames and sections that are opened.
class RecordingStatus final : public Status {
  public:
    std::vector<std::string> frames, sections;
    u64 depth = 0;
    u64 count(const std::string& begin) const {
        u64 n = 0;
        for (const std::string& text : frames) n += text.rfind(begin, 0) == 0;
        return n;
    }

    void Status_ColoredLine(const std::vector<ColoredText>&) override {}
    void Status_Line(std::string_view) override {}
    void Status_Label(u64, std::string_view, const ColoredText&) override {}
    void Status_Time(std::string_view, double) override {}
    void Warning(std::string_view) override {}
    void PauseWarning(std::string_view) override {}
    void FatalError(std::string_view) override { std::abort(); }
    void Status_LineSectionStart(std::string_view) override {}
    void Status_LineSectionAdd(const ColoredText&) override {}
    void Status_LineSectionEnd() override {}
    void refresh(bool) override {}
    Status& Status_MicroSectionStart(std::string_view name) override {
        sections.emplace_back(name);
        depth++;
        return *this;
    }
    void Status_MicroSectionEnd() override { depth--; }
    Status& push_node(const ColoredText& text) override {
        frames.push_back(text.text);
        depth++;
        return *this;
    }
    void pop_frame() override { depth--; }
    StatusIterationNode& make_iteration(IterationMode, u64) override { std::abort(); }
};

// An owned GMP integer.
class Integer {
  public:
    Integer(u64 v = 0) { mpz_init_set(z, reference::mpz_of(v).get_mpz_t()); }
    Integer(const Word* words, u64 n) {
        mpz_init(z);
        mpz_import(z, n, -1, sizeof(Word), 0, 0, words);
    }
    explicit Integer(const BigFloat& A) : Integer(A.T, A.L) {}
    Integer(const Integer& o) { mpz_init_set(z, o.z); }
    Integer& operator=(const Integer& o) {
        mpz_set(z, o.z);
        return *this;
    }
    ~Integer() { mpz_clear(z); }
    Integer times(const Integer& o) const {
        Integer r;
        mpz_mul(r.z, z, o.z);
        return r;
    }
    Integer minus(const Integer& o) const {
        Integer r;
        mpz_sub(r.z, z, o.z);
        return r;
    }
    // times 2^(64 n), n of either sign (truncating)
    Integer shifted_words(i64 n) const {
        Integer r;
        if (n >= 0)
            mpz_mul_2exp(r.z, z, static_cast<mp_bitcnt_t>(64 * n));
        else
            mpz_tdiv_q_2exp(r.z, z, static_cast<mp_bitcnt_t>(-64 * n));
        return r;
    }
    static Integer power_of_word(i64 n) { return Integer(1).shifted_words(n); }
    double log2() const {
        if (mpz_sgn(z) == 0) return -1e18;
        long e;
        const double d = mpz_get_d_2exp(&e, z);
        return std::log2(std::fabs(d)) + static_cast<double>(e);
    }
    bool operator==(const Integer& o) const { return mpz_cmp(z, o.z) == 0; }
    mpz_t z;
};

// Position of the last word that a result of p words keeps: p + 1 words below the top, or one more where the
// sum of the last step cancelled from 1.000... to 0.999...
inline i64 last_kept(const BigFloat& T, u64 p) {
    const i64 last = T.mag() - static_cast<i64>(p) - 1;
    return T.L == p ? std::max(last, T.exp) : last;
}

// log2 of |T - A/B| in units of the word p + 1 words below T's top, that is of the last word that a result of
// p words keeps. T, A, B > 0.
inline double quotient_error(const BigFloat& T, const BigFloat& A, const BigFloat& B, u64 p) {
    // |t b 2^(64 (eT + eB)) - a 2^(64 eA)| / (b 2^(64 eB)) / 2^(64 (mag - p - 1))
    const i64 left = T.exp + B.exp;
    const i64 low = std::min(left, A.exp);
    const Integer t(T), a(A), b(B);
    const Integer difference = t.times(b).shifted_words(left - low).minus(a.shifted_words(A.exp - low));
    const i64 unit = last_kept(T, p);
    return difference.log2() - b.log2() + 64.0 * static_cast<double>(low - B.exp - unit);
}
// The same for w^(-1/2): |T - s| = |T^2 w - 1| / (w (T + s)).
inline double invsqrt_error(const BigFloat& T, Word w, u64 p) {
    const Integer t(T);
    const i64 low = 2 * T.exp;
    Integer difference = t.times(t).times(Integer(u64(w)));
    difference = low > 0 ? Integer(1) : difference.minus(Integer::power_of_word(-low));
    const i64 unit = last_kept(T, p);
    return difference.log2() - std::log2(static_cast<double>(w)) - 1 - t.log2() +
           64.0 * static_cast<double>(low - T.exp - unit);
}

// The same for A^(-1/n), A > 0: T^n A = 1 + d, and |T - root| = T |d| / n but for d's square.
inline double root_error(const BigFloat& T, const BigFloat& A, u64 n, u64 p) {
    const Integer t(T);
    Integer power;
    mpz_pow_ui(power.z, t.z, static_cast<unsigned long>(n));
    const Integer product = power.times(Integer(A));
    const i64 low = static_cast<i64>(n) * T.exp + A.exp;
    if (low > 0) return 1e18;
    const Integer difference = product.minus(Integer::power_of_word(-low));
    return difference.log2() + 64.0 * static_cast<double>(low) - std::log2(static_cast<double>(n)) +
           t.log2() + 64.0 * static_cast<double>(T.exp - last_kept(T, p));
}

// Operands that make truncated arithmetic carry far: random words, all ones, single bits, and their
// neighbours.
enum class Shape {
    random,
    small_top,
    ones,
    power_of_two,
    above_power,
    below_power,
    one_plus,
    one_minus,
    count
};
inline std::vector<Word> make_words(Shape shape, u64 n, std::mt19937_64& rng) {
    std::vector<Word> w(n, 0);
    const u64 bit = 64 * (n - 1) + rng() % 64;
    const auto set = [&w](u64 b) { w[b / 64] |= Word(1) << (b % 64); };
    switch (shape) {
        case Shape::random:
            for (Word& x : w) x = rng();
            w[n - 1] |= 1;
            break;
        case Shape::small_top:
            for (Word& x : w) x = rng();
            w[n - 1] = 1;
            break;
        case Shape::ones:
            for (Word& x : w) x = ~Word(0);
            break;
        case Shape::power_of_two:
            set(bit);
            break;
        case Shape::above_power:
            set(bit);
            w[0] |= 1 + rng() % 3;
            break;
        case Shape::below_power:
            for (u64 b = 0; b <= bit; b++) set(b);
            if (bit > 0) w[0] -= rng() % 2;
            break;
        case Shape::one_plus:
            set(64 * n - 1);
            set(rng() % (64 * n));
            break;
        case Shape::one_minus:
            for (u64 b = rng() % (64 * n); b < 64 * n; b++) set(b);
            break;
        case Shape::count:
            break;
    }
    return w;
}

// The largest error that a result may have, log2 in units of its last kept word: truncation of the correction
// and of the sum, the upward nudge, and the square of the previous level's error. A double is good to 2^-51,
// and one iteration from it to about 2^-100, which is more than the words asked for but less than the words
// kept.
inline double error_bits(u64 p) {
    return p == 0 ? 13.0 : p == 1 ? 28.0 : 4.5;
}
// The same for a quotient below 10 words, a plain product by the reciprocal: relative to the quotient only p
// words are right (50 bits of a double for p = 0, but no better than the last kept word).
inline double quotient_error_bits(const BigFloat& T, u64 p) {
    if (p >= 10) return error_bits(p);
    const double top_bits = Integer(T).log2() - 64.0 * static_cast<double>(T.L - 1);
    return p == 0 ? std::max(top_bits - 50, 1.0) : top_bits + 4.5;
}

// All small precisions and those around the thresholds.
inline std::vector<u64> precisions() {
    std::vector<u64> p;
    for (u64 i = 0; i <= 40; i++) p.push_back(i);
    for (u64 i : {71, 72, 73, 79, 80, 81, 82, 157, 160, 299, 300, 301}) p.push_back(i);
    return p;
}
// A length of an operand that is cut, or not, at precision p.
inline u64 operand_length(u64 p, std::mt19937_64& rng) {
    const u64 lengths[] = {1, 2, std::max<u64>(p, 1), p + 1, p + 2, p + 3, 2 * p + 5};
    return lengths[rng() % 7];
}
inline Shape shape_of(u64 i) {
    return static_cast<Shape>(i % static_cast<u64>(Shape::count));
}

// "ExceptionType function message" of what f throws, or "".
template <class F>
std::string thrown(F&& f) {
    try {
        f();
    } catch (const StringException& e) {
        return std::string(e.get_typename()) + " " + e.function + " " + e.message;
    }
    return "";
}

// run(A), with a number whose top word is zero, ends the process.
template <class Run>
void expect_unnormalised_is_fatal(const Run& run) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto run_it = [&] {
        print_to_stderr();
        Word words[2] = {5, 0};
        BigFloat A(words, 2);
        A.L = 2;
        A.sign = true;
        run(A);
    };
    EXPECT_EXIT(run_it(), ::testing::ExitedWithCode(1),
                "BigFloat::check_normalization\\(\\): Top word is zero\\.");
}

}  // namespace kalvor_test
