// The menus of the stress tester as transcripts: typed lines in, all bytes out.
#include "app/stress/stress_menu.h"

#include <gtest/gtest.h>

#include <fstream>

#include "app/stress/core_menu.h"
#include "app/stress/stress_machine.h"
#include "base/errors/exceptions.h"
#include "platform/fileio/settings_file.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

struct Shown {
    std::string cores = "4\n                        0-3\n";
    std::string memory = "64.0 MiB  ( 16.0 MiB per thread )\n";
    std::string each = "16.0 MiB";
    std::string numa = "Local - Memory allocated from local thread.\n";
    std::string time = "120 seconds per test / 0 seconds total\n";
    std::string stop = "Enabled\n";
    bool none = false, no_n32 = false;

    std::string text() const {
        const auto mark = [&](const std::string& bar) { return none ? std::string("Disabled") : bar; };
        return "\nComponent Stress Tester\n\n"
               "  1   Logical Cores:    " +
               cores + "  2   Memory:           " + memory + "  3   NUMA Mode:        " + numa +
               "  4/5 Time Limit:       " + time + "  6   Stop on Error:    " + stop +
               "\n"
               " 7/8  Enable All Tests / Disable All Tests\n"
               " 9/10 Load/Save Configuration File\n"
               "\n"
               "  #   Tag - Test Name               Mem/Thread   Component        CPU------Mem\n"
               " 11   BKT - Basecase + Karatsuba      small      Scalar Integer   " +
               mark("#") + "\n 12   BBP - BBP Digit Extraction      small      AVX512 Float     " +
               mark("#") + "\n 13   SFT - Small In-Cache FFT        small      AVX512 Float     " +
               mark(" #") + "\n 14   FFT - Fast Fourier Transform  " + each + "     AVX512 Float     " +
               mark("      #") + "\n 15   N32 - Classic NTT (32-bit)    " + each + "     AVX512 Integer   " +
               (no_n32 ? "Disabled" : mark("   #")) + "\n 16   N64 - Classic NTT (64-bit)    " + each +
               "     AVX512 Integer   " + mark("   #") + "\n 17   HNT - Hybrid NTT              " + each +
               "     Mixed Workload   " + mark("      #") + "\n 18   VST - Vector Transform        " + each +
               "     AVX512 Float     " + mark("        #") + "\n 19   C17 - Code 17 Experiment      " +
               each + "     AVX512 Mixed     " + mark("        #") + "\n\n" +
               (none ? "      Please select at least one test.\n" : "  0   Start Stress-Testing!\n") +
               "\noption: ";
    }
};

const std::string kDone = "\nTest Finished. Waiting for threads to terminate...\n";

class StressMenuTest : public testing::Test {
  protected:
    StressMenuTest() { machine_.settings().seconds_per_test = 120; }
    // Up to the end of the input.
    std::string shown(std::initializer_list<std::string> typed) {
        CaptureConsole console;
        console.type(typed);
        EXPECT_THROW(run_stress_menu(machine_.settings(), machine(), machine_.calls()), EndOfStreamException);
        EXPECT_EQ(console.lines_left(), 0u);
        return console.take();
    }
    StressMachine machine() { return {machine_.calls().cores, 256 << 20, 0}; }
    PlayedMachine machine_{4};
};

TEST_F(StressMenuTest, EveryEntry) {
    Shown menu;
    std::string expected = menu.text();
    expected +=
        "\nPlease Select a Memory Cap:\n\nEnter a memory limit: (e.g. 768MB, 2.5GB, etc...)\nBytes: Bytes: ";
    menu.memory = "2.00 GiB  (  512 MiB per thread )\n";
    menu.each = " 512 MiB";
    expected += menu.text() + "\n";
    menu.numa = "Interleaved - Memory interleaved across all nodes.\n";
    expected += menu.text();
    expected += "\nTime in seconds (zero disables limit): Time (seconds) = 1\n";
    menu.time = "1 second per test / 0 seconds total\n";
    expected += menu.text();
    expected += "\nTime in seconds (zero disables limit): Time (seconds) = 1,234\n";
    menu.time = "1 second per test / 1,234 seconds total\n";
    expected += menu.text() + "\n";
    menu.stop = "Disabled\n";
    expected += menu.text() + "\n";
    menu.no_n32 = true;
    expected += menu.text() + "\n";
    menu.none = true;
    expected += menu.text() + "\nPlease select at least one test.\n" + menu.text() + "\n";
    menu.none = menu.no_n32 = false;
    expected += menu.text() + "option: option: ";
    EXPECT_EQ(shown({"2", "0", "2GB", "3", "4", "1", "5", "1234", "6", "15", "8", "0", "7", "20", "-1"}),
              expected);
}

