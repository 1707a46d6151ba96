// A second format of digit files, chosen by its name: nothing above the factory knows it.
#include "digits/files/digit_sink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "digits/files/basic_kvd_set_writer.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "digits/output/output_files.h"
#include "digits/output/pi_writing.h"
#include "digits/output/read_check.h"
#include "fault/faulty_file.h"
#include "platform/memory/guarded_heap.h"
#include "reference/mpz_u64.h"
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
    u64 most_bytes(const DigitAmount& amount) const override { return amount.digits + 2 * kSectorBytes; }
    u64 exact_bytes(const DigitAmount& amount, u64) const override { return amount.digits; }
    std::unique_ptr<BasicDigitWriter> make_writer(PublishedFile& file, std::string_view first_digits,
                                                  u8 radix, u64 digits, trel::Warnings*,
                                                  trel::AlignedBufferC) const override {
        return std::make_unique<BytesWriter>(file, first_digits, radix, digits);
    }
    std::unique_ptr<BasicDigitReader> make_reader(const std::string& path, u8 radix,
                                                  const trel::FileIO::FileCalls& calls) const override {
        RawFile file(path, trel::FileIO::OpenMode::read, true, false, calls);
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
    const OutputStats stats = write_file(run.writer, {10, kDigits}, folder.file("Dec"), bytes_format());
    run.writer.read_check(folder.file("Dec.bytes"), stats, 10, bytes_format());
    std::string damaged = folder.read("Dec.bytes");
    damaged[5000] = static_cast<char>((damaged[5000] + 1) % 10);
    folder.write("Dec.bytes", damaged);
    EXPECT_THROW(run.writer.read_check(folder.file("Dec.bytes"), stats, 10, bytes_format()),
                 trel::AlgorithmFailedException);
    const OutputStats hex = write_file(run.writer, {16, kDigits / 2}, folder.file("Hex"), bytes_format());
    run.writer.read_check(folder.file("Hex.bytes"), hex, 16, bytes_format());
    // A damaged write never gets the name.
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    FaultyFile disk;
    OutputFiles output(folder.file(""), {{10, "New", kDigits, bytes_format()}}, {.calls = &disk.file_calls()},
                       status);
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
        const auto sink = format.make_sink(folder.file("x"), {10, values.size()});
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

// ---- compressed sets through the factory

constexpr u64 kPerFile = 7000;

std::vector<u8> values_of(const std::string& digits) {
    std::vector<u8> values;
    for (const char c : digits) values.push_back(static_cast<u8>(c <= '9' ? c - '0' : c - 'a' + 10));
    return values;
}

std::string set_content(const kalvor_test::TemporaryFolder& folder, const std::string& base, u64 files) {
    std::string content;
    for (u64 id = 0; id < files; id++) content += folder.read(base + " - " + std::to_string(id) + ".kvd");
    return content;
}

// What another road makes of the same digits.
std::string set_of(const std::string& digits, u8 radix, u64 per_file, u64 files) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> values = values_of(digits);
    BasicKvdSetWriter writer(folder.file("x"), "3." + digits.substr(0, 50), radix, per_file, values.size());
    writer.store_digits(values.data(), 0, values.size(), {}, trel::serial_context());
    writer.close();
    return set_content(folder, "x", files);
}

TEST(DigitSinkTest, SetsAreWrittenReadBackAndNamed) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    Writing run(kDigits, kDigits, kDigits / 2);
    run.writer.convert();
    FileLedger ledger;
    OutputFiles output(folder.file(""),
                       {{16, "Hex", kDigits / 2, kKvdFormat, 0}, {10, "Dec", kDigits, kKvdFormat, kPerFile}},
                       {.ledger = &ledger}, status);
    for (const char* name : {"Dec - 0", "Dec - 1", "Dec - 2", "Hex - 0"}) {
        EXPECT_TRUE(folder.has(std::string(name) + " (incomplete).kvd")) << "held before the computation";
    }
    EXPECT_EQ(ledger.empty().size(), 4U);
    const OutputStats hex = output.write(run.writer, 16, true);
    const OutputStats dec = output.write(run.writer, 10, true);
    EXPECT_EQ(ledger.kept().size(), 4U);
    EXPECT_TRUE(ledger.empty().empty());
    EXPECT_TRUE(set_content(folder, "Dec", 3) == set_of(pi_digits(10, kDigits), 10, kPerFile, 3));
    EXPECT_TRUE(set_content(folder, "Hex", 1) == set_of(pi_digits(16, kDigits / 2), 16, 0, 1));
    ASSERT_EQ(output.written().size(), 2U);
    EXPECT_EQ(output.written()[0].path, folder.file("Hex - 0.kvd"));
    EXPECT_EQ(output.written()[1].path, folder.file("Dec - 0.kvd"));
    EXPECT_EQ(output.written()[1].bytes, set_content(folder, "Dec", 3).size());
    EXPECT_EQ(output.written()[0].bytes, set_content(folder, "Hex", 1).size());
    // The same statistics as of text.
    const OutputStats as_text = write_file(run.writer, {10, kDigits}, folder.file("Text"));
    EXPECT_EQ(as_text.hash, dec.hash);
    EXPECT_TRUE(as_text.counts == dec.counts);
    EXPECT_EQ(write_file(run.writer, {16, kDigits / 2}, folder.file("Text hex")).hash, hex.hash);
}

