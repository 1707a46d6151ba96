#include "app/session/digit_stage.h"

namespace kalvor {

DigitStage::DigitStage(const WriterPlan& plan, const MultiplyContext& context, Status& status,
                       const BigFloat& value)
    : plan_(plan), context_(context), status_(status), value_(value), writer_(plan, context, status, value) {}

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
    results.spot_check = check_known_digits(request);
    DigitRequest output = request;
    if (results.spot_check.position < 0 || request.value_is_wrong) output.to_files = false;
    if (request.hexadecimal) {
        if (request.verify) writer_.verify_binary_words();
        results.hexadecimal = this->output(output, files, 16);
    }
    results.decimal = this->output(output, files, 10);
    report(status_, results.spot_check);
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
