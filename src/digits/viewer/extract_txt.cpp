#include "digits/viewer/extract_txt.h"

#include <algorithm>

#include "base/console/console.h"
#include "base/prompt/prompt.h"
#include "digits/files/digit_sink.h"
#include "digits/viewer/target.h"
#include "digits/viewer/transfer.h"
#include "digits/viewer/view_range.h"

namespace kalvor::DigitViewer2 {

void extract_txt(BasicDigitReader& reader, u64 start, u64 end, const std::string& path,
                 const ViewerRun& run) {
    constexpr std::string_view kEnding = ".txt";
    const u64 count = end - start + 1;
    const std::string base = path.ends_with(kEnding) ? path.substr(0, path.size() - kEnding.size()) : path;
    if (!is_accessible(reader, start - 1, count, run)) return;
    const DigitFormat& format = digit_format(kTextFormat);
    const DigitAmount amount = {reader.radix(), count};
    const std::string target = format.final_path(base);
    require_other_files(reader, target);
    // The draft first: once it is held, a file under the final name cannot be another run's work in progress.
    const auto sink = format.make_sink(base, amount, run.files);
    announce_replacement(kTextFormat, target, reader.radix(), count, run);
    // A header may promise so many digits that their bytes cannot be counted.
    require_space(target, std::max(format.most_bytes(amount), count), run);
    require_reserved(sink->reserve(), sink->draft_path());
    sink->ask_again(FileIO::ask_again_through(run.status, run.terminal));
    sink->on_begun([&](const DigitSink::File& file) { note_begun(run, file.draft_path); });
    const auto writer = sink->make_writer(reader.first_digits(), warnings_of(run));
    const ActionProgress progress(ActionProgress::moving, count, run);
    const DigitRangeStats stats = transfer(reader, start - 1, count, *writer, start - 1, run,
                                           [&](u64 position) { print_offset(run, position); });
    writer->finish();
    check_written(*writer->read_back(), 0, count, stats, run);
    writer->publish();
    note_named(run, sink->draft_path(), target);
    print_written(run, target);
}

void extract_txt(BasicDigitReader& reader, const ViewerRunner& runner) {
    Console::print("\n\n", 'w');
    Console::print_line("Write to Text File", 'w');
    if (!has_positions(reader)) return;
    const u64 total = effective_total(reader);
    const u64 start = Prompt::read_unsigned_in_range("Starting Digit: ", 1, total, 'T');
    const u64 end = Prompt::read_unsigned_in_range("Ending Digit:   ", start, total, 'T');
    Console::print_line("Enter the path of the destination file:", 'w');
    std::string path;
    while (path.empty()) path = Prompt::read_text("Path", 'T');
    runner([&](const ViewerRun& run) { extract_txt(reader, start, end, path, run); });
}

}  // namespace kalvor::DigitViewer2