TEST(DigitSinkTest, SettingsSayTheFormatByANumber) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    const std::pair<u64, std::vector<std::string>> cases[] = {{0, {"x.txt"}},
                                                              {~u64(0), {"x - 0.kvd"}},
                                                              {10000, {"x - 0.kvd", "x - 1.kvd"}},
                                                              {kDigits, {"x - 0.kvd"}}};
    for (const auto& [setting, names] : cases) {
        OutputFiles::Request request{10, "x", kDigits};
        request.set_digits_per_file(setting);
        {
            OutputFiles output(folder.file(""), {request}, {}, status);
            (void)output.write(run.writer, 10, true);
        }
        u64 files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder.file("")))
            files += entry.exists();
        EXPECT_EQ(files, names.size());
        for (const std::string& name : names) {
            EXPECT_TRUE(folder.has(name)) << name;
            // Full files do not say a total.
            if (setting != 0) {
                EXPECT_NE(folder.read(name).find("TotalDigits:\t0\r\n"), std::string::npos) << name;
            }
            std::filesystem::remove(folder.file(name));
        }
    }
}

TEST(DigitSinkTest, SetsAreCheckedByName) {
    const kalvor_test::TemporaryFolder folder;
    Writing run(kDigits, kDigits, kDigits / 2);
    run.writer.convert();
    const OutputStats stats = write_file(run.writer, {10, kDigits, kPerFile}, folder.file("Dec"), kKvdFormat);
    // From any file: the last one knows the total, the first does not.
    for (const char* name : {"Dec - 2.kvd", "Dec - 0.kvd"}) {
        run.writer.read_check(folder.file(name), stats, 10, kKvdFormat);
    }
    const std::string good = folder.read("Dec - 1.kvd");
    std::string damaged = good;
    damaged[good.size() / 2] = static_cast<char>(damaged[good.size() / 2] ^ 1);
    folder.write("Dec - 1.kvd", damaged);
    EXPECT_THROW(run.writer.read_check(folder.file("Dec - 2.kvd"), stats, 10, kKvdFormat),
                 trel::AlgorithmFailedException);
    folder.write("Dec - 1.kvd", good.substr(0, good.size() - 100));
    EXPECT_THROW(run.writer.read_check(folder.file("Dec - 2.kvd"), stats, 10, kKvdFormat),
                 trel::FileIO::FileException);
    std::string header = good;
    header.replace(header.find("3.14"), 4, "3,14");
    folder.write("Dec - 1.kvd", header);
    EXPECT_THROW(run.writer.read_check(folder.file("Dec - 1.kvd"), stats, 10, kKvdFormat),
                 trel::DigitViewer2::InconsistentMetaData);
    EXPECT_THROW(run.writer.read_check(folder.file("Dec - 0.kvd"), stats, 16, kKvdFormat),
                 trel::FileIO::FileException)
        << "of another radix";
}

TEST(DigitSinkTest, ADamagedSetNeverGetsItsNames) {
    const kalvor_test::TemporaryFolder folder;
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    {
        FaultyFile disk;
        OutputFiles output(folder.file(""), {{10, "Dec", kDigits, kKvdFormat, kPerFile}},
                           {.calls = &disk.file_calls()}, status);
        disk.flip_bit_of_write(2, 8 * 1000);
        EXPECT_THROW((void)output.write(run.writer, 10, true), trel::AlgorithmFailedException);
    }
    for (const char* name : {"Dec - 0.kvd", "Dec - 1.kvd", "Dec - 2.kvd"}) EXPECT_FALSE(folder.has(name));
}

