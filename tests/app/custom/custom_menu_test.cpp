// The menu of a computation, as transcripts: what is shown, what is changed, what is refused.
#include "app/custom/custom_menu.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "app/session/memory_plan.h"
#include "app/settings/compute_settings_object.h"
#include "app/settings/output_bytes.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "platform/fileio/settings_file.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/temporary_folder.h"

using kalvor_test::TemporaryFolder;

namespace kalvor {
namespace {

ComputeSettings small_settings(i64 digits = 1000) {
    ComputeSettings settings;
    settings.set_decimal_digits(digits);
    settings.parallelism = ParallelismSettings(1);
    return settings;
}

std::string line(const std::string& label, const std::string& value) {
    return label + std::string(32 - label.size(), ' ') + value + "\n";
}

// The menu of these settings.
std::string menu(const ComputeSettings& s) {
    const ComputeSettings& c = s;
    const auto format = [&] {
        if (!c.output_enable) return std::string("Digit Output Disabled");
        if (c.digits_per_file == 0) return std::string("None - Write digits to a text file.");
        if (c.digits_per_file == -1) return std::string("Compress digits into one .kvd file.");
        return "Compress with " + Console::format_commas(static_cast<u64>(c.digits_per_file)) +
               " digits per file.";
    };
    return "\n\nCustom Compute a Constant\n\n" + line("  1     Constant:", c.constant->name_long()) +
           line("  2     Algorithm:", c.constant->algorithm_long()) +
           line("  3     Decimal Digits:", Console::format_commas(c.size.decimal_digits)) +
           line("  4     Hexadecimal Digits:",
                c.enable_hex ? Console::format_commas(c.size.hexadecimal_digits) : "Disabled") +
           line("  5     Output To:", c.path.empty() ? "Default Path" : c.path) +
           line("  6     Digit Format:", format()) +
           line("  7     Verify Output:", c.output_verify ? "Enabled" : "Disabled") + "\n" +
           line("  8     Computation Mode:", "Ram Only") +
           line("  9     Multi-Threading:", c.parallelism.summary()) +
           line(" 10     Logical Memory Needed:",
                Console::format_bytes(RunPlan::make(c, c.size).memory.logical())) +
           line("        Logical Disk Needed:",
                " 0 bytes  +  " + Console::format_bytes(output_bytes(c)) + " for output") +
           "\n 20/21  Load/Save Configuration File\n  0     Start Computation!\n\noption: ";
}

// What is printed until the input ends, which is always at a question.
std::string shown(ComputeSettings settings, std::initializer_list<std::string> typed) {
    CaptureConsole console;
    console.type(typed);
    EXPECT_THROW(run_custom_menu(kalvor_test::authorized(), std::move(settings)), EndOfStreamException);
    EXPECT_EQ(console.lines_left(), 0u);
    return console.take();
}

bool ends_with(const std::string& text, const std::string& end) {
    return text.ends_with(end) || (ADD_FAILURE() << text << "\nwants\n" << end, false);
}

TEST(CustomMenuTest, ShowsTheSettings) {
    EXPECT_EQ(shown(small_settings(), {}), menu(small_settings()));
    ComputeSettings all = small_settings(5000000);
    all.enable_hex = true;
    all.digits_per_file = 1000000;
    all.output_verify = false;
    all.path = "somewhere/";
    const std::string text = menu(all);
    EXPECT_EQ(shown(std::move(all), {}), text);
}

TEST(CustomMenuTest, ValuesHaveTheirColours) {
    CaptureConsole console(CaptureConsole::terminal, true);
    EXPECT_THROW(run_custom_menu(kalvor_test::authorized(), small_settings()), EndOfStreamException);
    EXPECT_NE(console.text().find("  3     Decimal Digits:         {G}1,000{w}"), std::string::npos)
        << console.text();
}

TEST(CustomMenuTest, EveryNumberBetweenTheEntriesIsAskedAgain) {
    for (const char* number : {"11", "12", "19", "22", "-1", "x9", "", "o"}) {
        const std::string text = shown(small_settings(), {number});
        EXPECT_EQ(text, menu(small_settings()) + "option: ") << number;
    }
}

TEST(CustomMenuTest, DecimalDigitsWithinTheConstantsBounds) {
    ComputeSettings after = small_settings(123456);
    EXPECT_EQ(shown(small_settings(), {"3", "99", "1000000000000001", "123,456"}),
              menu(small_settings()) +
                  "Select the # of decimal digits to compute:\n"
                  "Digits: Computation size must be at least 100 decimal digits.\n"
                  "Digits: Computation size cannot be larger than 1,000,000,000,000,000 decimal digits.\n"
                  "Digits: " +
                  menu(after));
}

TEST(CustomMenuTest, HexadecimalDigitsOnAndOff) {
    ComputeSettings on = small_settings();
    on.enable_hex = true;
    const std::string question = "Select the # of hexadecimal digits to compute: (0 to disable)\nDigits: ";
    EXPECT_EQ(shown(small_settings(), {"4", "50", "4", "0"}),
              menu(small_settings()) + question + menu(on) + question + menu(small_settings()));
}

TEST(CustomMenuTest, AlgorithmConstantAndVerification) {
    ComputeSettings other = small_settings();
    other.constant->select_algorithm("1");
    EXPECT_TRUE(ends_with(shown(small_settings(), {"2", "1"}), menu(other)));
    ComputeSettings off = small_settings();
    off.output_verify = false;
    EXPECT_EQ(shown(small_settings(), {"7"}), menu(small_settings()) + menu(off));
    ComputeSettings golden = small_settings();
    golden.constant = make_constant("goldenratio", "");
    EXPECT_TRUE(ends_with(shown(small_settings(), {"1", "1"}), menu(golden)));
}

TEST(CustomMenuTest, AnUnwritablePathIsRefusedAndNothingChanges) {
    TemporaryFolder folder;
    folder.write("file", "x");
    const std::string text = shown(small_settings(), {"5", folder.file("file/below")});
    EXPECT_NE(text.find("Path is not writable."), std::string::npos) << text;
    EXPECT_TRUE(ends_with(text, menu(small_settings())));
}

TEST(CustomMenuTest, ALongPathGoesOnBelowItself) {
    TemporaryFolder folder;
    ComputeSettings settings = small_settings();
    settings.path = std::string(300, 'x');
    CaptureConsole console;
    EXPECT_THROW(run_custom_menu(kalvor_test::authorized(), std::move(settings)), EndOfStreamException);
    std::istringstream lines(console.text());
    u64 x = 0;
    for (std::string text; std::getline(lines, text);) {
        EXPECT_LE(text.size(), 80u) << text;
        const auto xs = std::count(text.begin(), text.end(), 'x');
        if (xs > 4) x += static_cast<u64>(xs);
    }
    EXPECT_EQ(x, 300u);
}

class OutputFormatTest : public testing::Test {
  protected:
    static constexpr const char* kQuestion =
        "\n\nSelect an Output Format:\n\n"
        "  0     Disable digit output. Don't write digits to disk.\n"
        "  1     Write to a text file. Do not compress.\n"
        "  2     Compress digits into a single .kvd file.\n"
        "  3     Compress digits into multiple .kvd files with a user-specified\n"
        "        number of digits per file.\n\noption: ";

