#include "digits/output/float_writer.h"

#include <algorithm>
#include <cstdint>

#include "arith/m61/m61.h"
#include "base/clock/timer.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "digits/files/word_digits.h"
#include "digits/output/read_check.h"

namespace kalvor {

namespace {

constexpr u64 kSector = 4096;
// A radix word of output takes 8 bytes for the word and 19 for its digits.
constexpr u64 kBytesPerWord = 27;
// Output goes through a buffer of this size: two pieces of it stay in the second-level cache.
constexpr u64 kOutputBytes = kBytesPerWord * 16384 + kSector;
constexpr u64 kScratchForOutput = std::max(kOutputBytes, kReadCheckBytes);

u64 words_for_digits(u64 digits, u64 per_word) {
    return (digits + per_word - 1) / per_word;
}

// The two areas of the output buffer.
struct OutputBuffer {
    // Throws BufferTooSmallException. It names the same function for every radix.
    explicit OutputBuffer(AlignedBufferC scratch) {
        const u64 misfit = reinterpret_cast<std::uintptr_t>(scratch.get()) % kSector;
        const u64 lost = misfit == 0 ? 0 : kSector - misfit;
        const u64 W = scratch.size() < lost ? 0 : (scratch.size() - lost) / kBytesPerWord;
        const u64 word_bytes = 8 * W / kSector * kSector;
        const u64 digit_bytes = 19 * W / 64 * 64;
        if (word_bytes < kSector || digit_bytes < 64) {
            throw BufferTooSmallException("FloatWriterS::write_hex_digits()", word_bytes, kSector);
        }
        words = scratch.extract_aligned(lost + word_bytes, kSector).word_pointer();
        values = static_cast<u8*>(scratch.spawn(digit_bytes).get());
        step_words = std::min(word_bytes / 8, digit_bytes / 19);
    }
    Word* words;
    u8* values;
    u64 step_words;
};

}  // namespace

WriterPlan WriterPlan::make(u64 value_words, u64 compute_digits, u64 output_digits, u64 hex_digits,
                            bool verify, u64 tds, u64 budget_bytes) {
    if (compute_digits < output_digits)
        throw InvalidParametersException("FloatWriterB()", "compute < output");
    WriterPlan plan;
    plan.value_words = value_words;
    plan.compute_digits = compute_digits;
    plan.output_digits = output_digits;
    plan.hex_digits = hex_digits;
    plan.verify = verify;
    const u64 n = CBRv2::radix_words(compute_digits);
    const u64 budget = budget_bytes == CBRv2::kNoBudget
                           ? budget_bytes
                           : budget_bytes - std::min(budget_bytes, CBRv2::kWriterReserveBytes);
    plan.conversion = CBRv2::ConvertPlanP::make(CBRv2::kRadix19, n, budget, tds);
    // The radix words, and above them first the conversion, then its check, then output.
    Needs work = plan.conversion.needs().above(CBRv2::kWriterReserveBytes / sizeof(Word));
    if (verify)
        work.take_maximum(
            CBRv2::VerifyB::needs(n, words_for_digits(compute_digits, CBRv2::kDigitsPerWord), tds));
    work.take_maximum({0, kScratchForOutput, 0});
    plan.needs = work.above(n);
    return plan;
}

FloatWriterB::FloatWriterB(const WriterPlan& plan, const MultiplyContext& context, Status& status,
                           const BigFloat& value)
    : plan_(plan), context_(context), status_(status), value_(value) {
    if (plan.compute_digits < plan.output_digits) {
        throw InvalidParametersException("FloatWriterB()", "compute < output");
    }
    radix_words_ = carve_words(context_.scratch, plan.conversion.n);
}

void FloatWriterB::convert(const CBRv2::ConvertOptions& options) {
    const int sign = value_.L == 0 ? 0 : value_.sign ? 1 : -1;
    CBRv2::words_to_dec(status_, sign, value_.mag(), [this] { return value_.dump(); });
    status_.work().enter("conversion");
    StatusSection section(status_, "Base Converting:");
    CBRv2::convert(plan_.conversion, context_, section.node(), radix_words_, value_, options);
}

void FloatWriterB::verify(u64 digits) {
    if (digits > plan_.compute_digits) {
        throw InvalidParametersException("FloatWriterB::verify()", "Too many digits.");
    }
    status_.work().enter("verification");
    StatusSection section(status_, "Verifying Base Conversion:");
    CBRv2::VerifyB::run(context_, section.node(), radix_words_, plan_.conversion.n,
                        words_for_digits(digits, CBRv2::kDigitsPerWord), value_);
}

void FloatWriterB::verify_binary_words() {
    StatusSection section(status_, "Verifying Binary Output:");
    const FloatReaderB reader = hexadecimal_reader();
    const CBRv2::RadixFraction f =
        CBRv2::RadixFraction::of(value_).top(words_for_digits(plan_.hex_digits, 16));
    const u64 before = m61::canonical(m61::hash_words(f.words, f.stored));
    const OutputBuffer buffer(context_.scratch);
    u64 after = 0;
    for (u64 done = 0; done < f.L;) {
        context_.parallel.poll();
        const u64 n = std::min(buffer.step_words, f.L - done);
        reader.load_words(buffer.words, static_cast<i64>(done), n);
        for (u64 i = 0; i < n; i++)
            after = m61::add(m61::mul(after, 8), m61::fold(buffer.words[i]));  // 2^64 = 8
        done += n;
    }
    after = m61::canonical(after);
    section.node().Status_Line("Before Hash = " + std::to_string(before));
    section.node().Status_Line("After  Hash = " + std::to_string(after));
    if (before != after) {
        throw AlgorithmFailedException("FloatWriterB::verify_binary_words()", "Checksum Mismatch");
    }
}

FloatReaderB FloatWriterB::decimal_reader() const {
    return FloatReaderB(value_.word_at(0), radix_words_, plan_.conversion.n, plan_.compute_digits);
}

FloatReaderB FloatWriterB::hexadecimal_reader() const {
    return FloatReaderB(value_, plan_.hex_digits);
}

// One pass: words, their digits, hash and counts, and the digits to the file.
OutputStats FloatWriterB::output(FloatReaderB reader, u64 digits, const char* section_name,
                                 BasicDigitWriter* file) {
    status_.work().enter("writing");
    StatusSection section(status_, section_name);
    const WallTimer timer;
    const u8 radix = reader.radix();
    const u64 per_word = reader.digits_per_word();
    const auto unpack = radix == 10 ? word_digits().decimal : word_digits().hexadecimal;
    const OutputBuffer buffer(context_.scratch);

    OutputStats stats;
    stats.digits = digits;
    stats.counts = DigitCounts(radix);
    u64 hash = 0;
    for (u64 done = 0; done < digits;) {
        context_.parallel.poll();
        const u64 count = std::min(buffer.step_words * per_word, digits - done);
        const u64 n = words_for_digits(count, per_word);
        reader.load_words(buffer.words, static_cast<i64>(done / per_word), n);
        unpack(buffer.values, buffer.words, n);
        const u64 whole = count / per_word;
        hash = extend_word_hash(hash, buffer.words, whole, radix);
        hash = extend_digit_hash(hash, buffer.values + whole * per_word, count - whole * per_word, radix);
        digit_kernels().count(stats.counts.count.data(), buffer.values, count, radix);
        if (file != nullptr) {
            file->store_words({buffer.words, buffer.values, done}, done, count, {}, context_.parallel);
        }
        done += count;
        status_.work().add(static_cast<double>(count));
        StatusFrame frame(section.node(), "Writing...     " + Console::format_commas(done) +
                                              (file != nullptr ? "  digits written" : "  digits analyzed"));
        frame.node().refresh();
    }
    if (file != nullptr) file->finish();
    stats.hash = digit_hash(reader.integer_part(), hash, radix, digits);
    stats.first = reader.first_digits();
    stats.last.set(digits, reader);
    if (radix == 10 && plan_.compute_digits > digits) {
        stats.hidden.push_back(HashedDigits::make(reader, digits, plan_.compute_digits - digits));
    }
    stats.seconds = timer.seconds();
    return stats;
}

OutputStats FloatWriterB::write_dec_digits(BasicDigitWriter& file) {
    return output(decimal_reader(), plan_.output_digits, "Writing Decimal Digits:", &file);
}

OutputStats FloatWriterB::write_hex_digits(BasicDigitWriter& file) {
    return output(hexadecimal_reader(), plan_.hex_digits, "Writing Hexadecimal Digits:", &file);
}

OutputStats FloatWriterB::write_dec_digits(const std::string& base_path, const std::string& format,
                                           u64 digits_per_file) {
    const auto sink = digit_format(format).make_sink(base_path, {10, plan_.output_digits, digits_per_file});
    const auto file = sink->make_writer(first_dec_digits(), warnings());
    OutputStats stats = write_dec_digits(*file);
    file->publish();
    return stats;
}

OutputStats FloatWriterB::write_hex_digits(const std::string& base_path, const std::string& format,
                                           u64 digits_per_file) {
    const auto sink = digit_format(format).make_sink(base_path, {16, plan_.hex_digits, digits_per_file});
    const auto file = sink->make_writer(first_hex_digits(), warnings());
    OutputStats stats = write_hex_digits(*file);
    file->publish();
    return stats;
}

OutputStats FloatWriterB::stat_dec_digits() {
    return output(decimal_reader(), plan_.output_digits, "Processing Decimal Digits:", nullptr);
}

OutputStats FloatWriterB::stat_hex_digits() {
    return output(hexadecimal_reader(), plan_.hex_digits, "Processing Hexadecimal Digits:", nullptr);
}

void FloatWriterB::read_check(const std::string& file, const OutputStats& stats, u8 radix,
                              const std::string& format) {
    kalvor::read_check(status_, digit_format(format), file, stats, radix, context_.scratch,
                       context_.parallel);
}

void FloatWriterB::read_check(BasicDigitReader& file, const OutputStats& stats) {
    kalvor::read_check(status_, file, stats, context_.scratch, context_.parallel);
}

}  // namespace kalvor