TEST(DigitSinkTest, SetsFollowTheRuleForWhatIsThere) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    const auto open = [&](u64 digits, const OutputOptions& options = {}) {
        return std::make_unique<OutputFiles>(
            folder.file(""), std::vector<OutputFiles::Request>{{10, "Dec", digits, kKvdFormat, kPerFile}},
            options, status);
    };
    (void)open(kDigits)->write(run.writer, 10, true);
    console.take();
    // A longer set is kept, one of the same length replaced.
    try {
        open(kDigits - 1);
        FAIL();
    } catch (const trel::FileIO::FileException& e) {
        EXPECT_NE(e.message.find("it has 20,000 digits, this run makes 19,999."), std::string::npos)
            << e.message;
    }
    EXPECT_FALSE(folder.has("Dec - 1 (incomplete).kvd"));
    console.take();
    open(kDigits);
    EXPECT_EQ(console.take(), "Replacing " + folder.file("Dec - 0.kvd") + " (20,000 digits).\n");
    // Any file of the set that cannot be replaced refuses.
    std::filesystem::remove(folder.file("Dec - 1.kvd"));
    std::filesystem::create_directory(folder.file("Dec - 1.kvd"));
    EXPECT_THROW(open(kDigits, {.overwrite = true}), trel::FileIO::FileException);
    // Another run is writing one of them.
    std::filesystem::remove(folder.file("Dec - 1.kvd"));
    PublishedFile other(folder.file("Dec - 2 (incomplete).kvd"), folder.file("Dec - 2.kvd"));
    EXPECT_THROW(OutputFiles::check(folder.file(""), {{10, "Dec", kDigits, kKvdFormat, kPerFile}}, {}),
                 trel::FileIO::FileException);
    EXPECT_THROW(open(kDigits), trel::FileIO::FileException);
}

// The rule holds for every file of a set, not only for those that are held before the computation.
TEST(DigitSinkTest, LargeSetsFollowTheRuleToo) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    constexpr u64 kLarge = 7000;  // 70 files
    Writing run(kLarge, kLarge, 0);
    run.writer.convert();
    const std::vector<OutputFiles::Request> requests = {{10, "x", kLarge, kKvdFormat, 100}};
    const auto refusal = [&] {
        std::string text;
        for (const bool whole : {false, true}) {
            try {
                if (whole) {
                    OutputFiles output(folder.file(""), requests, {}, status);
                } else {
                    OutputFiles::check(folder.file(""), requests, {});
                }
                text += "none|";
            } catch (const trel::FileIO::FileException& e) {
                text += e.message.substr(0, 30) + "|";
            }
        }
        return text;
    };
    EXPECT_EQ(refusal(), "none|none|");
    folder.write("x - 70.kvd", "a letter");
    folder.write("another - 66 (incomplete).kvd", "a letter");
    EXPECT_EQ(refusal(), "none|none|") << "not of this set";
    folder.write("x - 66.kvd", "a letter");
    EXPECT_EQ(refusal(), "The file that is there holds s|The file that is there holds s|");
    std::filesystem::remove(folder.file("x - 66.kvd"));
    {
        const PublishedFile other(folder.file("x - 69 (incomplete).kvd"), folder.file("x - 69.kvd"));
        EXPECT_THROW(OutputFiles::check(folder.file(""), requests, {}), trel::FileIO::FileException);
    }
    folder.write("x - 66.kvd", "a letter");
    std::filesystem::permissions(folder.file("x - 66.kvd"), std::filesystem::perms::owner_read);
    const OutputOptions options{.overwrite = true};
    OutputFiles output(folder.file(""), requests, options, status);
    (void)output.write(run.writer, 10, true);
    EXPECT_TRUE(set_content(folder, "x", 70) == set_of(pi_digits(10, kLarge), 10, 100, 70));
}

// Each file of the old set is opened a few times, however many there are.
TEST(DigitSinkTest, AnOldSetIsCountedOnce) {
    const kalvor_test::TemporaryFolder folder;
    constexpr u64 kFiles = 100;
    const std::vector<u8> values(100 * kFiles, 7);
    {
        BasicKvdSetWriter writer(folder.file("x"), "3.", 10, 100, values.size());
        writer.store_digits(values.data(), 0, values.size(), {}, trel::serial_context());
        writer.close();
    }
    const FaultyFile disk;
    OutputFiles::check(folder.file(""), {{10, "x", values.size(), kKvdFormat, 100}},
                       {.calls = &disk.file_calls()});
    EXPECT_GE(disk.count(FaultyFile::Call::open), kFiles);
    EXPECT_LE(disk.count(FaultyFile::Call::open), 5 * kFiles);
}

