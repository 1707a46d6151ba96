#include "digits/output/spot_check.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "base/console/format.h"
#include "os/process.h"
#include "platform/fileio/small_file.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {

namespace {

constexpr u64 kGroup = 10;  // digits of an entry
constexpr u64 kBufferLimit = u64(1) << 30;
constexpr u64 kPage = 4096;
// A larger file is something else.
constexpr u64 kMaxTableBytes = u64(16) << 20;
constexpr std::array<const char*, 4> kFolders = {"Binaries/Digits/", "Digits/", "../../Digits/",
                                                 "../../../Digits/"};

void skip_blanks(std::string_view& text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
}

// A decimal number with commas anywhere in it, taken off the front; nothing when there is none or it does not
// fit.
std::optional<u64> take_number(std::string_view& text) {
    std::optional<u64> value;
    for (; !text.empty(); text.remove_prefix(1)) {
        const char c = text.front();
        if (c == ',') continue;
        if (c < '0' || c > '9') break;
        const u64 digit = static_cast<u64>(c - '0');
        const u64 before = value.value_or(0);
        if (before > (std::numeric_limits<u64>::max() - digit) / 10) return std::nullopt;
        value = 10 * before + digit;
    }
    return value;
}

struct Entry {
    u64 position, value;
};

std::optional<Entry> parse_line(std::string_view line) {
    skip_blanks(line);
    const std::optional<u64> position = take_number(line);
    if (!position || *position < kGroup) return std::nullopt;
    skip_blanks(line);
    if (line.empty() || line.front() != '|') return std::nullopt;
    line.remove_prefix(1);
    skip_blanks(line);
    const std::optional<u64> value = take_number(line);
    if (!value) return std::nullopt;
    return Entry{*position, *value};
}

std::optional<std::string> find_table(const std::string& name, const std::string& program_folder,
                                      const FileIO::FileCalls& calls) {
    for (const char* folder : kFolders) {
        std::string path = program_folder;
        path.append(folder).append(name).append(".txt");
        std::optional<std::string> text = FileIO::read_small_file(path, kMaxTableBytes, calls);
        if (text) return text;
    }
    return std::nullopt;
}

SpotCheck unavailable(const char* reason, u64 duplicates = 0) {
    return {0, std::string("Unavailable - ") + reason, 'Y', duplicates};
}

}  // namespace

SpotCheckTable parse_spot_check_table(std::string_view text) {
    SpotCheckTable table;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (const std::optional<Entry> entry = parse_line(text.substr(0, end))) {
            if (!table.entries.emplace(entry->position, entry->value).second) table.duplicates++;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return table;
}

SpotCheck spot_check(BasicDigitReader& source, u64 digits, const std::string& name,
                     const std::string& program_folder, const FileIO::FileCalls& calls) {
    const std::optional<std::string> text = find_table(name, program_folder, calls);
    if (!text) return unavailable("Digit file not found.");
    const auto [entries, duplicates] = parse_spot_check_table(*text);
    if (entries.empty() || entries.begin()->first > digits)
        return unavailable("No suitable spot check entry.", duplicates);

    const u64 bytes = round_up_64(source.buffer_size(kGroup, kBufferLimit));
    const GuardedBuffer scratch(bytes, kPage);
    u64 last = 0;
    for (const auto& [position, expected] : entries) {
        if (position > digits) break;
        u8 group[kGroup];
        source.load_digits(group, position - kGroup, kGroup, AlignedBufferC(scratch.get(), bytes),
                           serial_context());
        u64 value = 0;
        for (const u8 digit : group) value = 10 * value + digit;
        if (value != expected) {
            return {-static_cast<i64>(position), "Mismatch at " + Console::format_commas(position), 'R',
                    duplicates, last};
        }
        last = position;
    }
    return {static_cast<i64>(last), "Good through " + Console::format_commas(last), 'G', duplicates, last};
}

SpotCheck spot_check(BasicDigitReader& source, u64 digits, const std::string& name,
                     const FileIO::FileCalls& calls) {
    const std::string program = os::executable_path().value_or("");
    return spot_check(source, digits, name, program.substr(0, program.find_last_of("/\\") + 1), calls);
}

void report(Status& status, const SpotCheck& check) {
    for (u64 i = 0; i < check.duplicates; i++) status.Warning("Error parsing digit file: Duplicate entries.");
    status.Status_ColoredLine({{'w', "Spot Check: "}, {check.color, check.text}});
}

}  // namespace kalvor
