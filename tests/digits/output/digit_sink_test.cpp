// A second format of digit files, chosen by its name: nothing above the factory knows it.
#include "digits/files/digit_sink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "digits/output/output_files.h"
#include "digits/output/pi_writing.h"
#include "fault/faulty_file.h"
#include "platform/memory/guarded_heap.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using kalvor_test::TemporaryFolder;
using trel::GuardedBuffer;
using trel::u8;
using trel::FileIO::kSectorBytes;
using trel::FileIO::PublishedFile;
using trel::FileIO::RawFile;

// The integer part, ".", and each digit as a byte of its value.
class BytesReader final : public BasicDigitReader {
  public:
    BytesReader(RawFile& file, u8 radix) : BasicDigitReader(radix), content_(file.size(), '\0') {
        const GuardedBuffer bytes((content_.size() / kSectorBytes + 1) * kSectorBytes, kSectorBytes);
        (void)file.load_available(bytes.get(), 0, bytes.size());
        std::memcpy(content_.data(), bytes.get(), content_.size());
        digits_ = content_.find('.') + 1;
    }
    std::string first_digits() const override { return content_.substr(0, digits_); }
    u64 total_digits() const override { return content_.size() - digits_; }
    u64 buffer_size(u64, u64) const override { return 64; }
    void load_digits(u8* values, u64 start, u64 count, trel::AlignedBufferC,
                     const trel::ParallelContext&) override {
        std::memcpy(values, content_.data() + digits_ + start, count);
    }
    void load_stats(DigitRangeStats& stats, u64 start, u64 count, trel::AlignedBufferC,
                    const trel::ParallelContext&) override {
        const u8* const values = reinterpret_cast<const u8*>(content_.data()) + digits_ + start;
        digit_kernels().count(stats.counts.count.data(), values, count, radix());
        stats.hash = extend_digit_hash(stats.hash, values, count, radix());
    }

  private:
    std::string content_;
    u64 digits_;
};

class BytesWriter final : public BasicDigitWriter {
  public:
    BytesWriter(PublishedFile& file, std::string_view first_digits, u8 radix, u64 digits)
        : file_(file), radix_(radix), content_(first_digits.substr(0, first_digits.find('.') + 1)) {
        before_ = content_.size();
        content_.resize(before_ + digits, '\xff');
    }
    void store_digits(const u8* values, u64 start, u64 count, trel::AlignedBufferC,
                      const trel::ParallelContext&) override {
        std::memcpy(content_.data() + before_ + start, values, count);
    }
    void finish() override {
        const GuardedBuffer bytes((content_.size() / kSectorBytes + 1) * kSectorBytes, kSectorBytes);
        std::memcpy(bytes.get(), content_.data(), content_.size());
        file_.file().store(bytes.get(), 0, bytes.size());
        file_.complete(content_.size());
    }
    std::unique_ptr<BasicDigitReader> read_back() override {
        return std::make_unique<BytesReader>(file_.file(), radix_);
    }
    void publish() override { file_.publish(); }
    void abandon() override {}
    std::unique_ptr<BasicDigitReader> close_and_get_basic_reader() override {
        finish();
        publish();
        RawFile file(file_.final_path(), trel::FileIO::OpenMode::read, true);
        return std::make_unique<BytesReader>(file, radix_);
    }

  private:
    PublishedFile& file_;
    const u8 radix_;
    std::string content_;
    u64 before_;
};

class BytesFormat final : public FileFormat {
  public:
    BytesFormat() : FileFormat(".bytes") {}
    u64 most_bytes(u8, u64 digits) const override { return digits + 2 * kSectorBytes; }
    std::unique_ptr<BasicDigitWriter> make_writer(PublishedFile& file, std::string_view first_digits,
                                                  u8 radix, u64 digits, trel::Warnings*) const override {
        return std::make_unique<BytesWriter>(file, first_digits, radix, digits);
    }
    std::unique_ptr<BasicDigitReader> make_reader(const std::string& path, u8 radix) const override {
        RawFile file(path, trel::FileIO::OpenMode::read, true);
        return std::make_unique<BytesReader>(file, radix);
    }
};

const char* bytes_format() {
    static const BytesFormat format;
    static const bool registered = [] {
        register_digit_format("bytes", format);
        return true;
    }();
    (void)registered;
    return "bytes";
}