TEST_F(StressMenuTest, Colors) {
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({});
    StressSettings settings = machine_.settings();
    settings.tests = {"BKT"};
    EXPECT_THROW(run_stress_menu(settings, machine(), machine_.calls()), EndOfStreamException);
    const std::string text = console.take();
    EXPECT_NE(text.find("{w}  6   Stop on Error:    {G}Enabled{w}\n"), std::string::npos) << text;
    EXPECT_NE(text.find("{G}#\n"), std::string::npos) << text;
    EXPECT_NE(text.find("{R}Disabled\n"), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with("{w}  0   {G}Start Stress-Testing!\n{w}\n{w}option: {T}")) << text;
}

TEST_F(StressMenuTest, StartsOnce) {
    machine_.settings().tests = {"BKT"};
    machine_.settings().seconds_total = 30;
    CaptureConsole console;
    console.type({"0", "0"});
    EXPECT_TRUE(run_stress_menu(machine_.settings(), machine(), machine_.calls()));
    EXPECT_EQ(console.lines_left(), 1u);
    EXPECT_TRUE(console.text().ends_with(kDone));
    PlayedMachine refused(1);
    refused.refuse_affinity(0);
    console.type({"0"});
    EXPECT_FALSE(run_stress_menu(refused.settings(), machine(), refused.calls()));
}

TEST_F(StressMenuTest, SavesAndLoads) {
    const kalvor_test::TemporaryFolder folder;
    const std::string path = folder / "stress";
    Shown menu;
    std::string expected = menu.text();
    const std::string save =
        "\nEnter path to save configuration file. (the .cfg extension can be omitted)\nPath: ";
    const std::string load =
        "\nEnter path of configuration file. (the .cfg extension can be omitted)\nPath: ";
    menu.stop = "Disabled\n";
    const std::string changed = menu.text();
    expected += "\n" + changed + save + "Written: " + path + ".cfg\n" + changed + "\n";
    menu.stop = "Enabled\n";
    expected += menu.text() + load + changed;
    EXPECT_EQ(shown({"6", "10", path + ".cfg", "6", "9", path + ".cfg"}), expected);

    // What cannot be used is reported, and nothing changes.
    const auto write = [&](const std::string& text) {
        std::ofstream(path + ".cfg", std::ios::binary) << text;
    };
    const auto report = [&](const std::string& file) {
        const std::string text = shown({"9", file}), usual = Shown().text();
        EXPECT_TRUE(text.starts_with(usual + load)) << text;
        EXPECT_TRUE(text.ends_with(usual)) << text;
        return text.substr((usual + load).size(), text.size() - 2 * usual.size() - load.size());
    };
    write("{ Action : \"CustomCompute\" }");
    EXPECT_NE(report(path + ".cfg").find("\nInvalid Action: CustomCompute\n"), std::string::npos);
    write("{ Action : \"StressTest\" StressTest : { LogicalCores : [9] } }");
    const std::string no_such_core = report(path + ".cfg");
    EXPECT_NE(no_such_core.find("\nInvalid core #: 9\n"), std::string::npos);
    EXPECT_NE(no_such_core.find("StressTest.LogicalCores: a list stands there.\n"), std::string::npos)
        << no_such_core;
    write("{ Action : \"StressTest\" StressTest : {");
    EXPECT_NE(report(path + ".cfg").find("EndOfStreamException"), std::string::npos);
    EXPECT_NE(report(path + "-missing.cfg").find("FileException"), std::string::npos);
    const std::string text = shown({"10", folder / "no/folder.cfg"});
    EXPECT_NE(text.find("FileException"), std::string::npos);
    EXPECT_TRUE(text.ends_with(Shown().text()));
}

// Each beginning of a long dialogue ends in the exception of a question without an answer.
TEST_F(StressMenuTest, NobodyThere) {
    const std::vector<std::string> dialogue = {"2", "1G", "4", "5",  "5", "6", "1",  "d", "",
                                               "0", "",   "9", "no", "3", "8", "19", "12"};
    for (u64 n = 0; n <= dialogue.size(); n++) {
        CaptureConsole console;
        for (u64 i = 0; i < n; i++) console.type({dialogue[i]});
        EXPECT_THROW(run_stress_menu(machine_.settings(), machine(), machine_.calls()), EndOfStreamException);
        EXPECT_EQ(console.lines_left(), 0u) << n;
    }
}

