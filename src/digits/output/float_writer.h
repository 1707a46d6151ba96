// Turns a computed value in memory into digits: conversion, its verification, the digit file and its
// statistics, and the read-back of the file.
//
//   WriterPlan::make()                   before the computation, for the memory estimate
//   FloatWriterB(plan, context, ...)     after it; context.scratch: plan.needs
//   convert(), verify()                  decimal digits
//   verify_binary_words()                hexadecimal digits
//   write_*_digits() or stat_*_digits()  once per radix
//   read_check()                         the written file, before it gets its name (output_files.h)
//
// The chain: the value carries a residue, which is compared before the conversion, after it and after its
// verification. The pass over the radix words that is compared with the value yields the hash that the
// written digits must have, and what is read back from the file. Whatever is taken from the words after the
// digits are written (first, last and guard digits) comes before the words are hashed once more.
#pragma once

#include <optional>
#include <string>

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/convert/convert.h"
#include "digits/files/basic_digit_writer.h"
#include "digits/files/digit_sink.h"
#include "digits/output/digit_stats.h"
#include "digits/output/float_reader.h"

namespace kalvor {

// Made before a computation for the session's memory estimate.
struct WriterPlan {
    u64 value_words = 0;     // words of the value
    u64 compute_digits = 0;  // decimal digits computed
    u64 output_digits = 0;   // decimal digits written
    u64 hex_digits = 0;      // hexadecimal digits written, 0 = none
    bool verify = false;     // files are read back
    Needs needs;             // beside the value

    // Of `bytes` bytes of working memory, how many are window_memory().
    u64 window_bytes(u64 bytes) const;
    CBRv2::ConvertPlanP conversion{};

    // budget_bytes: what the conversion may take, radix words included; short of it the conversion runs with
    // a smaller power table, slower, down to a least one (ConvertPlanP). Throws InvalidParametersException
    // "compute < output".
    static WriterPlan make(u64 value_words, u64 compute_digits, u64 output_digits, u64 hex_digits,
                           bool verify, u64 tds, u64 budget_bytes = CBRv2::kNoBudget);
};

// One thread calls it; tasks of the context's framework do the arithmetic.
class FloatWriterB {
  public:
    // plan, status and value outlive the writer. compute < output throws
    // InvalidParametersException("FloatWriterB()", "compute < output").
    FloatWriterB(const WriterPlan& plan, const MultiplyContext& context, Status& status,
                 const BigFloat& value);

    // Decimal digits: range check, then the conversion into radix words. What goes wrong in it, or is found
    // by verify() or by writing, is done again once in a run; a value that does not fit its residue ends it.
    void convert(const CBRv2::ConvertOptions& options = {});
    // Checks the conversion of the first `digits` digits (all computed ones). Throws "Too many digits.",
    // AlgorithmFailedException. Writing calls it first if nobody has.
    void verify(u64 digits);
    void verify() { verify(plan_.compute_digits); }
    // Hexadecimal digits: checks the value, and that its words pass unchanged through the buffer that output
    // copies them to.
    void verify_binary_words();

    // Integer part, "." and up to 50 digits.
    std::string first_dec_digits() const { return decimal_reader().first_digits(); }
    std::string first_hex_digits() const { return hexadecimal_reader().first_digits(); }

    // Into a file that is open already; it is finished and not published yet. Returns the statistics. Throws
    // AlgorithmFailedException "Digits changed in memory after their verification."; after restore() they can
    // be written again.
    OutputStats write_dec_digits(BasicDigitWriter& file);
    OutputStats write_hex_digits(BasicDigitWriter& file);
    // The statistics alone. What is wrong at first is restored and done again.
    OutputStats stat_dec_digits();
    OutputStats stat_hex_digits();
    // In a handler of the exception of writing: sees to it that the digits are right again. Throws that
    // exception again when it cannot, or has done so before.
    void restore(u8 radix);
    // Re-reads a written file and compares it with what was verified.
    void read_check(const std::string& file, const OutputStats& stats, u8 radix,
                    const std::string& format = kTextFormat);
    void read_check(BasicDigitReader& file, const OutputStats& stats);

    // What writing does not touch, for the window of the file; of decimal digits once they are verified. The
    // check may read over it, because the window is in the file by then, and restoring the digits may use it.
    AlignedBufferC window_memory(u8 radix) const;

    // The warnings of the run; nullptr: they are dropped.
    Warnings* warnings() const {
        return context_.parallel.run == nullptr ? nullptr : &context_.parallel.run->warnings;
    }

    // The radix words, radix_words()[plan.conversion.n - 1] first; for tests.
    Word* radix_words() { return radix_words_; }
    // What the written digits are compared with, once they are verified; for tests.
    u64& expected_hash(u8 radix) { return radix == 10 ? *expected_dec_ : *expected_hex_; }

    // The decimal digits in memory, from the radix words.
    FloatReaderB decimal_reader() const;

  private:
    FloatReaderB hexadecimal_reader() const;
    // file may be null: the statistics alone.
    OutputStats output(FloatReaderB reader, u64 digits, const char* section, BasicDigitWriter* file);
    void convert_once();
    void verify_once(u64 digits);
    // Once in a run, inside a handler; otherwise throws what is being handled.
    void begin_repeat();
    void conversion_was_corrected();
    void restoring_was_right();
    void set_expected(const CBRv2::VerifyB::Hashes& hashes, u64 n_words);
    void expect_binary_words();
    bool radix_words_changed() const;
    u64 expected(u8 radix) const { return *(radix == 10 ? expected_dec_ : expected_hex_); }
    // stats with the hash that must be found.
    OutputStats expected(const OutputStats& stats) const;

    const WriterPlan& plan_;
    MultiplyContext context_;  // scratch: behind the radix words
    Status& status_;
    const BigFloat& value_;
    Word* radix_words_;
    CBRv2::ConvertOptions options_;
    bool repeated_ = false;
    bool restored_ = false;  // and not yet written
    // The first verified_words_ radix words as one integer, and the hashes of the digits to be written.
    u64 verified_words_ = 0;
    u64 words_hash_ = 0;
    std::optional<u64> expected_dec_, expected_hex_;
};

}  // namespace kalvor