// An interrupt deletes what holds nothing, and names what was begun.
TEST(DigitSinkTest, TheLedgerKnowsWhichFilesAreBegun) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    constexpr u64 kLarge = 7000;
    Writing run(kLarge, kLarge, 0);
    run.writer.convert();
    FileLedger ledger;
    FaultyFile disk;
    const OutputOptions options{.ledger = &ledger, .calls = &disk.file_calls()};
    OutputFiles output(folder.file(""), {{10, "x", kLarge, kKvdFormat, 100}}, options, status);
    EXPECT_EQ(ledger.empty().size(), 64U);
    std::vector<std::size_t> begun;
    disk.on_call([&](FaultyFile::Call call) {
        if (call != FaultyFile::Call::write) return;
        begun.push_back(ledger.kept().size());
        EXPECT_EQ(ledger.empty().size() + std::min<std::size_t>(begun.back(), 64), 64U);
    });
    (void)output.write(run.writer, 10, true);
    ASSERT_FALSE(begun.empty());
    EXPECT_EQ(begun.front(), 1U);
    EXPECT_EQ(begun.back(), 70U) << "those that are made late are known too";
    EXPECT_TRUE(ledger.empty().empty());
    EXPECT_EQ(ledger.kept().size(), 70U);
}

// A volume that was full once says nothing of what fails later.
TEST(DigitSinkTest, OnlyTheLastFailureAsksForSpace) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> values(300, 7);
    FaultyFile disk;
    const auto sink = digit_format(kKvdFormat).make_sink(folder.file("x"), {10, 300, 100}, disk.file_calls());
    const auto fail = [&](u64 write, trel::os::OsError error) {
        disk.fail(FaultyFile::Call::write, disk.count(FaultyFile::Call::write) + write, error);
        const auto writer = sink->make_writer("3.", nullptr);
        EXPECT_FALSE(sink->needs_space());
        EXPECT_THROW(writer->store_digits(values.data(), 0, values.size(), {}, trel::serial_context()),
                     trel::FileIO::FileException);
        writer->abandon();
    };
    fail(2, FaultyFile::disk_full());
    EXPECT_TRUE(sink->needs_space());
    fail(1, FaultyFile::write_fault());
    EXPECT_FALSE(sink->needs_space());
}

// Nobody is there: the digits are kept, and the set is written again from its beginning.
TEST(DigitSinkTest, ASetIsTriedAgainOnAFullVolume) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    FaultyFile disk;
    OutputFiles output(folder.file(""), {{10, "Dec", kDigits, kKvdFormat, kPerFile}},
                       {.calls = &disk.file_calls()}, status);
    disk.disk_full_after(6000);
    disk.on_wait([&](double) { disk.disk_no_longer_full(); });
    (void)output.write(run.writer, 10, true);
    EXPECT_EQ(disk.waits(), std::vector<double>{60});
    EXPECT_TRUE(set_content(folder, "Dec", 3) == set_of(pi_digits(10, kDigits), 10, kPerFile, 3));
    EXPECT_EQ(console.take().find("incomplete file"), std::string::npos);
}

// Complete files of a set that fails were never checked.
TEST(DigitSinkTest, ASetThatFailsNamesNoFile) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    folder.write("Dec - 0.kvd", "an older file");
    {
        FaultyFile disk;
        OutputFiles output(folder.file(""), {{10, "Dec", kDigits, kKvdFormat, kPerFile}},
                           {.overwrite = true, .calls = &disk.file_calls()}, status);
        disk.fail(FaultyFile::Call::write, 3, FaultyFile::write_fault());
        EXPECT_THROW((void)output.write(run.writer, 10, true), trel::FileIO::FileException);
    }
    EXPECT_EQ(folder.read("Dec - 0.kvd"), "an older file");
    EXPECT_TRUE(folder.has("Dec - 0 (incomplete).kvd"));
    EXPECT_FALSE(folder.has("Dec - 1.kvd"));
    run.monitored.show();
    EXPECT_NE(console.take().find("Warning, closing incomplete file"), std::string::npos);
}

