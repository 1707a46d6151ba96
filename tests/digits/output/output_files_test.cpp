// The digit files of a run: what is told before it, what is written after it, and what a full volume does.
#include "digits/output/output_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <functional>
#include <string>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "digits/files/sector_window.h"
#include "digits/output/pi_writing.h"
#include "fault/faulty_file.h"
#include "os/volume.h"
#include "support/capture_console.h"
#include "support/message_of.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using kalvor_test::Form;
using kalvor_test::message_of;
using kalvor_test::TemporaryFolder;

using Call = FaultyFile::Call;
using trel::FileIO::FileException;

constexpr u64 kDigits = 20000;

class OutputFilesTest : public testing::Test {
  protected:
    OutputFilesTest() : run_(kDigits, kDigits, kDigits / 2) { run_.writer.convert(); }
    std::string prefix() const { return folder_.file(""); }
    OutputFiles open(const OutputOptions& options = {}) const {
        return OutputFiles(prefix(), {{10, "Pi", kDigits}}, options, status_);
    }
    // The same before anything is made.
    std::string refusal(const OutputOptions& options = {}) const {
        const std::string text = message_of<trel::Exception>(Form::message, [&] { open(options); });
        const u64 there = files().size();
        EXPECT_EQ(
            message_of<trel::Exception>(Form::message,
                                        [&] {
                                            OutputFiles::check(prefix(), {{10, "Pi", kDigits}}, options);
                                        }),
            text);
        EXPECT_EQ(files().size(), there);
        return text;
    }
    static std::string good() { return "3." + pi_digits(10, kDigits); }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.file(""))) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    TemporaryFolder folder_;
    mutable trel::LinearConsoleNode status_{79, 1.0};
    Writing run_;
    CaptureConsole console_;
};

TEST_F(OutputFilesTest, BothRadixesAreWrittenCheckedAndNamed) {
    OutputFiles output(prefix(), {{16, "Hex", kDigits / 2}, {10, "Dec", kDigits}}, {}, status_);
    EXPECT_TRUE(folder_.has("Dec (incomplete).txt"));
    EXPECT_TRUE(folder_.has("Hex (incomplete).txt"));
    (void)output.write(run_.writer, 16, true);
    EXPECT_EQ(folder_.read("Hex.txt"), "3." + pi_digits(16, kDigits / 2));
    EXPECT_FALSE(folder_.has("Dec.txt"));
    const OutputStats stats = output.write(run_.writer, 10, true);
    EXPECT_EQ(folder_.read("Dec.txt"), good());
    EXPECT_EQ(stats.digits, kDigits);
    EXPECT_EQ(files().size(), 2U);
    ASSERT_EQ(output.written().size(), 2U);
    EXPECT_EQ(output.written()[0].path, folder_.file("Hex.txt"));
    EXPECT_EQ(output.written()[0].bytes, kDigits / 2 + 2);
    EXPECT_EQ(output.written()[1].path, folder_.file("Dec.txt"));
    EXPECT_EQ(output.written()[1].bytes, kDigits + 2);
    EXPECT_EQ(console_.text(), "");
}

// A run with more working memory than its conversion takes.
struct RunWithRoom {
    static constexpr u64 kDigits = 700000;
    explicit RunWithRoom(trel::ComputationStages* stages = nullptr)
        : value(value_words(kDigits)),
          plan(WriterPlan::make(value_words(kDigits) + 1, kDigits, kDigits, kDigits / 2, true, 2)),
          memory(plan.needs.bytes + SectorWindow::kLeastLent) {
        value.x.seal(trel::serial_context());
        monitor.stages = stages;
    }
    FloatWriterB writer() {
        return FloatWriterB(plan, {{thread_framework(), 2, &monitor}, memory.view(), nullptr},
                            trel::null_status(), value.x);
    }
    Pi value;
    WriterPlan plan;
    Scratch memory;
    trel::RunMonitor monitor;
};

