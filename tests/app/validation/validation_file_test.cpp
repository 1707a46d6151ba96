#include "app/validation/validation_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "app/validation/hand_made_record.h"
#include "app/validation/validate.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "fault/fault_sweep.h"
#include "fault/faulty_file.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using kalvor_test::hand_made_record;
using kalvor_test::TemporaryFolder;

// With CR LF for LF.
std::string lines(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\n') out += '\r';
        out += c;
    }
    return out;
}

const std::string kHead =
    "\xef\xbb\xbf"
    "Benchmark Validation File - DO NOT MODIFY! If you do, it will fail validation.\n"
    "\n"
    "Validation Version:    1.3\n"
    "\n"
    "Program:               Kalvor v0.7.8 Build 9507\n"
    "Tuning:                18-CNL ~ Elvatt\n"
    "\n"
    "User:                  J\xc3\xb6rg  \n"
    "\n"
    "Operating System:       Some System 1.0\n"
    "Processor(s):\n"
    "    Name:               Some Processor\n"
    "    Logical Cores:      16\n"
    "    Physical Cores:     8\n"
    "    Sockets:            1\n"
    "    NUMA Nodes:         2\n"
    "    Base Frequency:     4,000,000,000 Hz\n"
    "Motherboard:\n"
    "    Manufacturer:       Some Maker\n"
    "    Model:              Some Board\n"
    "    Version:            1.2\n"
    "    Serial Number:      Suppressed - Personally identifiable information is opt-in only.\n"
    "Memory:\n"
    "    Usable Memory:      16,000,000,000 (14.9 GiB)\n"
    "    Total Memory:       17,179,869,184 (16.0 GiB)\n"
    "    DIMM:               PART-1, 8,589,934,592 (8.00 GiB)\n"
    "    DIMM:               PART-2, Unable to Detect\n"
    "Constant:              Pi\n"
    "Algorithm:             Chudnovsky (1988)\n"
    "Decimal Digits:        1,000\n";

TEST(ValidationTextTest, AWholeFile) {
    const std::string text = lines(kHead +
                                   "Hexadecimal Digits:    831\n"
                                   "Computation Mode:      Ram Only\n"
                                   "Threading Mode:        None\n"
                                   "Working Memory:        1,048,576 (1.00 MiB)\n"
                                   "Total Memory:          3,145,728 (3.00 MiB)\n"
                                   "Configuration Dump:\n"
                                   "{\n"
                                   "    Path : \"a") +
                             "\n----b\"\r\n}\r\n\r\n" +
                             lines(
                                 "Start Date:             Fri Jan  2 03:04:05 2026\n"
                                 "End Date:               Fri Jan  2 03:04:15 2026\n"
                                 "Total Computation Time:     8.000 seconds\n"
                                 "Start-to-End Wall Time:    10.125 seconds\n"
                                 "CPU Utilization:             187.50 %  +   12.50 % kernel overhead\n"
                                 "Multi-core Efficiency:        11.72 %  +    0.78 % kernel overhead\n"
                                 "Last Hexadecimal Digits:\n"
                                 "0123456789 abcdef\n"
                                 "\n"
                                 "Last Decimal Digits:\n"
                                 "0123456789 0123456789 0123456789 0123456789 0123456789  :  950\n"
                                 "0123456789 0123456789 0123456789 0123456789 0123456789  :  1,000\n"
                                 "\n"
                                 "SHA256-dec(1,001 - 1,250): " +
                                 std::string(64, 'a') +
                                 "\n"
                                 "\n"
                                 "Dec Counts: {100, 1100, 2100, 3100, 4100, 5100, 6100, 7100, 8100, 9100}\n"
                                 "Hex Counts: {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}\n"
                                 "\n"
                                 "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) = 0\n"
                                 "Hex Hash: Floor(|x| * 16^hex) mod (2^61 - 1) = 1234567\n"
                                 "\n"
                                 "Spot Check:                 Good through 1,000\n"
                                 "Timer Sanity Check:         Passed\n"
                                 "Frequency Sanity Check:     Disabled in this version of Kalvor\n"
                                 "Reference Clock:            TSC\n"
                                 "Reference Clock 0:          10,000,000\n"
                                 "Reference Clock 1:          4,000,000,000\n"
                                 "Reference Clock 2:          3,999,999,999\n"
                                 "Is Debugger Present:        No\n"
                                 "Is Contiguous:              Yes\n"
                                 "ECC Recovered Errors:       0\n"
                                 "Colors:                     No\n"
                                 "\n"
                                 "Event Log:\n"
                                 "Fri Jan  2 03:04:05 2026\t0.001\tWorking Memory\n");
    EXPECT_EQ(validation_text(hand_made_record()), text);
    const std::string whole = signed_text(text);
    ASSERT_TRUE(whole.starts_with(text + "----\r\n\r\nHMAC-SHA256: "));
    EXPECT_EQ(whole.size(), text.size() + 21 + 64 + 2);
    EXPECT_TRUE(whole.ends_with("\r\n"));
}

