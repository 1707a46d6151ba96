#include "digits/viewer/target.h"

#include "base/command_line/shown_text.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "digits/output/replacement.h"

namespace kalvor::DigitViewer2 {

bool is_accessible(const BasicDigitReader& reader, u64 start, u64 count) {
    if (reader.is_in_range(start, count)) return true;
    Console::print_line("This range of digits is not accessible.");
    return false;
}

void announce_replacement(std::string_view format, const std::string& path, u8 radix, u64 digits,
                          const ViewerRun& run, std::optional<u64>& of_set) {
    const Replacement replacement =
        check_replacement(digit_format(format), path, radix, digits, false, run.files, of_set);
    if (!of_set && replacement.digits != 0) of_set = replacement.digits;
    if (!replacement.remark.empty()) Console::print_line(replacement.remark);
}

void announce_replacement(std::string_view format, const std::string& path, u8 radix, u64 digits,
                          const ViewerRun& run) {
    std::optional<u64> alone;
    announce_replacement(format, path, radix, digits, run, alone);
}

Warnings* warnings_of(const ViewerRun& run) {
    return run.parallel.run == nullptr ? nullptr : &run.parallel.run->warnings;
}

void print_offset(u64 position) {
    Console::labelled_line("Current Offset", Console::format_commas(position), 'T');
}

void print_written(const std::string& path) {
    Console::labelled_line("Written", CommandLine::shown_path(path), 'T');
}

}  // namespace kalvor::DigitViewer2