// Once the digits are verified, and behind them and what output takes, the memory is the window's.
TEST(OutputWindowTest, StandsInWorkingMemory) {
    const TemporaryFolder folder;
    trel::LinearConsoleNode status(79, 1.0);
    const CaptureConsole console;
    RunWithRoom run;
    FloatWriterB digits = run.writer();
    digits.convert();
    EXPECT_EQ(digits.window_memory(10).size(), 0u);
    EXPECT_GE(digits.window_memory(16).size(), SectorWindow::kLeastLent) << "verified without scratch";
    digits.verify();
    const u8* const end = static_cast<u8*>(run.memory.data()) + run.memory.size();
    for (const u8 radix : {u8(10), u8(16)}) {
        const trel::AlignedBufferC window = digits.window_memory(radix);
        EXPECT_GE(window.size(), SectorWindow::kLeastLent);
        EXPECT_EQ(window.size(), run.plan.window_bytes(run.memory.size()));
        EXPECT_EQ(static_cast<u8*>(window.get()) + window.size(), end);
    }
    OutputFiles output(folder.file(""),
                       {{16, "Hex", RunWithRoom::kDigits / 2}, {10, "Dec", RunWithRoom::kDigits}}, {},
                       status);
    (void)output.write(digits, 16, true);
    (void)output.write(digits, 10, true);
    EXPECT_EQ(folder.read("Hex.txt"), "3." + pi_digits(16, RunWithRoom::kDigits / 2));
    EXPECT_EQ(folder.read("Dec.txt"), "3." + pi_digits(10, RunWithRoom::kDigits));
    // The digits went through the end of the memory.
    const u8* const window = static_cast<u8*>(digits.window_memory(10).get());
    const std::string begin = "3.14159265";
    EXPECT_NE(std::search(window, end, begin.begin(), begin.end()), end);
}

// Radix words that change behind their verification are converted again in the memory where the window of the
// abandoned file stood.
TEST(OutputWindowTest, AConversionTakesItsMemoryBack) {
    struct Damage final : trel::ComputationStages {
        void at(const char* stage, void* memory, u64) override {
            if (std::string(stage) == "verified words" && count++ == 0) static_cast<Word*>(memory)[3] ^= 1;
        }
        u64 count = 0;
    } damage;
    const TemporaryFolder folder;
    trel::LinearConsoleNode status(79, 1.0);
    const CaptureConsole console;
    RunWithRoom run(&damage);
    FloatWriterB digits = run.writer();
    digits.convert();
    digits.verify();
    ASSERT_GE(digits.window_memory(10).size(), SectorWindow::kLeastLent);
    OutputFiles output(folder.file(""), {{10, "Dec", RunWithRoom::kDigits}}, {}, status);
    (void)output.write(digits, 10, true);
    EXPECT_EQ(damage.count, 2u);
    EXPECT_EQ(run.monitor.checks.corrected, 1u);
    EXPECT_EQ(folder.read("Dec.txt"), "3." + pi_digits(10, RunWithRoom::kDigits));
}

// The space is taken before the computation, and a run that ends early leaves nothing.
TEST_F(OutputFilesTest, SpaceIsReservedFirst) {
    {
        const OutputFiles output = open();
        EXPECT_GE(std::filesystem::file_size(folder_.file("Pi (incomplete).txt")), kDigits + 2);
    }
    EXPECT_TRUE(files().empty());
}

TEST_F(OutputFilesTest, AnotherRunOfTheSamePathIsRefused) {
    folder_.write("Pi.txt", "3.14");
    OutputFiles first = open();
    console_.take();
    EXPECT_EQ(refusal(),
              "Another run is writing this file. Wait until it has ended, or choose another folder.");
    EXPECT_EQ(refusal({.overwrite = true}), refusal());
    EXPECT_EQ(console_.text(), "") << "the refused run says what it would have replaced";
    (void)first.write(run_.writer, 10, true);
    EXPECT_EQ(folder_.read("Pi.txt"), good());
}

// A file that did not pass its check never gets the name.
TEST_F(OutputFilesTest, AWrongFileDoesNotReplaceTheGoodOne) {
    folder_.write("Pi.txt", "3.14");
    FaultyFile disk;
    OutputFiles output = open({.calls = &disk.file_calls()});
    disk.flip_bit_of_write(1, 8 * 5000);
    EXPECT_EQ(message_of<trel::Exception>(Form::message, [&] { (void)output.write(run_.writer, 10, true); }),
              "Digit output failed. Metadata cross-check doesn't match.");
    EXPECT_EQ(folder_.read("Pi.txt"), "3.14");
    EXPECT_EQ(folder_.read("Pi (incomplete).txt").size(), kDigits + 2);
    EXPECT_TRUE(output.written().empty());
}

// ---- the rule for what is there

TEST_F(OutputFilesTest, ShorterAndEqualFilesAreReplacedAndNamed) {
    for (const u64 digits : {u64(0), u64(2), u64(1234), kDigits}) {
        folder_.write("Pi.txt", "3." + pi_digits(10, digits));
        OutputFiles output = open();
        const std::string count = digits == kDigits ? "20,000"
                                  : digits == 1234  ? "1,234"
                                                    : std::to_string(digits);
        EXPECT_EQ(console_.take(), "Replacing " + folder_.file("Pi.txt") + " (" + count + " digits).\n");
        (void)output.write(run_.writer, 10, true);
        EXPECT_EQ(folder_.read("Pi.txt"), good());
    }
    folder_.write("Pi.txt", "");
    open();
    EXPECT_EQ(console_.take(), "Replacing " + folder_.file("Pi.txt") + " (0 digits).\n");
}

