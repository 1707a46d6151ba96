#include "digits/output/output_files.h"

#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "digits/output/free_space.h"
#include "digits/output/replacement.h"
#include "platform/fileio/error_text.h"
#include "platform/fileio/output_folder.h"

namespace kalvor {

using CommandLine::shown_path;
using FileIO::FileException;

namespace {

constexpr const char* kFunction = "OutputFiles()";
constexpr double kLongRunSeconds = 3600;
constexpr int kUnattendedAttempts = 10;
constexpr double kSecondsUnattended = 60;
// Answers may come from a program that never stops.
constexpr double kSecondsAfterAnAnswer = 1;

const DigitFormat& format_of(const OutputFiles::Request& request) {
    return digit_format(request.format);
}

u64 bytes_of(const OutputFiles::Request& request) {
    return format_of(request).most_bytes(request.amount());
}

u64 bytes_of(const std::vector<OutputFiles::Request>& requests) {
    u64 bytes = 0;
    for (const OutputFiles::Request& request : requests) bytes += bytes_of(request);
    return bytes;
}

Replacement check_target(const std::string& folder, const OutputFiles::Request& request,
                         const OutputOptions& options) {
    const DigitFormat& format = format_of(request);
    Replacement all;
    for (const std::string& path : format.final_paths(folder + request.base_name, request.amount())) {
        const Replacement one = check_replacement(format, path, request.radix, request.digits,
                                                  options.overwrite, *options.calls, all.digits);
        all.of_read_only |= one.of_read_only;
        if (all.remark.empty()) all.remark = one.remark;
        // A file that belongs to no digits says nothing of those that follow.
        if (!all.digits && one.digits != 0) all.digits = one.digits;
    }
    return all;
}

[[noreturn]] void refuse_shortage(const std::string& text, const std::string& folder) {
    throw FileException(
        kFunction,
        text + " Make room or choose another folder. \"kalvor custom\" runs anyway with -minspace:0.",
        folder.empty() ? "." : folder);
}

}  // namespace

// What to do about a full volume.
struct OutputFiles::Choice {
    bool again = false;
    std::string folder;  // empty: the same
};

bool wants_minimum_space(const std::optional<bool>& setting, double expected_seconds) {
    return setting.value_or(expected_seconds > kLongRunSeconds);
}

void OutputFiles::Request::set_digits_per_file(u64 setting) {
    format = setting == 0 ? kTextFormat : kKvdFormat;
    digits_per_file = setting == ~u64(0) ? 0 : setting;
}

OutputFiles::OutputFiles(std::string folder, const std::vector<Request>& requests,
                         const OutputOptions& options, Status& status)
    : folder_(std::move(folder)), options_(options), status_(status) {
    for (const Request& request : requests) entries_.push_back({request, make(folder_, request)});
    reserve_space();
}

OutputFiles::~OutputFiles() = default;

void OutputFiles::check(const std::string& folder, const std::vector<Request>& requests,
                        const OutputOptions& options) {
    for (const Request& request : requests) {
        format_of(request).check(folder + request.base_name, request.amount(), *options.calls);
        check_target(folder, request, options);
    }
    if (!options.minimum_space || requests.empty()) return;
    const std::string text = shortage(options.calls->volume_space(folder.c_str()), bytes_of(requests));
    if (!text.empty()) refuse_shortage(text, folder);
}

std::unique_ptr<DigitSink> OutputFiles::make(const std::string& folder, const Request& request) const {
    // The draft first: once it is held, a file under the final name cannot be another run's work in progress.
    auto sink = format_of(request).make_sink(folder + request.base_name, request.amount(), *options_.calls);
    if (options_.ledger) {
        for (const DigitSink::File& file : sink->files()) options_.ledger->made(file.draft_path);
        sink->on_begun(
            [ledger = options_.ledger](const DigitSink::File& file) { ledger->begun(file.draft_path); });
    }
    sink->ask_again(FileIO::ask_again_through(status_, options_.terminal));
    const Replacement replacement = check_target(folder, request, options_);
    if (!replacement.remark.empty()) status_.Status_Line(replacement.remark);
    if (replacement.of_read_only) sink->replace_read_only();
    return sink;
}

// Before anything is computed: the space is reserved, or the user learns that it is missing.
void OutputFiles::reserve_space() {
    if (entries_.empty()) return;
    std::vector<Request> requests;
    for (const Entry& entry : entries_) requests.push_back(entry.request);
    const u64 needed = bytes_of(requests);
    const os::VolumeSpace space = options_.calls->volume_space(folder_.c_str());
    std::string text = shortage(space, needed);
    for (const Entry& entry : entries_) {
        if (!text.empty()) break;
        const os::OsError error = entry.sink->reserve();
        if (!error) continue;
        if (error.category != os::ErrorCategory::disk_full) {
            throw FileIO::file_error(kFunction, "The space for the digits cannot be reserved.",
                                     entry.sink->draft_path(), error);
        }
        // A quota, a limit on the size of files, or somebody was faster.
        text = "The volume " + shown_path(space.volume) +
               " does not give the space that is asked for: the digits need " + bytes_text(needed) + ", " +
               bytes_text(space.free_bytes) + " are said to be free.";
    }
    if (text.empty()) return;
    if (options_.minimum_space) refuse_shortage(text, folder_);
    status_.Status_ColoredLine({{'w', "Warning: "}, {'Y', text}});
}

OutputStats OutputFiles::write(FloatWriterB& digits, u8 radix, bool verify) {
    Entry* entry = nullptr;
    for (Entry& e : entries_) {
        if (e.request.radix == radix) entry = &e;
    }
    if (entry == nullptr) {
        throw InvalidParametersException("OutputFiles::write()", "No file was asked for.");
    }
    for (int attempt = 1;; attempt++) {
        Choice choice;
        {
            DigitSink& sink = *entry->sink;
            const std::string first = radix == 10 ? digits.first_dec_digits() : digits.first_hex_digits();
            const auto writer = sink.make_writer(first, digits.warnings(), digits.window_memory(radix));
            OutputStats stats;
            try {
                stats = radix == 10 ? digits.write_dec_digits(*writer) : digits.write_hex_digits(*writer);
            } catch (const FileException&) {
                if (!sink.needs_space()) throw;
                choice = ask_for_space(*entry, attempt);
                if (!choice.again) throw;
                writer->abandon();
            } catch (const AlgorithmFailedException&) {
                // The writer holds pieces of the memory that a conversion takes.
                writer->abandon();
                digits.restore(radix);
                choice.again = true;
            }
            if (!choice.again) {
                if (verify) digits.read_check(*writer->read_back(), stats);
                const u64 bytes = sink.bytes();
                const std::vector<DigitSink::File> files = sink.files();
                writer->publish();
                if (options_.ledger) {
                    for (const auto& [draft, final] : files) options_.ledger->renamed(draft, final);
                }
                written_.push_back({sink.final_path(), bytes, files.size()});
                return stats;
            }
        }
        if (!choice.folder.empty()) move(*entry, choice.folder);
    }
}

OutputFiles::Choice OutputFiles::ask_for_space(const Entry& entry, int attempt) const {
    const os::VolumeSpace space = options_.calls->volume_space(folder_.c_str());
    status_.Warning("There is no space left on the volume " + shown_path(space.volume) + " for the digits.");
    status_.Status_Line(shown_path(entry.sink->draft_path()));
    status_.Status_Line("Needed: " + bytes_text(bytes_of(entry.request)));
    if (!space.error) status_.Status_Line("Free: " + bytes_text(space.free_bytes));
    if (options_.terminal != nullptr && options_.terminal->attended()) {
        const std::optional<std::string> answer = options_.terminal->ask(
            "The digits are kept in memory. Make room and press Enter to try again, or enter another "
            "folder.\nFolder: ");
        if (answer) {
            options_.calls->sleep(kSecondsAfterAnAnswer);
            return {true, *answer};
        }
    }
    if (attempt > kUnattendedAttempts) return {};
    status_.Status_Line("The digits are kept in memory. Trying again in a minute (" +
                        std::to_string(attempt) + " of " + std::to_string(kUnattendedAttempts) + ").");
    options_.calls->sleep(kSecondsUnattended);
    return {true, ""};
}

// A folder that cannot be used leaves everything as it was; the next attempt asks again.
void OutputFiles::move(Entry& entry, const std::string& folder) {
    try {
        FileIO::PreparedFolder prepared(folder, *options_.calls,
                                        FileIO::ask_again_through(status_, options_.terminal));
        const std::string& prefix = prepared.prefix();
        auto sink = make(prefix, entry.request);
        prepared.keep();
        (void)sink->reserve().failed();
        const std::vector<DigitSink::File> files = entry.sink->files();
        entry.sink->discard();
        if (options_.ledger) {
            for (const DigitSink::File& file : files) options_.ledger->removed(file.draft_path);
        }
        entry.sink = std::move(sink);
        folder_ = prefix;
    } catch (const FileException& error) {
        status_.Warning(error.message + "\n" + shown_path(error.path));
    }
}

}  // namespace kalvor