// Nor does a disk that refuses a write and then a flush make the rest of them look checked.
TEST(DigitSinkTest, ASetThatFailsTwiceNamesNoFile) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    for (const char* format : {kKvdFormat, kTextFormat}) {
        const bool is_set = format == std::string(kKvdFormat);
        const std::string name = is_set ? "Dec - 1.kvd" : "Dec.txt";
        folder.write(name, "an older file");
        FaultyFile disk;
        OutputFiles output(folder.file(""), {{10, "Dec", kDigits, format, is_set ? kPerFile / 2 : 0}},
                           {.overwrite = true, .calls = &disk.file_calls()}, status);
        disk.fail(FaultyFile::Call::write, is_set ? 5 : 2, FaultyFile::write_fault());
        disk.fail(FaultyFile::Call::flush, 1, FaultyFile::write_fault());
        EXPECT_THROW((void)output.write(run.writer, 10, true), trel::FileIO::FileException);
        EXPECT_EQ(folder.read(name), "an older file");
        EXPECT_FALSE(folder.has("Dec - 2.kvd"));
    }
}

// A file that others keep gets its name when they say so: not from a writer that is merely destroyed.
TEST(DigitSinkTest, ACompleteFileThatNobodyCheckedKeepsItsName) {
    const std::vector<u8> values(250, 7);
    for (const char* format : {kKvdFormat, kTextFormat}) {
        const kalvor_test::TemporaryFolder folder;
        const auto sink = digit_format(format).make_sink(folder.file("x"), {10, 250, 100});
        {
            const auto writer = sink->make_writer("3.", nullptr);
            writer->store_digits(values.data(), 0, values.size(), {}, trel::serial_context());
        }
        EXPECT_FALSE(folder.has("x.txt"));
        EXPECT_FALSE(folder.has("x - 0.kvd"));
        EXPECT_TRUE(
            folder.has(format == std::string(kTextFormat) ? "x (incomplete).txt" : "x - 0 (incomplete).kvd"));
    }
}

TEST(DigitSinkTest, TheSpaceOfASetIsReserved) {
    const kalvor_test::TemporaryFolder folder;
    const DigitFormat& format = digit_format(kKvdFormat);
    const DigitAmount amount{10, kDigits, kPerFile};
    FaultyFile disk;
    const auto sink = format.make_sink(folder.file("x"), amount, disk.file_calls());
    const u64 data = 8 * (2 * 369 + 316);  // words of 7000 and of 6000 digits
    EXPECT_GE(format.most_bytes(amount), data + 3 * 190);
    EXPECT_LE(format.most_bytes(amount), data + 3 * (kSectorBytes + 300));
    EXPECT_FALSE(sink->reserve().failed());
    EXPECT_EQ(sink->bytes(), format.most_bytes(amount));
    EXPECT_EQ(sink->files().size(), 3U);
    disk.fail(FaultyFile::Call::reserve, 5, FaultyFile::disk_full());
    EXPECT_TRUE(sink->reserve().failed());
    EXPECT_EQ(sink->bytes(), 0U) << "nothing stays reserved";
    sink->discard();
    EXPECT_FALSE(folder.has("x - 0 (incomplete).kvd"));
    // The largest amounts are no more than their space.
    EXPECT_GT(format.most_bytes({10, 1000000000000000, 1000000}), 421052631578944U);
}

// The integer part may have several digits and be 0.
TEST(DigitSinkTest, IntegerPartsOfSets) {
    for (const std::string integer : {"0", "12345678901234567890"}) {
        const kalvor_test::TemporaryFolder folder;
        const std::string digits = pi_digits(10, 250);
        const std::vector<u8> values = values_of(digits);
        const auto sink = digit_format(kKvdFormat).make_sink(folder.file("x"), {10, 250, 100});
        const auto writer = sink->make_writer(integer + "." + digits.substr(0, 50), nullptr);
        writer->store_digits(values.data(), 0, values.size(), {}, trel::serial_context());
        writer->finish();
        OutputStats stats;
        stats.digits = 250;
        const mpz_class number(integer + digits, 10);
        stats.hash = reference::u64_of(number % mpz_class("2305843009213693951"));
        for (const u8 v : values) stats.counts.count[v]++;
        trel::LinearConsoleNode status(79, 1.0);
        CaptureConsole console;
        const GuardedBuffer scratch(1 << 16, kSectorBytes);
        const trel::AlignedBufferC view(scratch.get(), scratch.size());
        EXPECT_NO_THROW(read_check(status, *writer->read_back(), stats, view)) << integer;
        stats.hash++;
        EXPECT_THROW(read_check(status, *writer->read_back(), stats, view), trel::AlgorithmFailedException);
        writer->publish();
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
