#include "app/session/digit_stage.h"

#include "base/console/format.h"
#include "base/errors/exceptions.h"

namespace kalvor {

DigitStage::DigitStage(const WriterPlan& plan, const MultiplyContext& context, Status& status,
                       const BigFloat& value)
    : plan_(plan), context_(context), status_(status), writer_(plan, context, status, value) {}

void DigitStage::report_warnings() {
    if (context_.parallel.run != nullptr) context_.parallel.run->warnings.report(status_);
}

void DigitStage::convert() {
    writer_.convert();
    report_warnings();
}

DigitResults DigitStage::write(const DigitRequest& request, OutputFiles& files) {
    DigitResults results;
    writer_.verify();
    report_warnings();
    // Before anything has its name.
    const SpotCheck check = check_known_digits(request);
    if (check.position < 0) {
        report(status_, check);
        throw AlgorithmFailedException(
            "NormalFloatSession::run()",
            "Spot check failed at: " + Console::format_commas(static_cast<u64>(-check.position)));
    }
    if (request.hexadecimal) {
        if (request.verify) writer_.verify_binary_words();
        results.hexadecimal = output(request, files, 16);
    }
    results.decimal = output(request, files, 10);
    report(status_, check);
    results.spot_check = check.position;
    return results;
}

OutputStats DigitStage::output(const DigitRequest& request, OutputFiles& files, u8 radix) {
    OutputStats stats = request.to_files ? files.write(writer_, radix, request.verify)
                        : radix == 10    ? writer_.stat_dec_digits()
                                         : writer_.stat_hex_digits();
    report_warnings();
    return stats;
}

SpotCheck DigitStage::check_known_digits(const DigitRequest& request) const {
    FloatReaderB digits = writer_.decimal_reader();
    return request.reference_folder ? spot_check(digits, plan_.compute_digits, request.name,
                                                 *request.reference_folder, *request.calls)
                                    : spot_check(digits, plan_.compute_digits, request.name, *request.calls);
}

}  // namespace kalvor
