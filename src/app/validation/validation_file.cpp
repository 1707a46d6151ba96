#include "app/validation/validation_file.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "app/record/digit_report.h"
#include "app/validation/validate.h"
#include "base/clock/cpu_utilization.h"
#include "base/clock/date_text.h"
#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/version/version.h"
#include "os/path_kind.h"
#include "platform/fileio/persistent.h"
#include "platform/fileio/published_file.h"
#include "platform/memory/guarded_heap.h"
#include "platform/sysinfo/system_summary.h"

namespace kalvor {

using Console::format_commas;
using FileIO::PublishedFile;

namespace {

constexpr const char* kLineEnd = "\r\n";
constexpr const char* kFunction = "write_validation_file()";

// Gathers lines.
class Lines {
  public:
    void line(const std::string& label, const std::string& value = {}) {
        text_ += label;
        text_ += value;
        text_ += kLineEnd;
    }
    void blank() { text_ += kLineEnd; }
    // Lines that end in LF alone.
    void block(const std::string& block) {
        for (const char c : block) {
            if (c == '\n') text_ += '\r';
            text_ += c;
        }
    }
    // As it stands.
    void raw(const std::string& text) { text_ += text; }
    std::string take() { return std::move(text_); }

  private:
    std::string text_;
};

std::string memory_text(u64 bytes) {
    return Console::format_number(bytes, Console::NumberFormat::commas_and_bytes);
}

std::string seconds_text(double seconds) {
    return Console::format_fixed(seconds, 3) + " seconds";
}

std::string yes_or_no(bool yes) {
    return yes ? "Yes" : "No";
}

std::string spot_check_text(i64 position) {
    if (position > 0) return "Good through " + format_commas(static_cast<u64>(position));
    if (position < 0) return "Mismatch at " + format_commas(static_cast<u64>(-position));
    return "Not Available";
}

void add_head(Lines& out, const RunRecord& record) {
    out.raw("\xef\xbb\xbf");
    out.line("Benchmark Validation File - DO NOT MODIFY! If you do, it will fail validation.");
    out.blank();
    out.line("Validation Version:    ", kValidationVersion);
    out.blank();
    out.line("Program:               Kalvor v", kVersion.text());
    out.line("Tuning:                ", kVersion.build_label);
    out.blank();
    out.line("User:                  ", record.user);
    out.blank();
    out.raw(system_block(record.system));
}

void add_settings(Lines& out, const RunRecord& record) {
    out.line("Constant:              ", record.constant);
    out.line("Algorithm:             ", record.algorithm);
    out.line("Decimal Digits:        ", format_commas(record.decimal_digits));
    out.line("Hexadecimal Digits:    ",
             record.hexadecimal_digits == 0 ? "Disabled" : format_commas(record.hexadecimal_digits));
    out.line("Computation Mode:      ", record.mode);
    out.line("Threading Mode:        ", record.threading);
    out.line("Working Memory:        ", memory_text(record.working_memory));
    out.line("Total Memory:          ", memory_text(record.total_memory));
    out.line("Configuration Dump:");
    out.line(record.configuration);
}

void add_times(Lines& out, const RunRecord& record) {
    out.line("Start Date:             ", record.start_date);
    out.line("End Date:               ", record.end_date);
    out.line("Total Computation Time:     ", seconds_text(record.compute_seconds));
    out.line("Start-to-End Wall Time:    ", seconds_text(record.wall_seconds));
    for (const std::string& line : cpu_utilization_file_lines(record.utilization)) out.line(line);
}

void add_digits(Lines& out, const RunRecord& record) {
    const std::optional<OutputStats>&decimal = record.decimal, &hexadecimal = record.hexadecimal;
    if (hexadecimal) out.block(last_digits_block(hexadecimal->last));
    if (decimal) out.block(last_digits_block(decimal->last));
    if (decimal && !decimal->hidden.empty()) {
        for (const HashedDigits& hidden : decimal->hidden) {
            out.line("SHA256-dec(" + format_commas(hidden.start + 1) + " - " +
                     format_commas(hidden.start + hidden.count) + "): " + hidden.sha256);
        }
        out.blank();
    }
    if (!decimal && !hexadecimal) return;
    if (decimal) out.line(counts_line(decimal->counts));
    if (hexadecimal) out.line(counts_line(hexadecimal->counts));
    out.blank();
    if (decimal) out.line(hash_line(*decimal));
    if (hexadecimal) out.line(hash_line(*hexadecimal));
    out.blank();
}

void add_diagnostics(Lines& out, const RunRecord& record) {
    out.line("Spot Check:                 ", spot_check_text(record.spot_check.position));
    out.line("Timer Sanity Check:         ", std::string(timer_check_text(record.timer_check)));
    out.line("Frequency Sanity Check:     ", "Disabled in this version of Kalvor");
    out.line("Reference Clock:            ", record.clocks.kind);
    out.line("Reference Clock 0:          ", format_commas(record.clocks.performance_frequency));
    out.line("Reference Clock 1:          ", format_commas(record.clocks.tsc_by_performance_counter));
    out.line("Reference Clock 2:          ", format_commas(record.clocks.tsc_by_system_clock));
    out.line("Is Debugger Present:        ", yes_or_no(record.debugger));
    out.line("Is Contiguous:              ", yes_or_no(record.contiguous));
    out.line("ECC Recovered Errors:       ", format_commas(record.ecc_recovered));
    out.line("Colors:                     ", yes_or_no(record.colors));
    out.blank();
}

// A second later; leap seconds apart.
void step(os::LocalTime& time) {
    const bool leap = (time.year % 4 == 0 && time.year % 100 != 0) || time.year % 400 == 0;
    const std::array<int, 12> days = {31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (++time.second < 60) return;
    time.second = 0;
    if (++time.minute < 60) return;
    time.minute = 0;
    if (++time.hour < 24) return;
    time.hour = 0;
    if (++time.day <= days[static_cast<std::size_t>(time.month - 1) % days.size()]) return;
    time.day = 1;
    if (++time.month <= 12) return;
    time.month = 1;
    time.year++;
}

// What the system does not tell of is left to the draft, whose failure says why.
bool is_taken(const std::string& path) {
    const os::PathKind kind = os::path_kind(path);
    return kind != os::PathKind::missing && kind != os::PathKind::unknown;
}

// The draft under the first name from `time` on that nothing has, or why there is none.
class NewFile {
  public:
    NewFile(const RunRecord& record, const ValidationOutput& output)
        : base_(record.folder + record.constant_file + " - "),
          time_(record.end_time),
          calls_(*output.calls) {}

    os::OsError attempt() {
        for (;; step(time_)) {
            const std::string path = base_ + date_time_name(time_);
            const std::string final_path = path + ".txt", draft_path = path + " (incomplete).txt";
            if (is_taken(final_path) || is_taken(draft_path)) continue;
            try {
                file = std::make_unique<PublishedFile>(draft_path, final_path, calls_);
            } catch (const FileIO::FileException& e) {
                // Another run was faster.
                if (is_taken(draft_path)) continue;
                return {e.error_code, os::ErrorCategory::other};
            }
            // No other process takes the name while the draft is held; an earlier holder may have finished by
            // now.
            if (!is_taken(final_path)) return {};
            file->discard();
        }
    }
    std::string first_path() const { return base_ + date_time_name(time_) + ".txt"; }

    std::unique_ptr<PublishedFile> file;

  private:
    const std::string base_;
    os::LocalTime time_;
    const FileIO::FileCalls& calls_;
};

}  // namespace

std::string validation_text(const RunRecord& record) {
    Lines out;
    add_head(out, record);
    add_settings(out, record);
    add_times(out, record);
    add_digits(out, record);
    add_diagnostics(out, record);
    out.line("Event Log:");
    out.raw(record.event_log);
    return out.take();
}

std::string write_validation_file(const RunRecord& record, const ValidationOutput& output) {
    const std::string text = signed_text(validation_text(record));
    NewFile made(record, output);
    FileIO::persist(
        kFunction, "Unable to create file.", made.first_path(), [&] { return made.attempt(); }, *output.calls,
        FileIO::ask_again_through(output.status, output.terminal));
    PublishedFile& file = *made.file;
    file.ask_again(FileIO::ask_again_through(output.status, output.terminal));
    if (output.ledger != nullptr) output.ledger->made(file.draft_path());
    // Whole sectors, past the system's cache; what is behind the text is cut off.
    const u64 bytes = (text.size() + FileIO::kSectorBytes - 1) / FileIO::kSectorBytes * FileIO::kSectorBytes;
    const GuardedBuffer buffer(bytes, FileIO::kSectorBytes);
    char* const sectors = static_cast<char*>(buffer.get());
    std::fill(std::copy(text.begin(), text.end(), sectors), sectors + bytes, '\0');
    file.file().store(sectors, 0, bytes);
    if (output.ledger != nullptr) output.ledger->begun(file.draft_path());
    file.complete(text.size());
    std::fill_n(sectors, bytes, '\0');
    const std::string_view again(sectors, file.file().load_available(sectors, 0, bytes));
    if (again != text || validate(again).result != Validation::passed) {
        throw FileIO::FileException(kFunction, "The file reads otherwise than it was written.",
                                    file.draft_path());
    }
    file.publish();
    if (output.ledger != nullptr) output.ledger->renamed(file.draft_path(), file.final_path());
    std::string path = os::absolute_path(file.final_path());
    output.status.Status_ColoredLine({{'G', "Validation File: "}, {'P', CommandLine::shown_path(path)}});
    return path;
}

}  // namespace kalvor