    static ComputeSettings with(i64 digits, i64 per_file, bool enable = true, bool hex = false) {
        ComputeSettings settings = small_settings(digits);
        settings.digits_per_file = per_file;
        settings.output_enable = enable;
        settings.enable_hex = hex;
        return settings;
    }
};

TEST_F(OutputFormatTest, EveryChoice) {
    const i64 n = 2500000;
    EXPECT_EQ(shown(with(n, 0), {"6", "0"}), menu(with(n, 0)) + kQuestion + menu(with(n, 0, false)));
    EXPECT_EQ(shown(with(n, -1, false), {"6", "1"}), menu(with(n, -1, false)) + kQuestion + menu(with(n, 0)));
    EXPECT_EQ(shown(with(n, 0, false), {"6", "2"}), menu(with(n, 0, false)) + kQuestion + menu(with(n, -1)));
    EXPECT_EQ(shown(with(n, 0), {"6", "3", "1m"}),
              menu(with(n, 0)) + kQuestion + "Digits per file: " + menu(with(n, 1000000)));
    // More than there are digits is all of them.
    EXPECT_EQ(shown(with(n, 0), {"6", "3", "1t"}),
              menu(with(n, 0)) + kQuestion + "Digits per file: " + menu(with(n, n)));
}

// Text files stay text files, and no output stays none.
TEST_F(OutputFormatTest, ARefusedChoiceChangesNothing) {
    for (const char* choice : {"2", "3"}) {
        EXPECT_EQ(shown(with(999999, 0, false), {"6", choice}), menu(with(999999, 0, false)) + kQuestion +
                                                                    "\n\nToo few digits to compress.\n\n" +
                                                                    menu(with(999999, 0, false)));
        EXPECT_EQ(shown(with(999999, 0), {"6", choice}), menu(with(999999, 0)) + kQuestion +
                                                             "\n\nToo few digits to compress.\n\n" +
                                                             menu(with(999999, 0)));
        EXPECT_EQ(shown(with(1000000, 0, true, true), {"6", choice}),
                  menu(with(1000000, 0, true, true)) + kQuestion + "Warning: Too few digits to compress.\n" +
                      menu(with(1000000, 0, true, true)));
    }
    EXPECT_EQ(shown(with(2000000, 1000000), {"6", "3", "999999"}),
              menu(with(2000000, 1000000)) + kQuestion +
                  "Digits per file: Warning: Too few digits for file.\n" + menu(with(2000000, 1000000)));
    EXPECT_EQ(shown(with(2000000, 0, false), {"6", "3", "999999"}),
              menu(with(2000000, 0, false)) + kQuestion +
                  "Digits per file: Warning: Too few digits for file.\n" + menu(with(2000000, 0, false)));
}

TEST_F(OutputFormatTest, FewerDigitsEndTheCompression) {
    EXPECT_TRUE(ends_with(shown(with(2000000, 1500000), {"3", "1m"}), menu(with(1000000, 1000000))));
    const std::string text = shown(with(2000000, 1500000), {"3", "1000"});
    EXPECT_NE(text.find("Warning: Digits per file below minimum: Disabling compression.\n"),
              std::string::npos);
    EXPECT_TRUE(ends_with(text, menu(with(1000, 0))));
}

TEST(CustomMenuTest, SavedAndLoadedSettingsShowTheSameMenu) {
    TemporaryFolder folder;
    ComputeSettings settings = small_settings(3000000);
    settings.enable_hex = true;
    settings.digits_per_file = 1000000;
    settings.path = "./";  // short enough for its line
    settings.parallelism.framework.choose("spawn");
    settings.parallelism.task_decomposition = 6;
    settings.constant->select_algorithm("1");
    const std::string text = menu(settings), file = folder.file("settings");
    EXPECT_EQ(
        shown(std::move(settings), {"21", file}),
        text + "Enter path to save configuration file. (the .cfg extension can be omitted)\nPath: Written: " +
            file + ".cfg\n" + text);
    EXPECT_EQ(shown(small_settings(), {"20", file}),
              menu(small_settings()) +
                  "Enter path of configuration file. (the .cfg extension can be omitted)\nPath: " + text);
}

// Somebody who chose the line by mistake gets back.
TEST(CustomMenuTest, AnEmptyPathIsNoFile) {
    for (const char* line : {"20", "21"}) {
        const std::string got = shown(small_settings(), {line, ""});
        EXPECT_TRUE(got.ends_with("Path: \nNo path is given.\n" + menu(small_settings()))) << got;
    }
    EXPECT_FALSE(std::filesystem::exists(".cfg"));
}

TEST(CustomMenuTest, AFileThatIsRefusedChangesNothing) {
    TemporaryFolder folder;
    folder.write("ends.cfg", "{ Action : \"CustomCompute\" CustomCompute : {");
    folder.write("other.cfg", "{ Action : \"StressTest\" StressTest : {} }");
    folder.write("few.cfg", "{ Action : \"CustomCompute\" CustomCompute : {} }");
    folder.write("empty.cfg", "{}");
    folder.write("comma.cfg", "{\n  Action : 1,\n}");
    const std::pair<const char*, const char*> cases[] = {
        {"ends.cfg", "Unexpected end of stream."},
        {"other.cfg", "Invalid Action: StressTest"},
        {"few.cfg", "Constant"},
        {"none.cfg", "none.cfg"},
        // As people count lines, and in the reader's report behind that.
        {"ends.cfg", "ends.cfg\" ends too early: a quote, bracket or brace is not closed.\n"},
        {"comma.cfg", "comma.cfg\" is wrong in line 2.\nSee \"kalvor help config\".\n"},
        {"comma.cfg", "Line 1: "},
        {"other.cfg", "Action: the text \"StressTest\" stands there. Known: CustomCompute.\n"},
        {"empty.cfg", "Action is missing. Known: CustomCompute.\n"},
    };
    const std::string_view kQuestion =
        "Enter path of configuration file. (the .cfg extension can be omitted)\nPath: ";
    for (const auto& [file, text] : cases) {
        const std::string got = shown(small_settings(), {"20", folder.file(file)});
        EXPECT_NE(got.find(text, menu(small_settings()).size() + kQuestion.size()), std::string::npos) << got;
        EXPECT_TRUE(ends_with(got, menu(small_settings())));
    }
}

// A folder that is entered or stands in a file is only tried. Its run makes it; who leaves, or is refused,
// leaves nothing.
TEST(CustomMenuTest, TheFolderIsMadeByTheRunAlone) {
    TemporaryFolder folder;
    ComputeSettings settings = small_settings();
    settings.path = folder.file("loaded/deeper");
    FileIO::write_config_file(folder.file("it.cfg"), "CustomCompute", save_compute_settings(settings));
    // The second one needs more memory than a machine has.
    EXPECT_TRUE(ends_with(shown(small_settings(), {"20", folder.file("it")}), "\n\noption: "));
    shown(small_settings(), {"5", folder.file("entered/deeper")});
    shown(small_settings(10000000000000), {"5", folder.file("refused"), "0"});
    EXPECT_EQ(folder.files(), std::vector<std::string>{"it.cfg"});
    EXPECT_FALSE(folder.has("loaded") || folder.has("entered") || folder.has("refused"));
}

// The folder is looked at before anything is taken over.
TEST(CustomMenuTest, AFileWhoseFolderCannotBeMadeChangesNothing) {
    TemporaryFolder folder;
    folder.write("file", "x");
    ComputeSettings settings = small_settings(7777);
    settings.path = folder.file("file/below");
    FileIO::write_config_file(folder.file("it.cfg"), "CustomCompute", save_compute_settings(settings));
    const std::string got = shown(small_settings(), {"20", folder.file("it")});
    EXPECT_NE(got.find("Path is not writable."), std::string::npos) << got;
    EXPECT_TRUE(ends_with(got, menu(small_settings())));
}

// A constant that cannot be used leaves the one that was chosen before.
TEST(CustomMenuTest, AFormulaThatIsRefusedChangesNothing) {
    TemporaryFolder folder;
    folder.write("ends.cfg", "{ Bad ");
    folder.write(
        "unknown.cfg",
        "{ Constant : { NameShort : \"a\" NameLong : \"a\" AlgorithmShort : \"b\" AlgorithmLong : \"b\" "
        "Formula : {Bad : 2} } }");
    const std::pair<const char*, const char*> cases[] = {{"ends.cfg", "Unexpected end of stream."},
                                                         {"unknown.cfg", "Unknown function: Bad"},
                                                         {"none.cfg", "File not found."}};
    for (const auto& [file, text] : cases) {
        const std::string got = shown(small_settings(), {"1", "10", folder.file(file)});
        EXPECT_NE(got.find(text), std::string::npos) << got;
        EXPECT_TRUE(ends_with(got, menu(small_settings())));
    }
}

// Every constant has a line of its algorithms that can be chosen; one that cannot be planned still has a
// menu.
TEST(CustomMenuTest, TheAlgorithmsOfEveryConstant) {
    TemporaryFolder folder;
    folder.write(
        "f.cfg",
        "{ Constant : { NameShort : \"a\" NameLong : \"a\" AlgorithmShort : \"b\" AlgorithmLong : \"b\" "
        "Formula : {Sqrt : 2} } }");
    for (u64 row = 0; row < catalog_rows().size(); row++) {
        CaptureConsole console;
        console.type({"1", std::to_string(row)});
        if (row == 0 || row == 4 || row == 9) console.type({"3"});
        if (row == 10) console.type({folder.file("f.cfg")});
        console.type({"2", "0"});
        EXPECT_THROW(run_custom_menu(kalvor_test::authorized(), small_settings()), EndOfStreamException)
            << row;
        EXPECT_EQ(console.lines_left(), 0u) << row << console.text();
    }
    const std::string text = shown(small_settings(), {"1", "9", "50", "0"});
    EXPECT_NE(text.find(" 10     Logical Memory Needed:  Not Supported\n"), std::string::npos) << text;
    EXPECT_NE(text.find("50 is out of range."), std::string::npos) << text;
}

// Wherever the input ends, the question that nobody answers ends the menu.
TEST(CustomMenuTest, TheInputMayEndAnywhere) {
    const std::vector<std::string> session = {"1", "3", "3", "123", "4",  "1", "6", "3", "8", "1",
                                              "9", "2", "5", "0",   "10", "2", "0", "0", "2", "0"};
    for (std::size_t n = 0; n <= session.size(); n++) {
        CaptureConsole console;
        for (std::size_t i = 0; i < n; i++) console.type({session[i]});
        EXPECT_THROW(run_custom_menu(kalvor_test::authorized(), small_settings()), EndOfStreamException) << n;
        EXPECT_EQ(console.lines_left(), 0u) << n;
    }
}

// What a run refuses before it computes leads back to the menu, where another folder can be chosen.
TEST(CustomMenuTest, AStartThatIsRefusedChangesNothing) {
    TemporaryFolder folder;
    folder.write("Pi - Dec - Chudnovsky.txt", "3." + std::string(2000, '1'));
    ComputeSettings settings = small_settings();
    settings.path = folder.path() + "/";
    CaptureConsole console;
    console.type({"0", "5", folder.file("other"), "0"});
    EXPECT_TRUE(run_custom_menu(kalvor_test::authorized(), std::move(settings)));
    std::string text = console.take();
    const std::size_t refused = text.find("The digit file already there is longer");
    ASSERT_NE(refused, std::string::npos) << text;
    EXPECT_NE(text.find("Custom Compute a Constant", refused), std::string::npos) << text;
    EXPECT_TRUE(folder.has("other/Pi - Dec - Chudnovsky.txt"));
    text = shown(small_settings(1000000000000000), {"0"});
    EXPECT_NE(text.find("option: \nInsufficient Address Space\nThe run needs "), std::string::npos) << text;
    EXPECT_EQ(text.find("Terminating"), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with(menu(small_settings(1000000000000000)))) << text;
}

TEST(CustomMenuTest, StartRunsTheSettings) {
    TemporaryFolder folder;
    CaptureConsole console;
    console.type({"3", "1000", "5", folder.file("out"), "0"});
    EXPECT_TRUE(run_custom_menu(kalvor_test::authorized(), small_settings(500)));
    EXPECT_NE(console.text().find("Decimal Digits:       1,000\n"), std::string::npos) << console.text();
    EXPECT_EQ(folder.read("out/Pi - Dec - Chudnovsky.txt").substr(0, 12), "3.1415926535");
}

TEST(OutputBytesTest, AreThoseOfTheFiles) {
    ComputeSettings text = small_settings();
    EXPECT_EQ(output_bytes(text), 1002u);
    text.enable_hex = true;
    EXPECT_EQ(output_bytes(text), 1002u + 2 + text.size.hexadecimal_digits);
    text.output_enable = false;
    EXPECT_EQ(output_bytes(text), 0u);
    // A full file of a million digits has 195 bytes of header and 52,632 words.
    ComputeSettings one = small_settings(1000000);
    one.digits_per_file = -1;
    EXPECT_EQ(output_bytes(one), 421251u);
}

// A run's files, against what the menu said.
TEST(OutputBytesTest, OfASetOfFiles) {
    TemporaryFolder folder;
    constexpr i64 kSizes[] = {11000000 / kalvor_test::thinned(5), 11500000 / kalvor_test::thinned(5)};
    for (const i64 digits : kSizes) {
        ComputeSettings settings = small_settings(digits);
        settings.digits_per_file = 1000000;
        settings.enable_hex = true;
        settings.path = folder.file(std::to_string(digits));
        const u64 expected = output_bytes(settings);
        CaptureConsole console;
        console.type({"0"});
        ASSERT_TRUE(run_custom_menu(kalvor_test::authorized(), std::move(settings)));
        u64 bytes = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder.file(std::to_string(digits)))) {
            if (entry.path().extension() == ".kvd") bytes += entry.file_size();
        }
        EXPECT_EQ(bytes, expected) << digits;
    }
}

}  // namespace
}  // namespace kalvor
