// From the value of a run to its digits: conversion, verification, files or statistics, read-back, and the
// comparison with known digits.
#pragma once

#include <optional>
#include <string>

#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/output/float_writer.h"
#include "digits/output/output_files.h"
#include "digits/output/spot_check.h"

namespace kalvor {

struct DigitRequest {
    bool hexadecimal = false;  // besides decimal
    bool to_files = true;      // otherwise the statistics alone
    bool verify = true;        // files are read back
    std::string name;          // of the table of known digits
    // Where the folders of such tables are, with its final separator; none: the program's own folder.
    std::optional<std::string> reference_folder;
    const FileIO::FileCalls* calls = &FileIO::FileCalls::of_this_machine();
    bool value_is_wrong = false;  // then there are statistics, and no file
};

struct DigitResults {
    OutputStats decimal;
    std::optional<OutputStats> hexadecimal;
    SpotCheck spot_check;
};

// In the order in which they stand here; what the work has to warn of is reported after each step. plan,
// value and status outlive it. context.scratch: plan.needs.
class DigitStage {
  public:
    DigitStage(const WriterPlan& plan, const MultiplyContext& context, Status& status, const BigFloat& value);

    void convert();
    // Behind the conversion.
    FloatReaderB decimal_digits() const { return writer_.decimal_reader(); }
    // Verification, comparison with known digits, output. Digits that differ are reported, and then no file
    // is written: digits that are wrong never have a final name. files: has every radix of the request when
    // that writes files.
    DigitResults write(const DigitRequest& request, OutputFiles& files);

  private:
    OutputStats output(const DigitRequest& request, OutputFiles& files, u8 radix);
    SpotCheck check_known_digits(const DigitRequest& request) const;
    void report_warnings();

    const WriterPlan& plan_;
    const MultiplyContext context_;
    Status& status_;
    const BigFloat& value_;
    FloatWriterB writer_;
};

}  // namespace kalvor
