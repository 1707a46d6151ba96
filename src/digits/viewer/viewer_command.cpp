#include "digits/viewer/viewer_command.h"

#include <algorithm>

#include "base/command_line/shown_text.h"
#include "base/console/error_output.h"
#include "base/console/format.h"
#include "digits/files/basic_kvd_set_reader.h"
#include "digits/viewer/compress.h"
#include "digits/viewer/compute_stats.h"
#include "digits/viewer/extract_txt.h"
#include "digits/viewer/view_range.h"
#include "digits/viewer/viewer_menu.h"

namespace kalvor::DigitViewer2 {

using CommandLine::CountValue;
using CommandLine::NextWordValue;
using CommandLine::OptionTable;
using CommandLine::ParameterList;
using CommandLine::RefusedException;
using CommandLine::WordValue;

namespace {

constexpr const char* kPage = "help digitviewer";
constexpr u64 kUsualView = 1000;  // digits

CommandLine::OptionRow<ViewerOptions> number_row(const char* name, const char* help, i64 least,
                                                 std::optional<u64> ViewerOptions::*member) {
    return {{name, ":<n>", help, ""},
            CountValue<ViewerOptions>{least, [member](ViewerOptions& options, i64 value) {
                                          options.*member = static_cast<u64>(value);
                                      }}};
}

// "3" or "3-5"
void set_ids(ViewerOptions& options, const std::string& text) {
    const std::size_t dash = text.find('-');
    const auto number = [&](const std::string& part) {
        u64 value = 0;
        const bool digits =
            !part.empty() && part.size() <= 18 &&
            std::all_of(part.begin(), part.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (!digits) {
            throw RefusedException("-ids: " + CommandLine::quoted(text) +
                                   " is not a range. Write a file's number, or two of them: -ids:0-4.");
        }
        for (const char c : part) value = 10 * value + static_cast<u64>(c - '0');
        return value;
    };
    options.first_id = number(text.substr(0, dash));
    options.last_id = dash == std::string::npos ? options.first_id : number(text.substr(dash + 1));
    if (*options.last_id < *options.first_id) {
        throw RefusedException("-ids: " + CommandLine::quoted(text) + " ends before it begins.");
    }
}

// What an action needs and was not given.
template <class T>
T needed(const std::optional<T>& value, const char* option, const char* what) {
    if (value) return *value;
    throw RefusedException(std::string(option) + " is missing: " + what + ". " +
                           CommandLine::see_help(kPage));
}

// For a set that does not know its total.
void require_end(const BasicDigitReader& reader, const ViewerOptions& options) {
    if (options.end) return;
    const auto* const set = dynamic_cast<const BasicKvdSetReader*>(&reader);
    const u64 there = set == nullptr ? 0 : set->digits_there();
    std::string what = "the file does not know how many digits there are";
    if (there != 0) what += "; the first " + Console::format_commas(there) + " are here";
    needed(options.end, "-end", what.c_str());
}

// A position between least and most, which is what a prompt would accept.
u64 within(const char* option, u64 value, u64 least, u64 most) {
    if (least <= value && value <= most) return value;
    throw RefusedException(std::string(option) + ": " + Console::format_commas(value) +
                           " is out of range. Write a number from " + Console::format_commas(least) + " to " +
                           Console::format_commas(most) + ".");
}

struct Range {
    u64 start, end;
};
// A script sees by the exit code that nothing was done.
void require_accessible(const BasicDigitReader& reader, u64 start, u64 end) {
    const u64 count = end - start + 1;
    if (!reader.is_in_range(start - 1, count))
        throw RefusedException(not_accessible(reader, start - 1, count));
}

// Positions of the file that may be asked for.
u64 positions_of(const BasicDigitReader& reader) {
    const u64 total = effective_total(reader);
    if (total == 0) throw RefusedException(not_accessible(reader, 0, 1));
    return total;
}

Range range_of(const BasicDigitReader& reader, const ViewerOptions& options) {
    const u64 total = positions_of(reader);
    const u64 start = within("-start", options.start.value_or(1), 1, total);
    if (options.end) return {start, within("-end", *options.end, start, total)};
    if (options.digits) return {start, start - 1 + within("-digits", *options.digits, 1, total - start + 1)};
    if (total == ~u64(0)) require_end(reader, options);
    return {start, total};
}

CompressTarget target_of(const ViewerOptions& options) {
    CompressTarget target;
    target.base = destination_folder(options.to.value_or("")) +
                  needed(options.name, "-name", "the name of the new files");
    target.digits_per_file = options.digits_per_file.value_or(0);
    if (target.digits_per_file != 0) {
        within("-C", target.digits_per_file, kLeastCompressed, u64(INT64_MAX));
    }
    return target;
}

void require_enough(u64 digits) {
    if (digits < kLeastCompressed) throw RefusedException("Too few digits to compress.");
}

void view(BasicDigitReader& reader, const ViewerOptions& options, const ViewerRunner& runner) {
    const u64 total = positions_of(reader);
    const u64 start = within("-start", options.start.value_or(1), 1, total);
    const u64 most = std::min(total - start, kMaxViewed - 1) + 1;
    if (options.end) within("-end", *options.end, start, start - 1 + most);
    const u64 count = options.end      ? *options.end - start + 1
                      : options.digits ? within("-digits", *options.digits, 1, most)
                                       : std::min(most, kUsualView);
    require_accessible(reader, start, start + count - 1);
    runner([&](const ViewerRun& run) { view_range(reader, start, count, run); });
}

void stats(BasicDigitReader& reader, const ViewerOptions& options, const ViewerRunner& runner) {
    const Range range = range_of(reader, options);
    require_accessible(reader, range.start, range.end);
    runner([&](const ViewerRun& run) { compute_stats(reader, range.start, range.end, run); });
}

void extract(BasicDigitReader& reader, const ViewerOptions& options, const ViewerRunner& runner) {
    const Range range = range_of(reader, options);
    const std::string to = needed(options.to, "-to", "the path of the new file");
    require_accessible(reader, range.start, range.end);
    runner([&](const ViewerRun& run) { extract_txt(reader, range.start, range.end, to, run); });
}

void compress(BasicDigitReader& reader, const ViewerOptions& options, const ViewerRunner& runner) {
    const u64 total = effective_total(reader);
    require_enough(total);
    if (total == ~u64(0)) require_end(reader, options);
    const u64 end = within("-end", options.end.value_or(total), kLeastCompressed, total);
    const CompressTarget target = target_of(options);
    if (target.digits_per_file > end) within("-C", target.digits_per_file, kLeastCompressed, end);
    require_accessible(reader, 1, end);
    runner([&](const ViewerRun& run) { compress_all(reader, end, target, run); });
}

void partial(BasicDigitReader& reader, const ViewerOptions& options, const ViewerRunner& runner) {
    const u64 total = effective_total(reader);
    require_enough(total);
    needed(options.digits_per_file, "-C", "the digits of a file");
    const CompressTarget target = target_of(options);
    within("-C", target.digits_per_file, kLeastCompressed, total);
    const u64 first = needed(options.first_id, "-ids", "the numbers of the files");
    const u128 D = target.digits_per_file;
    if (first * D >= total) throw RefusedException("No Digits to Recompress.");
    const u128 end = std::min<u128>(total, D * (u128(*options.last_id) + 1));
    require_accessible(reader, static_cast<u64>(first * D + 1), static_cast<u64>(end));
    runner([&](const ViewerRun& run) { compress_partial(reader, first, *options.last_id, target, run); });
}

struct ActionOfFile {
    const char* word;
    const char* help;
    void (*run)(BasicDigitReader&, const ViewerOptions&, const ViewerRunner&);
    const char* options;  // each between blanks
};
constexpr ActionOfFile kActions[] = {
    {"view", "show digits: -start, -end or -digits (1000)", view, " -start -end -digits "},
    {"stats", "digit counts and hash: -start, -end or -digits", stats, " -start -end -digits "},
    {"extract", "digits into a text file: -to, -start, -end or -digits", extract,
     " -to -start -end -digits "},
    {"compress", "digits 1 to -end into .kvd files: -name, -to, -C", compress, " -end -name -to -C "},
    {"partial", "files of a set made again: -ids, -C, -name, -to", partial, " -ids -C -name -to "},
};

const ActionOfFile* find_action(const std::string& word) {
    const auto* const found = std::find_if(std::begin(kActions), std::end(kActions),
                                           [&](const ActionOfFile& action) { return word == action.word; });
    return found == std::end(kActions) ? nullptr : found;
}

// Options that the action does not look at would be ignored in silence.
void require_use_of(const std::vector<std::string>& given, const ActionOfFile* action) {
    constexpr const char* kOfEveryAction = "-dir";
    const auto has = [&](const char* name) {
        return std::find(given.begin(), given.end(), name) != given.end();
    };
    for (const std::string& name : given) {
        if (name == kOfEveryAction) continue;
        if (action == nullptr) {
            throw RefusedException(name + " needs an action: view, stats, extract, compress or partial. " +
                                   CommandLine::see_help(kPage));
        }
        if (std::string_view(action->options).find(" " + name + " ") == std::string_view::npos) {
            throw RefusedException(name + " is not an option of \"" + action->word + "\". " +
                                   CommandLine::see_help(kPage));
        }
    }
    if (has("-end") && has("-digits")) {
        throw RefusedException("-end and -digits say the same thing: give one of them.");
    }
}

}  // namespace

const OptionTable<ViewerOptions>& viewer_option_table() {
    static const OptionTable<ViewerOptions> table = {
        {{"-dir", " <folder>", "look for files of a set here too; may be repeated", ""},
         NextWordValue<ViewerOptions>{
             [](ViewerOptions& options, const std::string& folder) { options.folders.push_back(folder); }}},
        number_row("-start", "first digit behind the point; default: 1", 1, &ViewerOptions::start),
        number_row("-end", "last digit; default: the file's", 1, &ViewerOptions::end),
        number_row("-digits", "how many digits, instead of -end", 1, &ViewerOptions::digits),
        {{"-to", " <path>", "file to extract to, or folder to compress to", ""},
         NextWordValue<ViewerOptions>{
             [](ViewerOptions& options, const std::string& path) { options.to = path; }}},
        {{"-name", " <text>", "name of compressed files", ""},
         NextWordValue<ViewerOptions>{
             [](ViewerOptions& options, const std::string& name) { options.name = name; }}},
        number_row("-C", "digits a compressed file; default, or 0: all in one", 0,
                   &ViewerOptions::digits_per_file),
        {{"-ids", ":<a>-<b>", "numbers of the files of a set", "Write a number, or two of them: -ids:0-4."},
         WordValue<ViewerOptions>{set_ids}},
    };
    return table;
}

std::vector<std::string> viewer_help_page() {
    std::vector<std::string> lines = {
        "Usage:  kalvor digitviewer [<file> [-dir <folder>] ... [<action> [options]]]",
        "",
        "<file> is a text file (.txt) or any file of a compressed set (.kvd). Without an",
        "action a menu asks.",
        "",
        "Actions:",
    };
    constexpr std::size_t kWidth = 10;
    for (const ActionOfFile& action : kActions) {
        std::string word = action.word;
        word.resize(kWidth, ' ');
        lines.push_back("  " + word + action.help);
    }
    lines.insert(lines.end(), {"", "Options:"});
    for (const auto& row : viewer_option_table()) {
        for (const std::string& line : CommandLine::help_lines(row.text, {})) lines.push_back(line);
    }
    lines.insert(lines.end(), {"", "Example:  kalvor digitviewer pi.txt view -start:999990 -digits:20"});
    return lines;
}

void run_viewer_command(ParameterList& parameters, const ViewerRunner& runner) {
    parameters.advance();
    if (!parameters.has_more()) return Menu_DigitViewer(runner);
    const std::string path = parameters.current_raw();
    const ActionOfFile* action = nullptr;
    ViewerOptions options;
    std::vector<std::string> given;
    for (parameters.advance(); parameters.has_more(); parameters.advance()) {
        const std::string& raw = parameters.current_raw();
        const bool is_option = raw.starts_with('-');
        if (!is_option && action == nullptr) {
            action = find_action(raw);
            if (action != nullptr) continue;
        }
        const auto* const option =
            is_option ? CommandLine::find_option(viewer_option_table(), parameters.current().first) : nullptr;
        if (option == nullptr) {
            std::vector<std::string> names = CommandLine::names_of(viewer_option_table());
            for (const ActionOfFile& known : kActions) names.emplace_back(known.word);
            CommandLine::refuse_option(parameters, "an option of \"digitviewer\"", names, kPage);
        }
        given.push_back(option->text.name);
        read_option(*option, options, parameters, kPage, Console::print_problem);
    }
    require_use_of(given, action);
    const std::unique_ptr<BasicDigitReader> reader = open_for_viewing(path);
    if (auto* const set = dynamic_cast<BasicKvdSetReader*>(reader.get())) {
        for (const std::string& folder : options.folders) set->add_search_folder(folder);
    }
    if (action == nullptr) return show_file_menu(*reader, runner);
    action->run(*reader, options, runner);
}

}  // namespace kalvor::DigitViewer2
