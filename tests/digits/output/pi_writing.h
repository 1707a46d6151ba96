// Pi from another library, and a writer of its digits.
#pragma once

#include <gtest/gtest.h>
#include <mpfr.h>

#include <string>
#include <vector>

#include "digits/files/digit_sink.h"
#include "digits/output/float_writer.h"
#include "reference/mpz_words.h"
#include "support/monitored_run.h"
#include "support/scratch.h"
#include "support/threads.h"

namespace kalvor {
namespace {

using trel::BigFloat;
using trel::i64;
using trel::u64;
using trel::Word;

// Pi to `words` words after the point, rounded down.
class Pi {
  public:
    explicit Pi(u64 words) {
        mpfr_t pi;
        mpfr_init2(pi, 64 * words + 64);
        mpfr_const_pi(pi, MPFR_RNDD);
        mpfr_mul_2ui(pi, pi, 64 * words, MPFR_RNDD);
        mpz_class z;
        mpfr_get_z(z.get_mpz_t(), pi, MPFR_RNDD);
        mpfr_clear(pi);
        words_ = reference::to_words(z, words + 1);
        x = BigFloat(words_.data(), words_.size());
        x.L = words_.size();
        x.exp = -static_cast<i64>(words);
        x.sign = true;
    }
    BigFloat x;

  private:
    std::vector<Word> words_;
};

// Digits of pi after the point.
inline std::string pi_digits(int base, u64 n) {
    mpfr_t pi;
    mpfr_init2(pi, static_cast<mpfr_prec_t>(4 * n + 128));
    mpfr_const_pi(pi, MPFR_RNDD);
    mpfr_exp_t exponent;
    char* text = mpfr_get_str(nullptr, &exponent, base, n + 20, pi, MPFR_RNDZ);
    std::string digits = std::string(text).substr(1, n);
    mpfr_free_str(text);
    mpfr_clear(pi);
    return digits;
}

inline u64 value_words(u64 digits) {
    return digits * 83049 / 100000 / 16 + 6;
}

// A writer of pi in memory of exactly the planned size.
struct Writing {
    Writing(u64 compute, u64 output, u64 hex, bool verify = true, u64 tds = 1)
        : value(value_words(compute)),
          plan(WriterPlan::make(value_words(compute) + 1, compute, output, hex, verify, tds)),
          memory(plan.needs.bytes),
          writer(plan, {monitored.context({thread_framework(), tds}), memory.view(), nullptr},
                 trel::null_status(), value.x) {}
    ~Writing() { EXPECT_TRUE(memory.guards_intact()); }
    Pi value;
    WriterPlan plan;
    Scratch memory;
    trel::MonitoredRun monitored;
    FloatWriterB writer;
};

// Writes and publishes base_path in a format: what OutputFiles does for a run, without its questions.
inline OutputStats write_file(FloatWriterB& digits, const DigitAmount& amount, const std::string& base_path,
                              const std::string& format = kTextFormat) {
    const auto sink = digit_format(format).make_sink(base_path, amount);
    const bool decimal = amount.radix == 10;
    const auto file =
        sink->make_writer(decimal ? digits.first_dec_digits() : digits.first_hex_digits(), digits.warnings());
    OutputStats stats = decimal ? digits.write_dec_digits(*file) : digits.write_hex_digits(*file);
    file->publish();
    return stats;
}

}  // namespace
}  // namespace kalvor