std::string core_page(const std::string& count, const std::string& cores) {
    return "\n\nLogical Cores\n\nTotal Active Cores:  " + count + "\nActive Cores #'s:    " + cores +
           "\n\n"
           "  #     Toggle a core, by its number\n"
           "  a-b   Toggle a range of cores\n"
           "  a     Enable all cores\n"
           "  d     Disable all cores\n"
           "  e     Toggle even cores\n"
           "  o     Toggle odd cores\n"
           "        (an empty line: Done!)\n\noption: ";
}

class CoreMenuTest : public testing::Test {
  protected:
    std::vector<u32> chosen(std::initializer_list<std::string> typed) {
        CaptureConsole console;
        console.type(typed);
        const std::vector<u32> cores = core_menu({0, 1, 2, 3}, numbers_);
        EXPECT_EQ(console.lines_left(), 0u);
        text_ = console.take();
        return cores;
    }
    CoreNumbers numbers_ = CoreNumbers::of({{0, 1, 2, 3, 4, 5}});
    std::string text_;
};

TEST_F(CoreMenuTest, EveryCommand) {
    EXPECT_EQ(chosen({"5", "1-2", "a", "d", "e", "o", "e", ""}), (std::vector<u32>{1, 3, 5}));
    EXPECT_EQ(text_, core_page("4", "0-3") + core_page("5", "0-3, 5") + core_page("3", "0, 3, 5") +
                         core_page("6", "0-5") + core_page("0", "(none)") + core_page("3", "0, 2, 4") +
                         core_page("6", "0-5") + core_page("3", "1, 3, 5"));
}

TEST_F(CoreMenuTest, WhatItRefuses) {
    EXPECT_EQ(chosen({"6", "99999999999", "5-6", "2-1", "1-", "-1", "x", "0,1", "D", "d", "", "2", " "}),
              (std::vector<u32>{2}));
    const std::string usual = core_page("4", "0-3"), invalid = "\nInvalid Range\n" + usual;
    EXPECT_EQ(text_, usual + "Core 6 doesn't exist!\n" + usual + "Core 99999999999 doesn't exist!\n" + usual +
                         "Core 6 doesn't exist!\n" + usual + invalid + invalid + invalid + invalid + invalid +
                         invalid + core_page("0", "(none)") + "\nYou must enable at least one core!\n" +
                         core_page("0", "(none)") + core_page("1", "2"));
}

TEST_F(CoreMenuTest, CoresOfAnotherGroup) {
    numbers_ = CoreNumbers::of({{0, 1, 2, 3}, {64, 65}});
    EXPECT_EQ(chosen({"4", "3-4", "e", "a", ""}), (std::vector<u32>{0, 1, 2, 3}));
    const std::string usual = core_page("4", "0-3"),
                      refused = "\nCore 4 is not compatible with processor group 0\n";
    EXPECT_EQ(text_, usual + refused + usual + refused + usual + core_page("2", "1, 3") + usual);
    EXPECT_EQ(chosen({"d", "4", "a", ""}), (std::vector<u32>{4, 5}));
}

TEST_F(CoreMenuTest, LongListsGoOnUnderTheirColumn) {
    std::vector<u32> all(128), odd;
    for (u32 i = 0; i < 128; i++) {
        all[i] = i;
        if (i % 2) odd.push_back(i);
    }
    CaptureConsole console;
    print_core_lines("Active Cores #'s:", 21, all);
    EXPECT_EQ(console.take(), "Active Cores #'s:    0-127\n");
    print_core_lines("Active Cores #'s:", 21, odd);
    std::string text = console.take(), joined;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        const std::string line = text.substr(at, end - at);
        EXPECT_LE(line.size(), 79u);
        EXPECT_EQ(line.substr(0, 21), at == 0 ? "Active Cores #'s:    " : std::string(21, ' '));
        EXPECT_NE(line.back(), ' ');
        joined += (joined.empty() ? "" : " ") + line.substr(21);
        at = end + 1;
    }
    EXPECT_EQ(joined, core_list_text(odd));
}

}  // namespace
}  // namespace kalvor
