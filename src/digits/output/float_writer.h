// Turns a computed value in memory into digits: conversion, its verification, the digit file and its statistics, and
// the read-back of the file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/status/status.h"
#include "digits/output/digit_stats.h"

namespace kalvor {

// Made before a computation for the session's memory estimate.
struct WriterPlan {
    trel::u64 value_words;      // words of the value
    trel::u64 compute_digits;   // decimal digits computed
    trel::u64 output_digits;    // decimal digits written
    trel::u64 hex_digits;       // hexadecimal digits written, 0 = none
    bool decimal;
    bool verify;
    trel::u64 working_bytes;    // beside the value
    trel::u64 max_product_words;

    static WriterPlan make(trel::u64 value_words, trel::u64 compute_digits, trel::u64 output_digits,
                           trel::u64 hex_digits, bool verify, trel::u64 tds);
};

class FloatWriterB {
  public:
    // value outlives the writer. compute < output throws InvalidParametersException("FloatWriterB()", "compute < output").
    FloatWriterB(const WriterPlan& plan, const trel::MultiplyContext& context, trel::Status& status,
                 const trel::BigFloat& value);
    void convert();
    void verify();
    // Writes the file base_path + ".txt" (through its "(incomplete)" name) and fills the statistics.
    OutputStats write_dec_digits(const std::string& base_path);
    OutputStats write_hex_digits(const std::string& base_path);
    // The statistics alone.
    OutputStats stat_dec_digits();
    OutputStats stat_hex_digits();
    void verify_binary_words();
    // Re-reads a written file and compares.
    void read_check(const std::string& file, const OutputStats& stats, trel::u8 radix);

  private:
    const WriterPlan& plan_;
    trel::MultiplyContext context_;
    trel::Status& status_;
    const trel::BigFloat& value_;
    trel::Word* radix_words_ = nullptr;
};

}  // namespace kalvor
