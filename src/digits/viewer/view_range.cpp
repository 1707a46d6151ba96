#include "digits/viewer/view_range.h"

#include <algorithm>
#include <string>

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"
#include "digits/files/basic_kvd_set_reader.h"
#include "digits/viewer/target.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor::DigitViewer2 {

namespace {

constexpr u64 kRow = 50, kGroup = 10;
constexpr u64 kScratchLimit = u64(1) << 30;
constexpr std::size_t kAlignment = 4096;

// The blanks that stand for digits begin ... end of a row, counted from 0, with those between their groups.
std::string blanks(u64 digits) {
    return std::string(digits + digits / kGroup, ' ');
}

}  // namespace

u64 effective_total(const BasicDigitReader& reader) {
    const u64 total = reader.total_digits();
    const bool unknown = total == 0 && dynamic_cast<const BasicKvdSetReader*>(&reader) != nullptr;
    return unknown ? ~u64(0) : total;
}

std::string not_accessible(const BasicDigitReader& reader, u64 start, u64 count) {
    const std::string missing = reader.what_is_missing(start, count);
    return "This range of digits is not accessible." + (missing.empty() ? "" : "\n" + missing);
}

bool has_positions(const BasicDigitReader& reader) {
    if (effective_total(reader) != 0) return true;
    Console::print_line(not_accessible(reader, 0, 1), 'w');
    return false;
}

void view_range(BasicDigitReader& reader, u64 start, u64 count, const ViewerRun& run) {
    if (reader.radix() != 10 && reader.radix() != 16) {
        throw InvalidParametersException("view_range()", "Invalid Radix");
    }
    if (!is_accessible(reader, start - 1, count, run)) return;
    const u64 bytes = round_up_64(std::max<u64>(reader.buffer_size(count, kScratchLimit), 1));
    GuardedBuffer scratch(bytes, kAlignment), values(count, kAlignment);
    reader.load_digits(values.bytes(), start - 1, count, AlignedBufferC(scratch.get(), bytes), run.parallel);
    std::string row = blanks((start - 1) % kRow);
    run.status.Status_Line("");
    for (u64 i = 0; i < count; i++) {
        const u64 position = start + i;
        row += "0123456789abcdef"[values.bytes()[i]];
        if (position % kGroup == 0) row += ' ';
        if (position % kRow != 0) continue;
        run.status.Status_ColoredLine({{'Y', row}, {'w', " :  "}, {'G', Console::format_commas(position)}});
        row.clear();
    }
    if (!row.empty()) run.status.Status_ColoredLine({{'Y', row}});
    values.free();
    scratch.free();
}

void view_range(BasicDigitReader& reader, const ViewerRunner& runner) {
    Console::print("\n\n", 'w');
    Console::print_line("View a Range of Digits", 'w');
    if (!has_positions(reader)) return;
    const u64 total = effective_total(reader);
    const u64 start = Prompt::read_unsigned_in_range("Starting Digit: ", 1, total, 'T');
    const u64 most = std::min(total - start, kMaxViewed - 1) + 1;
    const u64 count = Prompt::read_unsigned_in_range("Digits to View: ", 1, most, 'T');
    runner([&](const ViewerRun& run) { view_range(reader, start, count, run); });
}

}  // namespace kalvor::DigitViewer2
