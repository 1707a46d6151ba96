#include "digits/files/basic_kvd_file_writer.h"

#include <algorithm>
#include <cstring>

#include "base/errors/exceptions.h"
#include "digits/files/basic_kvd_file_reader.h"
#include "digits/files/digit_kernels.h"
#include "digits/files/digit_packing.h"
#include "digits/files/word_digits.h"

namespace kalvor {

using FileIO::FileCalls;
using FileIO::FileException;
using FileIO::PublishedFile;

namespace {

constexpr const char* kMaking = "BasicKvdFileWriter::BasicKvdFileWriter()";
constexpr const char* kStoring = "BasicKvdFileWriter::store_digits_B()";

// Never a decimal word, so a word that was not written differs from any digits.
constexpr u8 kFresh = 0xFF;

DigitFileShape shape_of(const KvdFileSpec& spec, const std::string& path) {
    const u64 D = spec.digits_per_file;
    const u128 begin = u128(spec.id) * D;
    if (spec.total_digits != 0 && spec.total_digits <= begin) {
        throw InvalidParametersException(kMaking, "File ID is out of range.");
    }
    if (D == 0) throw InvalidParametersException("Region::Region()", "Invalid Range - Failed: s < e");
    const u128 end = spec.total_digits == 0 ? begin + D : std::min<u128>(begin + D, spec.total_digits);
    if (end > ~u64(0)) throw InvalidParametersException(kMaking, "Internal Overflow");
    if (spec.radix != 10 && spec.radix != 16) throw FileException(kMaking, "Unsupported Radix", path);
    if (D < kLeastDigitsPerFile) throw FileException(kMaking, "Invalid Digits per File", path);
    const u64 digits = static_cast<u64>(end - begin);
    const KvdHeader header{kKvdVersion,
                           spec.radix,
                           kvd_first_digits(kMaking, spec.first_digits, spec.radix, path),
                           digits < D ? spec.total_digits : 0,
                           D,
                           spec.id};
    DigitFileShape shape{header.text(), 0, static_cast<u64>(begin), static_cast<u64>(end), kFresh};
    shape.bytes = shape.head.size() + 8 * words_for(digits, spec.radix);
    return shape;
}

// An error in the arguments is reported before the file is made.
std::unique_ptr<PublishedFile> make_file(const std::string& base_path, const KvdFileSpec& spec,
                                         const FileCalls& calls) {
    shape_of(spec, BasicKvdFileWriter::final_path(base_path));
    return std::make_unique<PublishedFile>(BasicKvdFileWriter::incomplete_path(base_path),
                                           BasicKvdFileWriter::final_path(base_path), calls);
}

}  // namespace

BasicKvdFileWriter::BasicKvdFileWriter(const std::string& base_path, const KvdFileSpec& spec,
                                       u64 window_bytes, Warnings* warnings, const FileCalls& calls)
    : radix_(spec.radix),
      per_word_(digits_per_word(spec.radix)),
      window_(make_file(base_path, spec, calls), nullptr, shape_of(spec, final_path(base_path)), window_bytes,
              warnings) {}

BasicKvdFileWriter::BasicKvdFileWriter(PublishedFile& file, const KvdFileSpec& spec, u64 window_bytes,
                                       Warnings* warnings)
    : radix_(spec.radix),
      per_word_(digits_per_word(spec.radix)),
      window_(nullptr, &file, shape_of(spec, file.final_path()), window_bytes, warnings) {}

u64 BasicKvdFileWriter::bytes(const KvdFileSpec& spec) {
    return shape_of(spec, "").bytes;
}

bool BasicKvdFileWriter::is_complete() {
    const auto lock = window_.lock();
    return window_.is_complete();
}

void BasicKvdFileWriter::rest() {
    const auto lock = window_.lock();
    window_.rest();
}

// Digits begin + 1 ... end of the file, all in one word: the others of the word stay as they are.
void BasicKvdFileWriter::merge_word(u64 begin, u64 end, const u8* values) {
    const u64 first = begin / per_word_ * per_word_;
    window_.seek(window_.shape().head.size() + begin / per_word_ * 8);
    u8* const place = window_.known(8);
    Word word;
    std::memcpy(&word, place, 8);
    if (radix_ == 10 && word > kLargestDecimalWord) word = 0;  // fresh
    u8 digits[19];
    (radix_ == 10 ? word_digits().decimal : word_digits().hexadecimal)(digits, &word, 1);
    std::memcpy(digits + (begin - first), values, end - begin);
    // Behind the last digit of the file there are zeros.
    const u64 file_digits = window_.shape().end - window_.shape().begin;
    if (first + per_word_ > file_digits) {
        std::memset(digits + (file_digits - first), 0, first + per_word_ - file_digits);
    }
    u8 packed[8];
    if (!(radix_ == 10 ? digit_packing().decimal : digit_packing().hexadecimal)(packed, digits, 1)) {
        throw InvalidParametersException(kStoring, "Invalid Digit");
    }
    std::memcpy(place, packed, 8);
    window_.advance(8);
}

template <class Pack>
void BasicKvdFileWriter::store_range(u64 start, u64 count, const u8* values, Pack pack) {
    const auto lock = window_.lock();
    if (!window_.takes_digits()) throw InvalidParametersException(kStoring, "File is closed.");
    const DigitRange range = get_range();
    if (start < range.begin || start > range.end || count > range.end - start) {
        throw InvalidParametersException(
            "BasicKvdFileWriter::start_access()",
            "BasicKvdFileWriter::start_access()\nWrite out of bounds.\nRequested Range: " +
                DigitRange{start, count > ~start ? ~u64(0) : start + count}.text() +
                "\nAvailable Range: " + range.text());
    }
    if (count == 0) return;
    // A refused range must not spoil what stands there or behind it in the window: forget() drops both.
    if (window_.overlaps_written(start, range.end) && !are_digits(values, count, radix_)) {
        throw InvalidParametersException(kStoring, "Invalid Digit");
    }
    const u64 begin = start - range.begin, end = begin + count;
    u64 at = begin;
    if (at % per_word_ != 0) {
        const u64 next = std::min(end, (at / per_word_ + 1) * per_word_);
        merge_word(at, next, values);
        at = next;
    }
    const u64 last_word = end / per_word_;
    for (u64 word = at / per_word_; word < last_word;) {
        window_.seek(window_.shape().head.size() + 8 * word);
        const std::span<u8> room = window_.room(8);
        const u64 n = std::min<u64>(room.size() / 8, last_word - word);
        if (!pack(room.data(), word, n)) {
            window_.forget();
            throw InvalidParametersException(kStoring, "Invalid Digit");
        }
        window_.advance(8 * n);
        word += n;
        at = word * per_word_;
    }
    if (at < end) merge_word(at, end, values + (at - begin));
    window_.mark_written(start, start + count);
    if (window_.is_complete()) window_.rest();
}

void BasicKvdFileWriter::store_digits_B(const u8* values, u64 start, u64 count) {
    const auto pack = radix_ == 10 ? digit_packing().decimal : digit_packing().hexadecimal;
    const u64 file_begin = get_range().begin;
    store_range(start, count, values, [&](u8* out, u64 word, u64 n) {
        return pack(out, values + (file_begin + word * per_word_ - start), n);
    });
}

// The words of the number begin where they do in the file, or all in the middle of the file's words.
void BasicKvdFileWriter::store_words(const DigitWords& digits, u64 start, u64 count, AlignedBufferC,
                                     const ParallelContext&) {
    const auto shift = radix_ == 10 ? digit_packing().shift_decimal : digit_packing().shift_hexadecimal;
    const u64 file_begin = get_range().begin;
    const u32 r = static_cast<u32>((file_begin + per_word_ - digits.start % per_word_) % per_word_);
    store_range(start, count, digits.values + (start - digits.start), [&](u8* out, u64 word, u64 n) {
        const Word* const words = digits.words + (file_begin + word * per_word_ - digits.start) / per_word_;
        if (r == 0) {
            std::memcpy(out, words, 8 * n);
        } else {
            shift(out, words, n, r);
        }
        return true;
    });
}

std::unique_ptr<BasicDigitReader> BasicKvdFileWriter::read_back() {
    window_.require_finished("BasicKvdFileWriter::read_back()");
    return std::make_unique<BasicKvdFileReader>(window_.file().shared_file());
}

std::unique_ptr<BasicDigitReader> BasicKvdFileWriter::close_and_get_basic_reader() {
    close();
    return std::make_unique<BasicKvdFileReader>(window_.file().final_path(), window_.file().file().calls());
}

}  // namespace kalvor
