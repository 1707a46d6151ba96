#include "app/record/digit_report.h"

#include "arith/m61/m61.h"
#include "base/console/format.h"
#include "base/console/wrapped_line.h"
#include "base/names/names.h"

namespace kalvor {

std::string first_digits_block(const OutputStats& stats) {
    std::string text = stats.counts.radix == 16 ? "First Hexadecimal Digits:\n" : "First Decimal Digits:\n";
    const std::size_t point = stats.first.find('.');
    if (point == std::string::npos) return text + stats.first + "\n\n";
    text += stats.first.substr(0, point + 1);
    for (std::size_t at = point + 1; at < stats.first.size(); at += 10) {
        text += (at == point + 1 ? "" : " ") + stats.first.substr(at, 10);
    }
    return text + "\n\n";
}

std::string last_digits_block(const LastDigits& last) {
    std::string text = last.radix == 10   ? "Last Decimal Digits:\n"
                       : last.radix == 16 ? "Last Hexadecimal Digits:\n"
                                          : "Last Digits:\n";
    const u64 n = last.text.size();
    for (u64 i = 0; i < n; i++) {
        text += last.text[i];
        const u64 done = i + 1;
        if (done % 50 == 0) {
            text += "  :  " + Console::format_commas(last.start + done) + "\n";
        } else if (done % 10 == 0) {
            text += ' ';
        }
    }
    if (n % 50 != 0) text += "\n";
    return text + "\n";
}

namespace {

const char* counts_label(const DigitCounts& counts) {
    return counts.radix == 16 ? "Hex Counts: " : "Dec Counts: ";
}

}  // namespace

std::string counts_line(const DigitCounts& counts) {
    return counts_label(counts) + counts_text(counts);
}

std::vector<std::string> counts_lines(const DigitCounts& counts) {
    return Console::wrapped_text(counts_label(counts), counts_text(counts));
}

std::string hash_line(const OutputStats& stats) {
    const std::string value = Console::format_number(m61::canonical(stats.hash));
    return stats.counts.radix == 16 ? "Hex Hash: Floor(|x| * 16^hex) mod (2^61 - 1) = " + value
                                    : "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) = " + value;
}

}  // namespace kalvor
