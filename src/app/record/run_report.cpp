#include "app/record/run_report.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "app/record/digit_report.h"
#include "base/clock/cpu_utilization.h"
#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/console/wrapped_line.h"

namespace kalvor {

namespace {

constexpr u64 kNameWidth = 12;
constexpr const char* kChecks = "Checks:";

std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : ", ") + part;
    return text;
}

std::string counted(u64 n, const char* noun) {
    return Console::format_commas(n) + " " + noun + (n == 1 ? "" : "s");
}

std::string counts_alone(const RunChecks& checks) {
    return joined({counted(checks.products, "product"), counted(checks.numbers, "number"),
                   counted(checks.errors, "error")});
}

// Its lines; the last one ends like the others.
void report_block(std::string_view block, Status& status) {
    while (!block.empty()) {
        const std::size_t end = std::min(block.find('\n'), block.size());
        status.Status_Line(block.substr(0, end));
        block.remove_prefix(std::min(end + 1, block.size()));
    }
}

void print_digits(const RunRecord& record, Status& status) {
    for (const std::optional<OutputStats>* stats : {&record.hexadecimal, &record.decimal}) {
        if (!*stats) continue;
        report_block(first_digits_block(**stats), status);
        report_block(last_digits_block((*stats)->last), status);
    }
    for (const std::optional<OutputStats>* stats : {&record.decimal, &record.hexadecimal}) {
        if (!*stats) continue;
        for (const std::string& line : counts_lines((*stats)->counts)) status.Status_Line(line);
    }
    if (record.decimal) status.Status_Line(hash_line(*record.decimal));
    if (record.hexadecimal) status.Status_Line(hash_line(*record.hexadecimal));
}

void print_times(const RunRecord& record, Status& status) {
    status.Status_Label(kNameWidth, "Start Time:", {'Y', record.start_date});
    status.Status_Label(kNameWidth, "End Time:", {'Y', record.end_date});
    status.Status_Line("");
    status.Status_ColoredLine(
        {{'w', "Total Computation Time:      "}, {'G', Console::format_time(record.compute_seconds)}});
    status.Status_ColoredLine(
        {{'w', "Start-to-End Wall Time:     "}, {'G', Console::format_time(record.wall_seconds)}});
    status.Status_Line("");
    for (const auto& line : cpu_utilization_lines(record.compute_time)) status.Status_ColoredLine(line);
}

void print_result(const RunRecord& record, Status& status) {
    status.Status_Line("");
    for (const WrittenFile& file : record.files) {
        const std::string more = file.files > 1 ? counted(file.files, "file") + ", " : "";
        status.Status_Label(kNameWidth, "Written:",
                            {'G', CommandLine::shown_path(file.path) + "  (" + more +
                                      Console::format_commas(file.bytes) + " bytes)"});
    }
    const char* label = "Verified:";
    for (const std::string& line : Console::wrapped_text(std::string(kNameWidth, ' '),
                                                         checks_text(record.checks, !record.files.empty()))) {
        status.Status_Label(kNameWidth, label, {'G', line.substr(kNameWidth)});
        label = "";
    }
    status.Status_Label(kNameWidth, kChecks,
                        {record.checks.errors == 0 ? 'G' : 'Y', counts_alone(record.checks)});
}

}  // namespace

std::string checks_text(const RunChecks& checks, bool written) {
    std::vector<std::string> done, left_out;
    if (checks.series_checked != 0) {
        done.push_back("series residues (" + std::to_string(checks.series_checked) + " of " +
                       std::to_string(checks.series_blocks) + ")");
    } else if (checks.series_blocks != 0) {
        left_out.push_back("series residues");
    }
    (checks.conversion ? done : left_out).push_back("conversion");
    if (written) (checks.files ? done : left_out).push_back("written files");
    std::string text = done.empty() ? "nothing" : joined(done);
    if (!left_out.empty()) text += "; not checked: " + joined(left_out);
    if (checks.certain_digits) {
        text +=
            "; not certain: the digits behind the first " + Console::format_commas(*checks.certain_digits);
    }
    return text;
}

std::string counts_of_checks(const RunChecks& checks) {
    return std::string(kChecks) + " " + counts_alone(checks);
}

void print_run_report(const RunRecord& record, Status& status) {
    status.Status_Line("");
    print_digits(record, status);
    status.Status_Line("");
    print_times(record, status);
    print_result(record, status);
}

}  // namespace kalvor
