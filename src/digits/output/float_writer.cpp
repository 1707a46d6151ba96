#include "digits/output/float_writer.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

#include "arith/m61/m61.h"
#include "arith/multiply/product_check.h"
#include "base/clock/timer.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/changing_frame.h"
#include "base/status/status_scope.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "digits/files/word_digits.h"
#include "digits/output/read_check.h"
#include "digits/output/value_hash.h"

namespace kalvor {

namespace {

constexpr u64 kSector = 4096;
// A radix word of output takes 8 bytes for the word and 19 for its digits.
constexpr u64 kBytesPerWord = 27;
// Output goes through a buffer of this size: two pieces of it stay in the second-level cache.
constexpr u64 kOutputBytes = kBytesPerWord * 16384 + kSector;
constexpr u64 kScratchForOutput = std::max(kOutputBytes, kReadCheckBytes);

constexpr const char* kValue = "value";  // its name where it is damaged

u64 words_for_digits(u64 digits, u64 per_word) {
    return (digits + per_word - 1) / per_word;
}

// The hash with the first `digits` digits of a word.
u64 extend_cut_word(u64 hash, Word word, u64 digits, u8 radix) {
    const u64 per_word = radix == 10 ? CBRv2::kDigitsPerWord : 16;
    for (u64 i = digits; i < per_word; i++) word /= radix;
    return m61::canonical(m61::add(m61::mul(hash, m61::pow(radix, digits)), m61::fold(word)));
}

// The two areas of the output buffer.
struct OutputBuffer {
    // Throws BufferTooSmallException. It names the same function for every radix.
    explicit OutputBuffer(AlignedBufferC whole) {
        AlignedBufferC scratch = whole.spawn(std::min(whole.size() / 64 * 64, kOutputBytes));
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
    work.take_maximum(CBRv2::VerifyB::needs(n, words_for_digits(compute_digits, CBRv2::kDigitsPerWord), tds));
    work.take_maximum({0, kScratchForOutput, 0});
    plan.needs = work.above(n);
    return plan;
}

u64 WriterPlan::window_bytes(u64 bytes) const {
    return room_above(room_above(bytes, conversion.n), kScratchForOutput / sizeof(Word));
}

FloatWriterB::FloatWriterB(const WriterPlan& plan, const MultiplyContext& context, Status& status,
                           const BigFloat& value)
    : plan_(plan), context_(context), status_(status), value_(value) {
    if (plan.compute_digits < plan.output_digits) {
        throw InvalidParametersException("FloatWriterB()", "compute < output");
    }
    radix_words_ = carve_words(context_.scratch, plan.conversion.n);
}

AlignedBufferC FloatWriterB::window_memory(u8 radix) const {
    AlignedBufferC memory = context_.scratch;
    // Hexadecimal digits are verified and restored without scratch.
    if ((radix == 10 && !expected_dec_) || memory.size() < kScratchForOutput) return {};
    memory.spawn(kScratchForOutput);
    return memory;
}

void FloatWriterB::convert(const CBRv2::ConvertOptions& options) {
    options_ = options;
    const int sign = value_.L == 0 ? 0 : value_.sign ? 1 : -1;
    CBRv2::words_to_dec(status_, sign, value_.mag(), [this] { return value_.dump(); });
    try {
        convert_once();
    } catch (const AlgorithmFailedException&) {
        begin_repeat();
        convert_once();
        conversion_was_corrected();
    }
}

void FloatWriterB::convert_once() {
    value_.verify(context_.parallel, kValue);
    {
        status_.work().enter("conversion");
        StatusSection section(status_, "Base Converting:");
        // verify() holds the conversion against the value from end to end.
        MultiplyContext context = context_;
        context.parallel.inner_unchecked = true;
        CBRv2::convert(plan_.conversion, context, section.node(), radix_words_, value_, options_);
    }
    value_.verify(context_.parallel, kValue);
}

void FloatWriterB::begin_repeat() {
    if (repeated_ || !trel::may_correct(context_.parallel)) throw;
    repeated_ = true;
}

void FloatWriterB::conversion_was_corrected() {
    trel::operation_was_corrected(context_.parallel, "FloatWriterB::convert()",
                                  "conversion, " + std::to_string(plan_.conversion.n) + " words");
}

void FloatWriterB::verify(u64 digits) {
    if (digits > plan_.compute_digits) {
        throw InvalidParametersException("FloatWriterB::verify()", "Too many digits.");
    }
    context_.parallel.stage("radix words", radix_words_, plan_.conversion.n * sizeof(Word));
    try {
        verify_once(digits);
    } catch (const AlgorithmFailedException&) {
        begin_repeat();
        convert_once();
        verify_once(digits);
        conversion_was_corrected();
    }
}

void FloatWriterB::verify_once(u64 digits) {
    const u64 n_verify = words_for_digits(digits, CBRv2::kDigitsPerWord);
    {
        status_.work().enter("verification");
        StatusSection section(status_, "Verifying Base Conversion:");
        set_expected(CBRv2::VerifyB::run(context_, section.node(), radix_words_, plan_.conversion.n, n_verify,
                                         value_, plan_.output_digits),
                     n_verify);
    }
    // What was compared with the digits was the value.
    value_.verify(context_.parallel, kValue);
    context_.parallel.stage("verified words", radix_words_, plan_.conversion.n * sizeof(Word));
}

void FloatWriterB::set_expected(const CBRv2::VerifyB::Hashes& hashes, u64 n_words) {
    verified_words_ = n_words;
    words_hash_ = hashes.words;
    expected_dec_ = digit_hash(value_.word_at(0), hashes.digits, 10, plan_.output_digits);
}

void FloatWriterB::expect_binary_words() {
    const ValueHashes hashes =
        hash_checked_value(context_.parallel, value_, plan_.hex_digits, "FloatWriterB::write_hex_digits()");
    expected_hex_ = digit_hash(value_.word_at(0), hashes.digits, 16, plan_.hex_digits);
}

bool FloatWriterB::radix_words_changed() const {
    return CBRv2::VerifyB::hash_radix(radix_words_, plan_.conversion.n, verified_words_).words != words_hash_;
}

void FloatWriterB::restore(u8 radix) {
    begin_repeat();
    value_.verify(context_.parallel, kValue);
    if (radix == 16) {
        expect_binary_words();
    } else {
        const CBRv2::VerifyB::Hashes hashes = CBRv2::VerifyB::hash_radix(
            radix_words_, plan_.conversion.n, verified_words_, plan_.output_digits);
        if (hashes.words == words_hash_) {
            // The digits were damaged, or what was kept of them.
            set_expected(hashes, verified_words_);
        } else {
            convert_once();
            verify_once(plan_.compute_digits);
        }
    }
    restored_ = true;
}

// What was restored has come out right.
void FloatWriterB::restoring_was_right() {
    if (!restored_) return;
    restored_ = false;
    trel::operation_was_corrected(context_.parallel, "FloatWriterB::restore()",
                                  "digits in memory, " + std::to_string(plan_.conversion.n) + " words");
}

void FloatWriterB::verify_binary_words() {
    StatusSection section(status_, "Verifying Binary Output:");
    const ValueHashes hashes = hash_checked_value(context_.parallel, value_, plan_.hex_digits,
                                                  "FloatWriterB::verify_binary_words()");
    expected_hex_ = digit_hash(value_.word_at(0), hashes.digits, 16, plan_.hex_digits);
    const u64 before = hashes.words;
    const FloatReaderB reader = hexadecimal_reader();
    const CBRv2::RadixFraction f =
        CBRv2::RadixFraction::of(value_).top(words_for_digits(plan_.hex_digits, 16));
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

// One pass: words, their digits, the digits to the file, counts and hash. The hash comes last: a digit that
// changes in memory is in what was written or counted and in the hash, or in neither.
OutputStats FloatWriterB::output(FloatReaderB reader, u64 digits, const char* section_name,
                                 BasicDigitWriter* file) {
    // No digits leave unverified, whichever function writes them.
    if (reader.radix() == 10 && !expected_dec_) verify(plan_.compute_digits);
    if (reader.radix() == 16 && !expected_hex_) expect_binary_words();
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
    // A file that is not read back may hold the words.
    const bool words_too = file != nullptr && !plan_.verify;
    u64 hash = 0, hash_of_words = 0;
    trel::ChangingFrame line(section.node());
    for (u64 done = 0; done < digits;) {
        context_.parallel.poll();
        const u64 count = std::min(buffer.step_words * per_word, digits - done);
        const u64 n = words_for_digits(count, per_word);
        reader.load_words(buffer.words, static_cast<i64>(done / per_word), n);
        unpack(buffer.values, buffer.words, n);
        context_.parallel.stage("digits", buffer.values, count);
        context_.parallel.stage("words", buffer.words, n * sizeof(Word));
        if (file != nullptr) {
            file->store_words({buffer.words, buffer.values, done}, done, count, {}, context_.parallel);
        }
        digit_kernels().count(stats.counts.count.data(), buffer.values, count, radix);
        hash = extend_digit_hash(hash, buffer.values, count, radix);
        if (words_too) {
            const u64 whole = count / per_word;
            hash_of_words = extend_word_hash(hash_of_words, buffer.words, whole, radix);
            if (whole < n)
                hash_of_words = extend_cut_word(hash_of_words, buffer.words[whole], count % per_word, radix);
        }
        done += count;
        status_.work().add(static_cast<double>(count));
        line.show([&] {
            return "Writing...     " + Console::format_commas(done) +
                   (file != nullptr ? "  digits written" : "  digits analyzed");
        });
    }
    context_.parallel.stage("counts", stats.counts.count.data(), radix * sizeof(u64));
    if (file != nullptr) file->finish();
    stats.hash = digit_hash(reader.integer_part(), hash, radix, digits);
    stats.first = reader.first_digits();
    stats.last.set(digits, reader);
    if (radix == 10 && plan_.compute_digits > digits) {
        stats.hidden.push_back(HashedDigits::make(reader, digits, plan_.compute_digits - digits));
    }
    stats.seconds = timer.seconds();
    const u64 counted = std::accumulate(stats.counts.count.begin(), stats.counts.count.end(), u64(0));
    if (stats.hash != expected(radix) || (words_too && hash_of_words != hash) || counted != digits ||
        (radix == 10 && radix_words_changed())) {
        throw AlgorithmFailedException(
            radix == 10 ? "FloatWriterB::write_dec_digits()" : "FloatWriterB::write_hex_digits()",
            "Digits changed in memory after their verification.");
    }
    if (radix == 16) value_.verify(context_.parallel, kValue);
    restoring_was_right();
    return stats;
}

OutputStats FloatWriterB::write_dec_digits(BasicDigitWriter& file) {
    return output(decimal_reader(), plan_.output_digits, "Writing Decimal Digits:", &file);
}

OutputStats FloatWriterB::write_hex_digits(BasicDigitWriter& file) {
    return output(hexadecimal_reader(), plan_.hex_digits, "Writing Hexadecimal Digits:", &file);
}

OutputStats FloatWriterB::stat_dec_digits() {
    const auto analyze = [this] {
        return output(decimal_reader(), plan_.output_digits, "Processing Decimal Digits:", nullptr);
    };
    try {
        return analyze();
    } catch (const AlgorithmFailedException&) {
        restore(10);
    }
    return analyze();
}

OutputStats FloatWriterB::stat_hex_digits() {
    const auto analyze = [this] {
        return output(hexadecimal_reader(), plan_.hex_digits, "Processing Hexadecimal Digits:", nullptr);
    };
    try {
        return analyze();
    } catch (const AlgorithmFailedException&) {
        restore(16);
    }
    return analyze();
}

OutputStats FloatWriterB::expected(const OutputStats& stats) const {
    OutputStats verified = stats;
    verified.hash = expected(stats.counts.radix);
    return verified;
}

void FloatWriterB::read_check(const std::string& file, const OutputStats& stats, u8 radix,
                              const std::string& format) {
    kalvor::read_check(status_, digit_format(format), file, expected(stats), radix, context_.scratch,
                       context_.parallel);
}

void FloatWriterB::read_check(BasicDigitReader& file, const OutputStats& stats) {
    kalvor::read_check(status_, file, expected(stats), context_.scratch, context_.parallel);
}

}  // namespace kalvor
