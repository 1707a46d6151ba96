#include "digits/viewer/compress.h"

#include <algorithm>
#include <optional>

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/prompt/prompt.h"
#include "digits/files/basic_kvd_set_writer.h"
#include "digits/files/digit_sink.h"
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

// Files that are made and reserved before the first digit is moved; more of them would be too many handles.
constexpr u64 kReservedFiles = 64;

// Digits from + 1 ... to, which are those of the files first ... last.
struct FileRange {
    u64 from, to, first, last;
};

u64 most_bytes(u64 digits, u8 radix) {
    return digit_format(kKvdFormat).most_bytes({radix, digits});
}

u64 in_last_file(const FileRange& range, u64 digits_per_file) {
    return range.to - range.last * digits_per_file;
}

void require_space(const std::string& base, const FileRange& range, u64 digits_per_file, u8 radix,
                   const ViewerRun& run) {
    const u128 bytes = u128(range.last - range.first) * most_bytes(digits_per_file, radix) +
                       most_bytes(in_last_file(range, digits_per_file), radix);
    require_space(base, static_cast<u64>(std::min<u128>(bytes, ~u64(0))), run);
}

void reserve(KvdSetFiles& files, const FileRange& range, u64 digits_per_file, u8 radix) {
    const auto bytes_of = [&](u64 digits) { return most_bytes(digits, radix); };
    const u64 in_last = in_last_file(range, digits_per_file);
    const u64 end = range.last - range.first < kReservedFiles ? range.last : range.first + kReservedFiles - 1;
    for (u64 id = range.first; id <= end; id++) {
        FileIO::PublishedFile& file = files.file(id);
        require_reserved(file.reserve(bytes_of(id == range.last ? in_last : digits_per_file)),
                         file.draft_path());
    }
}

// total: of the number, 0 = unknown.
void compress_range(BasicDigitReader& reader, const FileRange& range, u64 total, const CompressTarget& target,
                    const ViewerRun& run) {
    const u64 count = range.to - range.from;
    if (!is_accessible(reader, range.from, count, run)) return;
    require_other_files(reader, target.base + " - ");
    // First, because a header may promise more files than anybody can look at.
    const u64 in_file = target.digits_per_file == 0 ? range.to : target.digits_per_file;
    require_space(target.base, range, in_file, reader.radix(), run);
    // What is there is measured as a whole, so what is made counts as a whole too.
    const u64 digits = total == 0 ? range.to : total;
    std::optional<u64> of_set;
    for (u64 id = range.first; id <= range.last; id++) {
        run.parallel.poll();
        announce_replacement(kKvdFormat, path_of(target, id), reader.radix(), digits, run, of_set);
        if (id == range.last) break;  // of all ids
    }
    KvdSetFiles files(target.base, run.files);
    files.ask_again(FileIO::ask_again_through(run.status, run.terminal));
    files.on_begun([&](const FileIO::PublishedFile& file) { note_begun(run, file.draft_path()); });
    BasicKvdSetWriter writer(files, reader.first_digits(), reader.radix(), target.digits_per_file, total,
                             SectorWindow::kDefaultBytes, warnings_of(run));
    reserve(files, range, writer.digits_per_file(), reader.radix());
    const ActionProgress progress(ActionProgress::moving, count, run);
    const DigitRangeStats stats = transfer(reader, range.from, count, writer, 0, run,
                                           [&](u64 position) { print_offset(run, position); });
    writer.finish_begun();
    check_written(*writer.read_back(), range.from, count, stats, run);
    writer.publish();
    for (const auto& [id, file] : files.files()) note_named(run, file->draft_path(), file->final_path());
    const std::string first = path_of(target, range.first);
    print_written(run, range.first == range.last ? first : first + " ... " + path_of(target, range.last));
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
    while (name.empty()) name = Prompt::read_text("Name", 'T');
    Console::new_line();
    Console::print_line("Enter the destination path (SPACE for default):", 'w');
    return destination_folder(Prompt::read_text("Path", 'T')) + name;
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
    compress_range(reader, {0, end, 0, (end - 1) / D}, end, target, run);
}

void compress_partial(BasicDigitReader& reader, u64 first_id, u64 last_id, const CompressTarget& target,
                      const ViewerRun& run) {
    const u64 total = effective_total(reader), D = target.digits_per_file;
    if (u128(first_id) * D >= total) {
        run.status.Warning("No Digits to Recompress.");
        return;
    }
    const u64 to = static_cast<u64>(std::min<u128>(total, u128(D) * (u128(last_id) + 1)));
    compress_range(reader, {first_id * D, to, first_id, (to - 1) / D}, reader.total_digits(), target, run);
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
