#include "app/session/run_header.h"

#include "base/console/format.h"
#include "platform/sysinfo/system_summary.h"

namespace kalvor {

using Console::format_commas;

namespace {

constexpr u64 kLabelWidth = 22;
constexpr u64 kNameWidth = 12;

}  // namespace

void print_run_header(const ComputeSettings& settings, const RunRecord& record, const std::string& mode,
                      Status& status, const std::function<void()>& print_base_frequency) {
    const Constant& constant = *settings.constant;
    print_unclocked_summary(record.system, status);
    print_base_frequency();
    status.Status_Line("");
    status.Status_Label(kNameWidth, "Constant:", {constant.color(), constant.header_name()});
    status.Status_Label(kNameWidth, "Algorithm:", {'Y', constant.algorithm_long()});
    status.Status_Line("");
    status.Status_Label(kLabelWidth, "Decimal Digits:", {'G', format_commas(settings.size.decimal_digits)});
    if (settings.enable_hex) {
        status.Status_Label(kLabelWidth,
                            "Hexadecimal Digits:", {'G', format_commas(settings.size.hexadecimal_digits)});
    } else {
        status.Status_Label(kLabelWidth, "Hexadecimal Digits:", {'g', "Disabled"});
    }
    status.Status_Line("");
    status.Status_Label(kLabelWidth, "Computation Mode:", {'R', mode});
    status.Status_Label(kLabelWidth, "Multi-Threading:", {'T', settings.parallelism.summary()});
    status.Status_Line("");
    status.Status_Label(kLabelWidth, "Start Time:", {'Y', record.start_date});
    status.Status_Line("");
}

}  // namespace kalvor
