#include "digits/viewer/compress.h"

#include <algorithm>
#include <optional>

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/prompt/prompt.h"
#include "digits/files/basic_kvd_set_writer.h"
#include "digits/viewer/target.h"
#include "digits/viewer/transfer.h"
#include "digits/viewer/view_range.h"
#include "platform/fileio/output_folder.h"

namespace kalvor::DigitViewer2 {

namespace {

constexpr const char* kTooFew = "Too few digits to compress.";

std::string path_of(const CompressTarget& target, u64 id) {
    return BasicKvdFileWriter::final_path(KvdSetFiles::file_base(target.base, id));
}

// Digits from + 1 ... to, which are those of the files first ... last.
void compress_range(BasicDigitReader& reader, u64 from, u64 to, u64 total, u64 first, u64 last,
                    const CompressTarget& target, const ViewerRun& run) {
    // What is there is measured as a whole, so what is made counts as a whole too.
    const u64 digits = total == 0 ? to : total;
    if (!is_accessible(reader, from, to - from)) return;
    std::optional<u64> of_set;
    for (u64 id = first; id <= last; id++) {
        announce_replacement(kKvdFormat, path_of(target, id), reader.radix(), digits, run, of_set);
        if (id == last) break;  // of all ids
    }
    BasicKvdSetWriter writer(target.base, reader.first_digits(), reader.radix(), target.digits_per_file,
                             total, SectorWindow::kDefaultBytes, warnings_of(run), run.files);
    transfer(reader, from, to - from, writer, 0, run, print_offset);
    writer.close();
    print_written(first == last ? path_of(target, first)
                                : path_of(target, first) + " ... " + path_of(target, last));
}

void print_least(u64 least) {
    Console::print("Please select at least ", 'w');
    Console::print(Console::format_commas(least), 'G');
    Console::print_line(" digits.", 'w');
}

// Name and folder.
std::string ask_base() {
    Console::print_line("Enter a name for the digits:", 'w');
    std::string name;
    while (name.empty()) name = Prompt::read_text("Name: ", 'T');
    Console::new_line();
    Console::print_line("Enter the destination path (SPACE for default):", 'w');
    return destination_folder(Prompt::read_text("Path: ", 'T')) + name;
}

u64 ask_digits_per_file(u64 end) {
    for (;;) {
        const u64 digits =
            Prompt::read_unsigned_in_range("Digits per file (0 for single file): ", 0, end, 'T');
        if (digits == 0 || digits >= kLeastCompressed) return digits;
        Console::error_line("Must be at least " + Console::format_commas(kLeastCompressed) + ".\n");
    }
}

}  // namespace

std::string destination_folder(const std::string& answer) {
    return answer.empty() || answer.front() == ' ' ? std::string() : FileIO::folder_prefix(answer);
}

void compress_all(BasicDigitReader& reader, u64 end, const CompressTarget& target, const ViewerRun& run) {
    const u64 D = target.digits_per_file == 0 ? BasicKvdSetWriter::single_file(end) : target.digits_per_file;
    compress_range(reader, 0, end, end, 0, (end - 1) / D, target, run);
}

void compress_partial(BasicDigitReader& reader, u64 first_id, u64 last_id, const CompressTarget& target,
                      const ViewerRun& run) {
    const u64 total = effective_total(reader), D = target.digits_per_file;
    if (u128(first_id) * D >= total) {
        Console::error_line("No Digits to Recompress.");
        return;
    }
    const u64 to = static_cast<u64>(std::min<u128>(total, u128(D) * (u128(last_id) + 1)));
    compress_range(reader, first_id * D, to, reader.total_digits(), first_id, (to - 1) / D, target, run);
}

void compress_all(BasicDigitReader& reader, const ViewerRunner& runner) {
    Console::print("\n\n", 'w');
    Console::print_line("Write to Compressed File", 'w');
    const u64 total = effective_total(reader);
    if (total < kLeastCompressed) {
        Console::print_line(kTooFew);
        return;
    }
    Console::print_line("Starting Digit: 1", 'w');
    u64 end = 0;
    for (;;) {
        end = Prompt::read_unsigned_in_range("Ending Digit:   ", 0, total, 'T');
        if (end >= kLeastCompressed) break;
        print_least(kLeastCompressed);
    }
    CompressTarget target;
    target.digits_per_file = ask_digits_per_file(end);
    target.base = ask_base();
    runner([&](const ViewerRun& run) { compress_all(reader, end, target, run); });
}

void compress_partial(BasicDigitReader& reader, const ViewerRunner& runner) {
    Console::print("\n\n", 'w');
    Console::print_line("Write to Compressed File (partial)", 'w');
    const u64 total = effective_total(reader);
    if (total < kLeastCompressed) {
        Console::print_line(kTooFew);
        return;
    }
    CompressTarget target;
    target.digits_per_file =
        Prompt::read_unsigned_in_range("Digits per file: ", kLeastCompressed, total, 'T');
    const u64 first = Prompt::read_unsigned_in_range("Start ID: ", 0, ~u64(0), 'T');
    const u64 last = Prompt::read_unsigned_in_range("End   ID: ", first, ~u64(0), 'T');
    if (u128(first) * target.digits_per_file >= total) {
        Console::error_line("No Digits to Recompress.");
        return;
    }
    target.base = ask_base();
    runner([&](const ViewerRun& run) { compress_partial(reader, first, last, target, run); });
}

}  // namespace kalvor::DigitViewer2
