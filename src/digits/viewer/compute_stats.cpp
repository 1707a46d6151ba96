#include "digits/viewer/compute_stats.h"

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"
#include "digits/output/digit_stats.h"
#include "digits/viewer/target.h"
#include "digits/viewer/transfer.h"
#include "digits/viewer/view_range.h"

namespace kalvor::DigitViewer2 {

namespace {

constexpr const char* kFunction = "compute_stats()";

u64 value_of(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<u64>(digit - '0');
    const char lower = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
    return lower >= 'a' && lower <= 'f' ? static_cast<u64>(lower - 'a' + 10) : ~u64(0);
}

}  // namespace

u64 top_hash(const std::string& first_digits, u8 radix) {
    if (radix != 10 && radix != 16) throw InvalidParametersException(kFunction, "Invalid radix.");
    const std::size_t point = first_digits.find('.');
    if (point == std::string::npos) throw InvalidParametersException(kFunction, "No decimal place found.");
    u64 hash = 0;
    for (const char digit : first_digits.substr(0, point)) {
        const u64 value = value_of(digit);
        if (value < radix) hash = digit_hash(hash, value, radix, 1);
    }
    return hash;
}

void compute_stats(BasicDigitReader& reader, u64 start, u64 end, const ViewerRun& run) {
    const std::string from = Console::format_commas(start);
    const u64 count = end - start + 1;
    run.status.Status_Line("");
    run.status.Status_Line("Processing " + Console::format_commas(count) + " digits...");
    run.status.Status_Line("    From: " + from);
    run.status.Status_Line("    To  : " + Console::format_commas(end));
    run.status.Status_Line("");
    if (!is_accessible(reader, start - 1, count, run)) return;
    const u64 top = top_hash(reader.first_digits(), reader.radix());
    const ActionProgress progress(ActionProgress::reading, count, run);
    DigitRangeStats stats(reader.radix());
    transfer(reader, start - 1, count, stats, run, [&](u64 position) {
        print_label(run, "Current Offset", Console::format_commas(position), 'T');
        if (start == 1) {
            const u64 whole = digit_hash(top, stats.hash, reader.radix(), position);
            print_label(run, "Hash(start - current)", Console::format_number(whole), 'Y');
        }
        print_label(run, "Hash(" + from + " - current)  ", Console::format_number(stats.hash), 'Y');
        print_label(run, "Digit Counts (" + from + " - current)", counts_text(stats.counts), 'G');
        run.status.Status_Line("");
    });
    run.status.Status_Line("Hash(A - B) are the digits from A - B as an integer modulo (2^61 - 1).");
    run.status.Status_Line("");
}

void compute_stats(BasicDigitReader& reader, const ViewerRunner& runner) {
    Console::print("\n\n", 'w');
    Console::print_line("Compute Digit Statistics", 'w');
    if (!has_positions(reader)) return;
    const u64 total = effective_total(reader);
    const u64 start = Prompt::read_unsigned_in_range("Starting Digit: ", 1, total, 'T');
    const u64 end = Prompt::read_unsigned_in_range("Ending Digit:   ", start, total, 'T');
    runner([&](const ViewerRun& run) { compute_stats(reader, start, end, run); });
}

}  // namespace kalvor::DigitViewer2