TEST_F(OutputFilesTest, LongerFilesAreKept) {
    const std::string longer = "3." + pi_digits(10, kDigits + 1);
    folder_.write("Pi.txt", longer);
    EXPECT_EQ(refusal(),
              "The digit file already there is longer: it has 20,001 digits, this run makes 20,000. "
              "Move it away or choose another folder. On a command line -overwrite:1 replaces it.");
    EXPECT_EQ(folder_.read("Pi.txt"), longer);
    EXPECT_EQ(files().size(), 1U);
    EXPECT_EQ(console_.text(), "");
    OutputFiles output = open({.overwrite = true});
    EXPECT_EQ(console_.take(), "Replacing " + folder_.file("Pi.txt") + " (20,001 digits).\n");
    (void)output.write(run_.writer, 10, true);
    EXPECT_EQ(folder_.read("Pi.txt"), good());
}

TEST_F(OutputFilesTest, ReadOnlyFilesAreKept) {
    using std::filesystem::perms;
    folder_.write("Pi.txt", "3.14");
    std::filesystem::permissions(folder_.file("Pi.txt"),
                                 perms::owner_write | perms::group_write | perms::others_write,
                                 std::filesystem::perm_options::remove);
    EXPECT_EQ(refusal(),
              "The digit file that is there is read-only. Move it away or choose another folder. "
              "On a command line -overwrite:1 replaces it.");
    OutputFiles output = open({.overwrite = true});
    (void)output.write(run_.writer, 10, true);
    EXPECT_EQ(folder_.read("Pi.txt"), good());
}

TEST_F(OutputFilesTest, WhatIsNotADigitFileIsKept) {
    folder_.write("Pi.txt", "a shopping list");
    EXPECT_EQ(
        refusal(),
        "The file that is there holds something other than digits. Move it away or choose another folder. "
        "On a command line -overwrite:1 replaces it.");
    EXPECT_EQ(folder_.read("Pi.txt"), "a shopping list");
    open({.overwrite = true});
    EXPECT_EQ(console_.take(), "Replacing " + folder_.file("Pi.txt") + ".\n");
    std::filesystem::remove(folder_.file("Pi.txt"));
    std::filesystem::create_directory(folder_.file("Pi.txt"));
    EXPECT_EQ(refusal({.overwrite = true}),
              "A folder has the name of the digit file. Choose another folder.");
    EXPECT_EQ(files().size(), 1U);
}

// ---- space

TEST_F(OutputFilesTest, TooLittleSpaceIsToldBeforeTheComputation) {
    FaultyFile disk;
    disk.free_space(20000);
    const std::string volume = trel::os::volume_space(prefix().c_str()).volume;
    const std::string text = "There is too little space on the volume " + volume +
                             ": the digits need 20.0 KiB, 19.5 KiB are free.";
    open({.calls = &disk.file_calls()});
    EXPECT_EQ(console_.take(), "Warning: " + text + "\n");
    EXPECT_EQ(refusal({.minimum_space = true, .calls = &disk.file_calls()}),
              text + " Make room or choose another folder. \"kalvor custom\" runs anyway with -minspace:0.");
    EXPECT_TRUE(files().empty());
    disk.free_space(20480);
    open({.minimum_space = true, .calls = &disk.file_calls()});
    EXPECT_EQ(console_.text(), "");
}

// A quota shows only when the space is asked for.
TEST_F(OutputFilesTest, RefusedSpaceIsToldBeforeTheComputation) {
    FaultyFile disk;
    disk.free_space(1 << 20);
    disk.fail(Call::reserve, 1, FaultyFile::disk_full(), 2);
    const std::string volume = trel::os::volume_space(prefix().c_str()).volume;
    const std::string text = "The volume " + volume +
                             " does not give the space that is asked for: the digits need 20.0 KiB, 1.00 MiB "
                             "are said to be free.";
    open({.calls = &disk.file_calls()});
    EXPECT_EQ(console_.take(), "Warning: " + text + "\n");
    EXPECT_EQ(message_of<trel::Exception>(
                  Form::message, [&] { open({.minimum_space = true, .calls = &disk.file_calls()}); }),
              text + " Make room or choose another folder. \"kalvor custom\" runs anyway with -minspace:0.");
    EXPECT_TRUE(files().empty());
    // Another failure is one.
    disk.fail(Call::reserve, 3, FaultyFile::write_fault());
    EXPECT_EQ(message_of<trel::Exception>(Form::message, [&] { open({.calls = &disk.file_calls()}); }),
              "The space for the digits cannot be reserved.\n\nWrite Fault");
    // A file system that does not offer it: nobody is bothered.
    disk.fail(Call::reserve, 4, {95, trel::os::ErrorCategory::other});
    open({.calls = &disk.file_calls()});
    EXPECT_EQ(console_.text(), "");
}