TEST(ValidationTextTest, WhatMayBeMissingOrOtherwise) {
    RunRecord record = hand_made_record();
    record.hexadecimal_digits = 0;
    record.hexadecimal.reset();
    record.decimal->hidden.clear();
    record.utilization = {};
    record.spot_check = {};
    record.timer_check = TimerCheck::disabled_by_restart;
    record.clocks.kind = "";
    record.debugger = record.colors = true;
    record.contiguous = false;
    record.ecc_recovered = 1234;
    std::string text = validation_text(record);
    for (const char* line :
         {"Hexadecimal Digits:    Disabled", "CPU Utilization:           Too Fast to Measure",
          "Multi-core Efficiency:     Too Fast to Measure\r\nLast Decimal Digits:",
          ":  1,000\r\n\r\nDec Counts: {",
          "}\r\n\r\nDec Hash: ", "= 0\r\n\r\nSpot Check:                 Not Available",
          "Timer Sanity Check:         Disabled due to checkpoint restart",
          "Reference Clock:            \r\nReference Clock 0:", "Is Debugger Present:        Yes",
          "Is Contiguous:              No", "ECC Recovered Errors:       1,234",
          "Colors:                     Yes"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line;
    }
    EXPECT_EQ(text.find("Hex"), text.find("Hexadecimal Digits:    Disabled"));
    EXPECT_EQ(text.find("SHA256"), std::string::npos);
    record.spot_check = {-20, 10};
    text = validation_text(record);
    EXPECT_NE(text.find("Spot Check:                 Mismatch at 20\r\n"), std::string::npos);
}

class WriteValidationFileTest : public testing::Test {
  protected:
    RunRecord record() const {
        RunRecord record = hand_made_record();
        record.folder = folder_.file("");
        return record;
    }
    std::string write(const RunRecord& record,
                      const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine()) {
        trel::LinearConsoleNode status(79, 1.0);
        return write_validation_file(record, {status, nullptr, &ledger_, &calls});
    }

    TemporaryFolder folder_;
    FileLedger ledger_;
};

TEST_F(WriteValidationFileTest, HasTheNameOfItsSecond) {
    CaptureConsole console(CaptureConsole::terminal, true);
    const std::string path = write(record());
    EXPECT_TRUE(path.ends_with("Pi - 20260102-030415.txt")) << path;
    EXPECT_EQ(console.take(), "{G}Validation File: {P}" + path + "{w}\n");
    EXPECT_EQ(folder_.files(), std::vector<std::string>{"Pi - 20260102-030415.txt"});
    EXPECT_EQ(folder_.read("Pi - 20260102-030415.txt"), signed_text(validation_text(record())));
    EXPECT_EQ(ledger_.kept(), std::vector<std::string>{folder_.file("Pi - 20260102-030415.txt")});
    EXPECT_EQ(validate(folder_.read("Pi - 20260102-030415.txt")).result, Validation::passed);
}

// Over the ends of a minute, an hour, a day, a month and a year; a draft that was left behind counts too.
TEST_F(WriteValidationFileTest, ATakenNameGetsTheNextSecond) {
    const CaptureConsole console;
    const auto next_of = [&](const os::LocalTime& time, const std::string& taken) {
        folder_.write("Pi - " + taken, "x");
        RunRecord taken_record = record();
        taken_record.end_time = time;
        return std::filesystem::path(write(taken_record)).filename().string();
    };
    EXPECT_EQ(next_of({2026, 1, 2, 5, 3, 4, 15}, "20260102-030415.txt"), "Pi - 20260102-030416.txt");
    EXPECT_EQ(next_of({2026, 1, 2, 5, 3, 4, 15}, "20260102-030417 (incomplete).txt"),
              "Pi - 20260102-030418.txt");
    EXPECT_EQ(next_of({2026, 2, 28, 6, 23, 59, 59}, "20260228-235959.txt"), "Pi - 20260301-000000.txt");
    EXPECT_EQ(next_of({2028, 2, 28, 1, 23, 59, 59}, "20280228-235959.txt"), "Pi - 20280229-000000.txt");
    EXPECT_EQ(next_of({2100, 2, 28, 0, 23, 59, 59}, "21000228-235959.txt"), "Pi - 21000301-000000.txt");
    EXPECT_EQ(next_of({2026, 12, 31, 4, 23, 59, 59}, "20261231-235959.txt"), "Pi - 20270101-000000.txt");
    EXPECT_EQ(folder_.read("Pi - 20260102-030417 (incomplete).txt"), "x");
}

// What the disk makes of it is noticed before the file has its name and is told of.
TEST_F(WriteValidationFileTest, EveryFailingCall) {
    FaultSweep sweep;
    sweep.prepare = [&] {
        for (const std::string& name : folder_.files()) std::filesystem::remove(folder_.file(name));
    };
    sweep.operation = [&](const FileIO::FileCalls& calls) { write(record(), calls); };
    const std::string want = signed_text(validation_text(record()));
    u64 failed = 0;
    sweep.check = [&](const FaultPoint&, const FaultOutcome& outcome) {
        const std::string there = folder_.read("Pi - 20260102-030415.txt");
        EXPECT_EQ(outcome.thrown, outcome.console.find("Validation File: ") == std::string::npos);
        EXPECT_TRUE(there == (outcome.thrown && there.empty() ? "" : want)) << outcome.message;
        failed += outcome.thrown ? 1 : 0;
    };
    EXPECT_GT(sweep.run(), 20U);
    EXPECT_GT(failed, 10U);
}

TEST_F(WriteValidationFileTest, ABitFlippedByTheDisk) {
    for (const u64 bit : {u64(0), u64(8) * 100 + 3, u64(8) * 2000}) {
        CaptureConsole console;
        FaultyFile disk;
        disk.flip_bit_of_write(1, bit);
        EXPECT_THROW(write(record(), disk.file_calls()), FileIO::FileException);
        EXPECT_EQ(console.text().find("Validation File"), std::string::npos);
        EXPECT_FALSE(folder_.has("Pi - 20260102-030415.txt"));
        std::filesystem::remove(folder_.file("Pi - 20260102-030415 (incomplete).txt"));
    }
}

// Somebody at the terminal who presses a key now and then.
class PatientTerminal final : public trel::Terminal {
  public:
    explicit PatientTerminal(int keys) : keys_(keys) {}
    void tick() override {}
    bool dismiss() override { return true; }
    bool attended() const override { return true; }
    std::optional<std::string> ask(std::string_view) override { return std::nullopt; }
    bool pause() override { return keys_-- > 0; }

  private:
    int keys_;
};

TEST_F(WriteValidationFileTest, OneThatCannotBeMadeIsTriedAgainAtAKey) {
    for (const bool comes_back : {true, false}) {
        CaptureConsole console;
        FaultyFile disk;
        disk.on_wait([](double) {});
        disk.fail(FaultyFile::Call::open, 1, FaultyFile::access_denied(), comes_back ? 2 : 1000);
        PatientTerminal terminal(2);
        trel::LinearConsoleNode status(79, 1.0);
        const ValidationOutput output{status, &terminal, &ledger_, &disk.file_calls()};
        if (comes_back) {
            write_validation_file(record(), output);
        } else {
            EXPECT_THROW(write_validation_file(record(), output), FileIO::FileException);
        }
        const std::string once =
            "\nUnable to create file.\nError Code: " + std::to_string(FaultyFile::access_denied().code) +
            "\n" + folder_.file("Pi - 20260102-030415.txt") + "\nRe-attempting...\n";
        const std::string text = console.take();
        EXPECT_TRUE(text.starts_with(once + once)) << text;
        EXPECT_EQ(text.find("Validation File: ") != std::string::npos, comes_back) << text;
        EXPECT_EQ(folder_.has("Pi - 20260102-030415.txt"), comes_back);
        std::filesystem::remove(folder_.file("Pi - 20260102-030415.txt"));
    }
}

}  // namespace
}  // namespace kalvor
