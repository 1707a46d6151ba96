#include "digits/viewer/extract_txt.h"

#include "base/console/console.h"
#include "base/prompt/prompt.h"
#include "digits/files/basic_text_writer.h"
#include "digits/viewer/target.h"
#include "digits/viewer/transfer.h"
#include "digits/viewer/view_range.h"

namespace kalvor::DigitViewer2 {

void extract_txt(BasicDigitReader& reader, u64 start, u64 end, const std::string& path,
                 const ViewerRun& run) {
    constexpr std::string_view kEnding = ".txt";
    const u64 count = end - start + 1;
    const std::string base = path.ends_with(kEnding) ? path.substr(0, path.size() - kEnding.size()) : path;
    if (!is_accessible(reader, start - 1, count)) return;
    announce_replacement(kTextFormat, BasicTextWriter::final_path(base), reader.radix(), count, run);
    BasicTextWriter writer(base, reader.first_digits(), reader.radix(), count,
                           BasicTextWriter::kDefaultBufferBytes, warnings_of(run), run.files);
    transfer(reader, start - 1, count, writer, start - 1, run, print_offset);
    writer.close();
    print_written(BasicTextWriter::final_path(base));
}

void extract_txt(BasicDigitReader& reader, const ViewerRunner& runner) {
    Console::print("\n\n", 'w');
    Console::print_line("Write to Text File", 'w');
    const u64 total = effective_total(reader);
    const u64 start = Prompt::read_unsigned_in_range("Starting Digit: ", 1, total, 'T');
    const u64 end = Prompt::read_unsigned_in_range("Ending Digit:   ", start, total, 'T');
    Console::print_line("Enter the path of the destination file:", 'w');
    std::string path;
    while (path.empty()) path = Prompt::read_text("Path: ", 'T');
    runner([&](const ViewerRun& run) { extract_txt(reader, start, end, path, run); });
}

}  // namespace kalvor::DigitViewer2