TEST_F(OutputFilesTest, LongRunsWantTheirSpace) {
    EXPECT_FALSE(wants_minimum_space({}, 0));
    EXPECT_FALSE(wants_minimum_space({}, 3600));
    EXPECT_TRUE(wants_minimum_space({}, 3601));
    EXPECT_TRUE(wants_minimum_space(true, 0));
    EXPECT_FALSE(wants_minimum_space(false, 1e9));
}

// ---- a volume that is full in the end

// Nobody is there: a minute between the attempts, and the digits are kept.
TEST_F(OutputFilesTest, AFullVolumeIsTriedAgainEveryMinute) {
    folder_.write("Pi.txt", "3.14");
    FaultyFile disk;
    OutputFiles output = open({.calls = &disk.file_calls()});
    console_.take();
    disk.disk_full_after(10000);
    int minutes = 0;
    disk.on_wait([&](double) {
        EXPECT_EQ(folder_.read("Pi.txt"), "3.14");
        if (++minutes == 3) disk.disk_no_longer_full();
    });
    (void)output.write(run_.writer, 10, true);
    EXPECT_EQ(disk.waits(), (std::vector<double>{60, 60, 60}));
    EXPECT_EQ(folder_.read("Pi.txt"), good());
    EXPECT_EQ(files().size(), 1U);
    const std::string text = console_.take();
    EXPECT_NE(text.find("There is no space left on the volume "), std::string::npos) << text;
    EXPECT_NE(text.find("Trying again in a minute (3 of 10)."), std::string::npos) << text;
    EXPECT_EQ(text.find("(4 of 10)"), std::string::npos) << text;
    EXPECT_EQ(text.find("incomplete file"), std::string::npos) << text;
}

TEST_F(OutputFilesTest, AfterTenMinutesTheRunFailsWithWhatItWrote) {
    folder_.write("Pi.txt", "3.14");
    FaultyFile disk;
    {
        OutputFiles output = open({.calls = &disk.file_calls()});
        console_.take();
        disk.disk_full_after(10000);
        EXPECT_EQ(
            message_of<trel::Exception>(Form::message, [&] { (void)output.write(run_.writer, 10, true); }),
            "WriteFile() failed.\n\nDisk is Full");
        run_.monitored.show();
    }
    EXPECT_EQ(disk.waits(), std::vector<double>(10, 60));
    EXPECT_EQ(folder_.read("Pi.txt"), "3.14");
    const std::string left = folder_.read("Pi (incomplete).txt");
    EXPECT_GE(left.size(), 8192U);
    EXPECT_EQ(left.substr(0, 8192), good().substr(0, 8192));
    const std::string text = console_.take();
    EXPECT_NE(text.find("Warning, closing incomplete file"), std::string::npos) << text;
}

// A terminal with these answers.
class AnsweringTerminal final : public trel::Terminal {
  public:
    AnsweringTerminal(bool attended, std::initializer_list<std::string> answers)
        : answers(answers), attended_(attended) {}
    void tick() override {}
    bool dismiss() override { return true; }
    bool attended() const override { return attended_; }
    std::optional<std::string> ask(std::string_view question) override {
        questions.emplace_back(question);
        if (answers.empty()) return std::nullopt;
        const std::string answer = answers.front();
        answers.pop_front();
        return answer;
    }

    std::deque<std::string> answers;
    std::vector<std::string> questions;

  private:
    const bool attended_;
};

// A terminal whose input is a file or a pipe: what stands in it is not an answer.
TEST(OutputFilesOnATerminalTest, NobodyIsAskedWhoCannotAnswer) {
    const TemporaryFolder folder;
    CaptureConsole console(CaptureConsole::terminal);
    AnsweringTerminal terminal(false, {folder.file("y")});
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    FaultyFile disk;
    trel::LinearConsoleNode status(79, 1.0);
    OutputFiles files(folder.file(""), {{10, "Pi", kDigits}},
                      {.terminal = &terminal, .calls = &disk.file_calls()}, status);
    disk.disk_full_after(10000);
    disk.on_wait([&](double seconds) {
        EXPECT_EQ(seconds, 60);
        disk.disk_no_longer_full();
    });
    (void)files.write(run.writer, 10, true);
    EXPECT_TRUE(terminal.questions.empty());
    EXPECT_FALSE(folder.has("y"));
    EXPECT_TRUE(folder.has("Pi.txt"));
}

