#include "app/validation/validator.h"

#include "app/validation/validate.h"
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
constexpr u64 kMostBytes = u64(16) << 20;
constexpr u64 kShownVersion = 60;  // characters
constexpr u64 kTimeWidth = 18;

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
    if (!found.version.empty())
        Console::labelled_line("File Format", CommandLine::shown(found.version, kShownVersion), 'Y');
    Console::new_line();
    return show(found);
}

}  // namespace

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
