#include "app/custom/output_format_menu.h"

#include <limits>
#include <optional>

#include "base/console/console.h"
#include "base/prompt/prompt.h"

namespace kalvor {

namespace {

constexpr u64 kLeast = ComputeSettings::kLeastDigitsPerFile;

enum Choice : u64 { kDisable, kText, kOneFile, kManyFiles };

// Whether all digits together are enough for a compressed file; says so if not.
bool enough_digits(const ComputeSettings& settings) {
    if (settings.size.decimal_digits < kLeast) {
        Console::print_line("\n\nToo few digits to compress.\n");
        return false;
    }
    if (settings.enable_hex && settings.size.hexadecimal_digits < kLeast) {
        Console::labelled_line("Warning", "Too few digits to compress.", 'Y');
        return false;
    }
    return true;
}

// Nothing when the choice is refused.
std::optional<i64> digits_per_file(const ComputeSettings& settings, u64 choice) {
    if (choice == kText) return 0;
    if (!enough_digits(settings)) return std::nullopt;
    if (choice == kOneFile) return ComputeSettings::kOneFile;
    const i64 digits =
        Prompt::read_integer_in_range("Digits per file: ", 0, std::numeric_limits<i64>::max(), 'T');
    if (digits >= static_cast<i64>(kLeast)) return digits;
    Console::labelled_line("Warning", "Too few digits for file.", 'Y');
    return std::nullopt;
}

}  // namespace

void output_format_menu(ComputeSettings& settings) {
    for (const char* line :
         {"\n\nSelect an Output Format:\n", "  0     Disable digit output. Don't write digits to disk.",
          "  1     Write to a text file. Do not compress.",
          "  2     Compress digits into a single .kvd file.",
          "  3     Compress digits into multiple .kvd files with a user-specified",
          "        number of digits per file.\n"}) {
        Console::print_line(line, 'w');
    }
    const u64 choice = Prompt::read_unsigned_in_range("option: ", kDisable, kManyFiles, 'T');
    if (choice == kDisable) {
        settings.output_enable = false;
        return;
    }
    const std::optional<i64> chosen = digits_per_file(settings, choice);
    if (!chosen) return;
    settings.output_enable = true;
    settings.digits_per_file = *chosen;
    // More digits a file than there are is all of them.
    (void)settings.check_compression();
}

}  // namespace kalvor
