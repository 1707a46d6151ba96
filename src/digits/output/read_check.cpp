#include "digits/output/read_check.h"

#include <memory>
#include <string_view>

#include "arith/m61/m61.h"
#include "base/console/format.h"
#include "base/console/wrapped_line.h"
#include "base/errors/exceptions.h"
#include "base/status/changing_frame.h"
#include "base/status/status_scope.h"
#include "digits/files/digit_kernels.h"
#include "platform/fileio/raw_file.h"

namespace kalvor {

namespace {

constexpr u64 kPointBytes = 63;
constexpr u64 kStepDigits = u64(1) << 24;

void check_radix(u8 radix) {
    if (radix != 10 && radix != 16) throw InvalidParametersException("read_check()", "Invalid radix.");
}

// The residue of the integer part, which ends at the point within the first 63 bytes.
u64 integer_residue(std::string_view head, u8 radix) {
    const std::size_t point = head.substr(0, kPointBytes).find('.');
    if (point == std::string_view::npos) {
        throw InvalidParametersException("read_check()", kNoPoint);
    }
    check_radix(radix);
    u8 values[kPointBytes];
    if (!digit_kernels().to_values(values, head.data(), point, radix)) {
        throw InvalidParametersException("read_check()", radix == 10
                                                             ? "Invalid decimal digit in first digits."
                                                             : "Invalid hexadecimal digit in first digits.");
    }
    u64 residue = 0;
    for (std::size_t i = 0; i < point; i++) residue = m61::add(m61::mul(residue, radix), values[i]);
    return m61::canonical(residue);
}

}  // namespace

void read_check(Status& status, const DigitFormat& format, const std::string& file, const OutputStats& stats,
                u8 radix, const AlignedBufferC& scratch, const ParallelContext& parallel) {
    check_radix(radix);
    std::unique_ptr<BasicDigitReader> reader;
    try {
        reader = format.make_reader(file, radix);
    } catch (const FileIO::FileException& e) {
        // Not a failure of the file system: the check says it as its own.
        if (e.message == kNoPoint) throw InvalidParametersException("read_check()", kNoPoint);
        throw;
    }
    read_check(status, *reader, stats, scratch, parallel);
}

void read_check(Status& status, BasicDigitReader& reader, const OutputStats& stats,
                const AlignedBufferC& scratch, const ParallelContext& parallel) {
    status.work().enter("reading back");
    const u8 radix = reader.radix();
    const std::string first = reader.first_digits();
    const u64 integer = integer_residue(first, radix);
    const std::size_t both = std::min(first.size(), stats.first.size());
    // A set of full files does not know its end.
    const bool unknown = reader.total_digits() == 0 && reader.is_in_range(0, stats.digits);
    const u64 total = unknown ? stats.digits : reader.total_digits();
    DigitRangeStats found(radix);
    {
        StatusSection section(status,
                              radix == 10 ? "Verifying Decimal Output:" : "Verifying Hexadecimal Output:");
        trel::ChangingFrame line(section.node());
        for (u64 done = 0; done < total;) {
            parallel.poll();
            const u64 n = std::min(kStepDigits, total - done);
            reader.load_stats(found, done, n, scratch, serial_context());
            done += n;
            status.work().add(static_cast<double>(n));
            line.show([&] { return "Verifying...    " + Console::format_commas(done) + "  digits hashed"; });
        }
    }
    const u64 hash = digit_hash(integer, found.hash, radix, total);
    status.Status_Line("Pre-Write Hash = " + std::to_string(stats.hash));
    status.Status_Line("Read-Back Hash = " + std::to_string(hash));
    const auto report_counts = [&](const char* label, const DigitCounts& counts) {
        for (const std::string& line : Console::wrapped_text(label, counts_text(counts)))
            status.Status_Line(line);
    };
    report_counts("Pre-Write Counts = ", stats.counts);
    report_counts("Read-Back Counts = ", found.counts);
    if (hash != stats.hash || found.counts != stats.counts ||
        first.compare(0, both, stats.first, 0, both) != 0) {
        throw AlgorithmFailedException("", "Digit output failed. Metadata cross-check doesn't match.");
    }
}

}  // namespace kalvor
