#include "digits/viewer/target.h"

#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "digits/output/free_space.h"
#include "digits/output/replacement.h"
#include "digits/viewer/transfer.h"
#include "digits/viewer/view_range.h"
#include "os/file.h"
#include "os/path_kind.h"
#include "platform/fileio/error_text.h"

namespace kalvor::DigitViewer2 {

using FileIO::FileException;

namespace {

constexpr const char* kFunction = "DigitViewer()";

// What the shares of the progress are made of; the run's own pace soon tells the time.
constexpr double kSecondsToRead = 1e-9, kSecondsToMove = 4e-9;  // a digit
constexpr const char *kReading = "reading", *kMoving = "moving", *kVerifying = "verifying";

std::vector<trel::WorkPhase> phases_of(ActionProgress::Kind kind, u64 digits) {
    const double n = static_cast<double>(digits);
    if (kind == ActionProgress::reading) return {{kReading, kSecondsToRead * n, n}};
    // What is moved counts when it is read and when it is written.
    return {{kMoving, kSecondsToMove * n, 2 * n}, {kVerifying, kSecondsToRead * n, n}};
}

void begin_part(const ViewerRun& run, const char* phase, const char* done, u64 digits) {
    run.status.work().enter(phase);
    if (run.moved != nullptr) run.moved->begin(done, digits);
}

// The path from the root, without parts that lead nowhere.
std::vector<std::string> parts_of(const std::string& path) {
    std::vector<std::string> parts(1);
    for (const char c : os::absolute_path(path) + "/") {
        if (!os::is_path_separator(c)) {
            parts.back() += c;
            continue;
        }
        const std::string part = parts.back();
        if (part == "..") parts.pop_back();
        if (part == ".." && !parts.empty()) parts.pop_back();
        if (part.empty() || part == ".") parts.pop_back();
        parts.emplace_back();
    }
    return parts;
}

}  // namespace

bool is_accessible(const BasicDigitReader& reader, u64 start, u64 count, const ViewerRun& run) {
    if (!reader.is_in_range(start, count)) {
        run.status.Status_Line(not_accessible(reader, start, count));
        return false;
    }
    reader.require(start, count);
    return true;
}

void announce_replacement(std::string_view format, const std::string& path, u8 radix, u64 digits,
                          const ViewerRun& run, std::optional<u64>& of_set) {
    constexpr ReplacementWords kWords = {kFunction, "the new one has",
                                         "Move it away, or choose another name or folder."};
    const Replacement replacement =
        check_replacement(digit_format(format), path, radix, digits, false, run.files, of_set, kWords);
    if (!of_set && replacement.digits != 0) of_set = replacement.digits;
    if (!replacement.remark.empty()) run.status.Status_Line(replacement.remark);
}

void announce_replacement(std::string_view format, const std::string& path, u8 radix, u64 digits,
                          const ViewerRun& run) {
    std::optional<u64> alone;
    announce_replacement(format, path, radix, digits, run, alone);
}

void require_other_files(const BasicDigitReader& reader, const std::string& begin) {
    const std::string source = reader.source();
    if (source.empty() || parts_of(source) != parts_of(begin)) return;
    throw FileException(
        kFunction, "The digits are read from there. Choose another name or folder for the new ones.", begin);
}

void require_space(const std::string& path, u64 bytes, const ViewerRun& run) {
    const std::string folder = path.substr(0, path.find_last_of("/\\") + 1);
    const std::string text = shortage(run.files.volume_space(folder.c_str()), bytes);
    if (!text.empty()) throw FileException(kFunction, text + " Make room or choose another folder.", path);
}

void require_reserved(os::OsError error, const std::string& path) {
    if (error)
        throw FileIO::file_error(kFunction, "The space for the digits cannot be reserved.", path, error);
}

void note_begun(const ViewerRun& run, const std::string& draft) {
    if (run.ledger != nullptr) run.ledger->begun(draft);
}

void note_named(const ViewerRun& run, const std::string& draft, const std::string& final_path) {
    if (run.ledger != nullptr) run.ledger->renamed(draft, final_path);
}

ActionProgress::ActionProgress(Kind kind, u64 digits, const ViewerRun& run)
    : meter_(phases_of(kind, digits)), shown_(run.status, &meter_) {
    begin_part(run, kind == reading ? kReading : kMoving, kind == reading ? "read" : "moved", digits);
}

void check_written(BasicDigitReader& written, u64 start, u64 count, const DigitRangeStats& stats,
                   const ViewerRun& run) {
    begin_part(run, kVerifying, "read back", count);
    DigitRangeStats found(written.radix());
    transfer(written, start, count, found, run,
             [&](u64 position) { print_label(run, "Read Back", Console::format_commas(position), 'T'); });
    if (found.hash == stats.hash && found.counts == stats.counts) return;
    throw AlgorithmFailedException(kFunction, "The files do not have the digits that were written to them.");
}

Warnings* warnings_of(const ViewerRun& run) {
    return run.parallel.run == nullptr ? nullptr : &run.parallel.run->warnings;
}

void print_label(const ViewerRun& run, const std::string& label, const std::string& value, char color) {
    run.status.Status_ColoredLine({{'w', label + ": "}, {color, value}});
}

void print_offset(const ViewerRun& run, u64 position) {
    print_label(run, "Current Offset", Console::format_commas(position), 'T');
}

void print_written(const ViewerRun& run, const std::string& path) {
    print_label(run, "Written", CommandLine::shown_path(path), 'T');
}

}  // namespace kalvor::DigitViewer2