// Control characters of a path are not sent to the terminal.
TEST(OutputFilesShownTest, PathsAreShownAndNotObeyed) {
    const TemporaryFolder folder;
    const std::string path = folder.file("\x7f]0;x");
    std::filesystem::create_directory(path);
    folder.write("\x7f]0;x/Pi.txt", "3.14");
    CaptureConsole console;
    FaultyFile disk;
    disk.on_wait([&](double) { disk.disk_no_longer_full(); });
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    trel::LinearConsoleNode status(79, 1.0);
    OutputFiles files(path + "/", {{10, "Pi", kDigits}}, {.calls = &disk.file_calls()}, status);
    std::string shown = path;
    shown.replace(shown.find('\x7f'), 1, "\\x7f");
    EXPECT_EQ(console.take(), "Replacing " + shown + "/Pi.txt (2 digits).\n");
    disk.disk_full_after(10000);
    (void)files.write(run.writer, 10, true);
    const std::string text = console.take();
    EXPECT_NE(text.find("\\x7f]0;x/Pi (incomplete).txt"), std::string::npos) << text;
    EXPECT_EQ(text.find('\x7f'), std::string::npos) << text;
}

// Every call that can find the volume full.
TEST_F(OutputFilesTest, AFullVolumeIsNoticedWhereverItShows) {
    for (const Call call : {Call::write, Call::set_size, Call::flush}) {
        FaultyFile disk;
        OutputFiles output = open({.overwrite = true, .calls = &disk.file_calls()});
        disk.fail(call, disk.count(call) + 1, FaultyFile::disk_full());
        (void)output.write(run_.writer, 10, true);
        EXPECT_EQ(disk.waits(), std::vector<double>(1, 60)) << FaultyFile::name(call);
        EXPECT_EQ(folder_.read("Pi.txt"), good());
    }
}

// What waiting does not cure is not waited for.
TEST_F(OutputFilesTest, OtherFailuresEndTheRunAtOnce) {
    FaultyFile disk;
    OutputFiles output = open({.calls = &disk.file_calls()});
    disk.fail(Call::write, 1, FaultyFile::write_fault());
    EXPECT_EQ(message_of<trel::Exception>(Form::message, [&] { (void)output.write(run_.writer, 10, true); }),
              "WriteFile() failed.\n\nWrite Fault");
    EXPECT_TRUE(disk.waits().empty());
}

TEST(OutputFilesOnATerminalTest, TheUserIsAskedForAnotherTryOrFolder) {
    const TemporaryFolder folder;
    folder.write("f", "a file");
    CaptureConsole console(CaptureConsole::terminal);
    Writing run(kDigits, kDigits, 0);
    run.writer.convert();
    FaultyFile disk;
    std::filesystem::create_directory(folder.file("a"));
    trel::LinearConsoleNode status(79, 1.0);
    // Again; a place that is none; another folder, to which the disk is large enough.
    AnsweringTerminal terminal(true, {"", folder.file("f/x"), folder.file("b")});
    OutputFiles files(folder.file("a/"), {{10, "Pi", kDigits}},
                      {.terminal = &terminal, .calls = &disk.file_calls()}, status);
    disk.disk_full_after(10000);
    int answers = 0;
    disk.on_wait([&](double seconds) {
        EXPECT_EQ(seconds, 1) << "answers may come from a program that never stops";
        if (++answers == 3) disk.disk_no_longer_full();
    });
    (void)files.write(run.writer, 10, true);
    EXPECT_EQ(answers, 3);
    EXPECT_EQ(folder.read("b/Pi.txt"), "3." + pi_digits(10, kDigits));
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("a")));
    ASSERT_EQ(files.written().size(), 1U);
    EXPECT_EQ(files.written()[0].path, folder.file("b/Pi.txt"));
    const std::string text = console.take();
    EXPECT_EQ(terminal.questions,
              std::vector<std::string>(3,
                                       "The digits are kept in memory. Make room and press Enter to try "
                                       "again, or enter another folder.\nFolder: "));
    EXPECT_NE(text.find("Path is not writable."), std::string::npos) << text;
}

}  // namespace
}  // namespace kalvor