// What the files of pi hold in both formats.
std::string pi_bytes(int base, u64 n) {
    std::string content = "3.";
    for (const char c : pi_digits(base, n)) content += static_cast<char>(c <= '9' ? c - '0' : c - 'a' + 10);
    return content;
}

constexpr u64 kDigits = 20000;

TEST(DigitSinkTest, SettingsChooseTheFormatOfEachFile) {
    const TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    Writing run(kDigits, kDigits, kDigits / 2);
    run.writer.convert();
    folder.write("Dec.bytes", pi_bytes(10, 1234));
    OutputFiles output(folder.file(""),
                       {{10, "Dec", kDigits, bytes_format()}, {16, "Hex", kDigits / 2, kTextFormat}}, {},
                       status);
    EXPECT_EQ(console.take(), "Replacing " + folder.file("Dec.bytes") + " (1,234 digits).\n");
    EXPECT_TRUE(folder.has("Dec (incomplete).bytes"));
    EXPECT_EQ(output.write(run.writer, 10, true).digits, kDigits);
    (void)output.write(run.writer, 16, true);
    EXPECT_EQ(folder.read("Dec.bytes"), pi_bytes(10, kDigits));
    EXPECT_EQ(folder.read("Hex.txt"), "3." + pi_digits(16, kDigits / 2));
    ASSERT_EQ(output.written().size(), 2U);
    EXPECT_EQ(output.written()[0].path, folder.file("Dec.bytes"));
    EXPECT_EQ(output.written()[0].bytes, kDigits + 2);
}

TEST(DigitSinkTest, TheReadBackIsOfTheFormat) {
    const TemporaryFolder folder;
    Writing run(kDigits, kDigits, kDigits / 2);
    run.writer.convert();
    const OutputStats stats = run.writer.write_dec_digits(folder.file("Dec"), bytes_format());
    run.writer.read_check(folder.file("Dec.bytes"), stats, 10, bytes_format());
    std::string damaged = folder.read("Dec.bytes");
    damaged[5000] = static_cast<char>((damaged[5000] + 1) % 10);
    folder.write("Dec.bytes", damaged);
    EXPECT_THROW(run.writer.read_check(folder.file("Dec.bytes"), stats, 10, bytes_format()),
                 trel::AlgorithmFailedException);
    const OutputStats hex = run.writer.write_hex_digits(folder.file("Hex"), bytes_format());
    run.writer.read_check(folder.file("Hex.bytes"), hex, 16, bytes_format());
    // A damaged write never gets the name.
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    OutputFiles output(folder.file(""), {{10, "New", kDigits, bytes_format()}}, {}, status);
    FaultyFile disk;
    disk.flip_bit_of_write(1, 8 * 5000);
    EXPECT_THROW((void)output.write(run.writer, 10, true), trel::AlgorithmFailedException);
    EXPECT_FALSE(folder.has("New.bytes"));
}

TEST(DigitSinkTest, WritersCloseIntoAReader) {
    const TemporaryFolder folder;
    const std::string digits = pi_digits(10, 5000);
    std::vector<u8> values(digits.begin(), digits.end());
    for (u8& v : values) v = static_cast<u8>(v - '0');
    for (const char* name : {bytes_format(), kTextFormat}) {
        const DigitFormat& format = digit_format(name);
        const auto sink = format.make_sink(folder.file("x"), 10, values.size());
        const auto writer = sink->make_writer("3.1415", nullptr);
        writer->store_digits(values.data(), 0, values.size(), {}, trel::serial_context());
        const auto reader = writer->close_and_get_basic_reader();
        EXPECT_EQ(reader->total_digits(), values.size());
        EXPECT_EQ(reader->first_digits().substr(0, 2), "3.");
        const u64 bytes = trel::round_up_64(reader->buffer_size(values.size(), 1 << 20));
        const GuardedBuffer scratch(bytes, kSectorBytes);
        std::vector<u8> got(values.size());
        reader->load_digits(got.data(), 0, got.size(), trel::AlignedBufferC(scratch.get(), bytes),
                            trel::serial_context());
        EXPECT_EQ(got, values) << name;
        EXPECT_TRUE(folder.has(std::string("x") + (name == kTextFormat ? ".txt" : ".bytes")));
    }
}

TEST(DigitSinkTest, UnknownFormatsAreRefused) {
    try {
        (void)digit_format("papyrus");
        FAIL();
    } catch (const trel::InvalidParametersException& e) {
        EXPECT_EQ(e.message, "Unknown digit format: papyrus");
    }
}

}  // namespace
}  // namespace kalvor
