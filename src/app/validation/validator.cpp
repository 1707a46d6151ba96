#include "app/validation/validator.h"

#include <algorithm>

#include "app/validation/signature.h"
#include "base/command_line/option_table.h"
#include "base/command_line/refusal.h"
#include "base/command_line/shown_text.h"
#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"
#include "platform/fileio/raw_file.h"

namespace kalvor {

namespace {

constexpr std::string_view kExtension = ".txt";
constexpr u64 kMostBytes = u64(64) << 20;
constexpr u64 kShownVersion = 60;  // characters
constexpr u64 kTimeWidth = 18;

// What follows the label, in the first line that begins with it, without blanks before it; a null view when
// no line does.
std::string_view value_behind(std::string_view file, std::string_view label) {
    while (!file.empty()) {
        const std::size_t end = std::min(file.find('\n'), file.size());
        std::string_view line = file.substr(0, end);
        file.remove_prefix(std::min(end + 1, file.size()));
        if (!line.starts_with(label)) continue;
        line.remove_prefix(label.size());
        line = line.substr(0, line.find('\r'));
        const std::size_t begin = std::min(line.find_first_not_of(' '), line.size());
        return line.substr(begin);
    }
    return {};
}

// Takes the same time wherever they differ.
bool are_equal(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); i++)
        difference |=
            static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]));
    return difference == 0;
}

Validation::Result check_signature(std::string_view file) {
    const std::size_t separator = file.rfind("\n----");
    if (separator == std::string_view::npos) return Validation::malformed_hash;
    std::string_view rest = file.substr(separator + 1);
    constexpr std::size_t kDigits = 64;
    const std::string_view head = kValidationSeparator;
    if (!rest.starts_with(head)) return Validation::malformed_hash;
    rest.remove_prefix(head.size());
    if (rest.size() != kDigits + 2 || !rest.ends_with("\r\n")) return Validation::malformed_hash;
    const std::string_view digits = rest.substr(0, kDigits);
    if (digits.find_first_not_of("0123456789abcdef") != std::string_view::npos)
        return Validation::malformed_hash;
    return are_equal(digits, signature_of(file.substr(0, separator))) ? Validation::passed
                                                                      : Validation::tampered;
}

Validation::Result check_version(std::string_view version) {
    const std::size_t end = std::min(version.find_first_not_of("0123456789."), version.size());
    const std::string_view number = version.substr(0, end);
    if (number == "1.0" || number == "1.1") return Validation::too_old;
    if (number != "1.2" && number != "1.3") return Validation::too_new;
    const std::string format = "Validation Format " + std::string(version) + "\n";
    const bool known = format == "Validation Format 1.2\n" || format == "Validation Format 1.3\n";
    return known ? Validation::passed : Validation::invalid_file;
}

std::string read_whole(const std::string& path) {
    FileIO::RawFile file(path, FileIO::OpenMode::read, false);
    const u64 bytes = file.size();
    if (bytes > kMostBytes) {
        throw FileIO::FileException("run_validator()", "The file is too large for a validation file.", path);
    }
    std::string text(bytes, '\0');
    file.load(text.data(), 0, bytes);
    return text;
}

void print_head() {
    Console::print_line("Benchmark Validator");
    Console::new_line();
}

bool show(const Validation& found) {
    switch (found.result) {
        case Validation::passed:
            Console::print_line("Validation Passed!", 'G');
            Console::set_color('w');
            Console::new_line();
            Console::aligned_line("Computation Time: ", kTimeWidth, found.computation_time, 'Y');
            Console::aligned_line("Total Time:", kTimeWidth, found.total_time, 'Y');
            return true;
        case Validation::malformed_hash:
            Console::print_line("Validation Failed: Invalid Hash", 'R');
            break;
        case Validation::tampered:
            Console::print_line("Validation Failed: File is either invalid or has been tampered with.", 'R');
            break;
        case Validation::invalid_file:
            Console::print_line("Validation Failed - Invalid File", 'R');
            break;
        case Validation::too_old:
            Console::print_line("Validation file versions 1.0 an 1.1 are no longer supported.", 'R');
            Console::print_line("To validate this file, please use Kalvor v0.5.5.", 'R');
            break;
        case Validation::too_new:
            Console::print_line("This validation file version is too new.", 'R');
            Console::print_line("Please use a newer version of Kalvor.", 'R');
            break;
    }
    Console::set_color('w');
    return false;
}

bool validate_file(std::string path) {
    if (path.size() <= kExtension.size() || !path.ends_with(kExtension)) path += kExtension;
    const Validation found = validate(read_whole(path));
    Console::labelled_line("File Format", CommandLine::shown(found.version, kShownVersion), 'Y');
    Console::new_line();
    return show(found);
}

}  // namespace

Validation validate(std::string_view file) {
    Validation found;
    const std::string_view version = value_behind(file, "Validation Version:");
    if (version.data() == nullptr) return found;
    found.version = version;
    found.result = check_version(version);
    if (found.result != Validation::passed) return found;
    found.result = check_signature(file);
    if (found.result != Validation::passed) return found;
    found.computation_time = value_behind(file, "Total Computation Time:");
    found.total_time = value_behind(file, "Start-to-End Wall Time:");
    return found;
}

bool run_validator(const std::string& path) {
    print_head();
    return validate_file(path);
}

bool run_validator_menu() {
    print_head();
    Console::print_line("Enter Path of Validation File:");
    const std::string path = Prompt::read_text("Path: ", 'T');
    Console::new_line();
    return validate_file(path);
}

bool run_validate(CommandLine::ParameterList& parameters) {
    parameters.advance();
    if (!parameters.has_more()) return run_validator_menu();
    const std::string path = parameters.current_raw();
    parameters.advance();
    if (parameters.has_more()) {
        throw CommandLine::RefusedException("validate: " + CommandLine::quoted(parameters.current_raw()) +
                                            " stands behind the file.\n" +
                                            CommandLine::see_help("help validate"));
    }
    return run_validator(path);
}

std::vector<std::string> validate_help_page() {
    return {"Usage:  kalvor [console options] validate [<file>]",
            "",
            "Tells whether a validation file is as the program wrote it; the exit code is 1",
            "when it is not. \".txt\" may be left out. Without a file the path is asked for.",
            "",
            "Example:  kalvor validate \"out/Pi - 20260102-030405.txt\"",
            ""};
}

}  // namespace kalvor
