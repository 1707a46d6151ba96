// Bad input and unwritable places: the text that names what is wrong, exit code 1, and nothing
// left that looks like a finished digit file.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_in;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

TEST(ErrorsTest, UnknownWordsAndOptions) {
    TemporaryFolder folder;
    const struct {
        std::vector<std::string> arguments;
        const char* text;
    } cases[] = {
        {{"fly"}, "\nInvalid Parameter: fly\n"},
        {{"fly:me:to"}, "\nInvalid Parameter: fly:me:to\n"},
        {{"digits"}, "\nInvalid Parameter: digits\n"},
        {{"Bench"}, "\nInvalid Parameter: Bench\n"},  // words are what they are, letter for letter
        {{"custom", "pi", "-speed:9"}, "\nInvalid Parameter: -speed:9\n"},
        {{"custom", "pi", "-dec:100", "extra"}, "\nInvalid Parameter: extra\n"},
        {{"custom", "tau"}, "Invalid Constant: tau"},
        {{"custom", ""}, "Invalid constant token."},
        {{"custom", "pi:5"},
         "\ncustom: \"pi:5\" cannot be used. Write \"custom pi\".\nSee \"kalvor help custom\".\n"},
        {{"custom", "pi:5"}, "The constant \"pi\" takes no argument: 5"},
        {{"custom", "pi", "-algorithm:4"}, "Invalid Algorithm: 4"},
        {{"custom", "pi", "-algorithm:fast"}, "Invalid Algorithm: fast"},
        {{"custom", "pi", "-TD:0"}, "Task decomposition must be between 1 and 65,536."},
        {{"custom", "pi", "-TD:65537"}, "Task decomposition must be between 1 and 65,536."},
        {{"custom", "pi", "-PF:openmp"}, "Invalid Parallel Framework: openmp"},
        {{"custom", "pi", "-MA:calloc"}, "Invalid Memory Allocator: calloc"},
        {{"custom", "pi", "-M:1GB"}, "Option -M is not supported for this mode."},
        {{"custom", "pi", "-minIO:1MB"}, "Option -minIO is not supported for this mode."},
        {{"custom", "pi", "-swap:disk"}, "Option -swap is not supported for this mode."},
        {{"custom", "pi", "-o"}, "Expected more parameters."},
        // What the user may have meant.
        {{"Costum", "pi"},
         "\"Costum\" is not an action. Known: custom, config, about, bench, stress, bbp, digitviewer, "
         "validate, help, "
         "version. "
         "Did you mean \"custom\"?"},
        {{"pi", "-dec:1m"}, "Did you mean \"custom pi\"?"},
        {{"-dec:1m"}, "Did you mean \"custom pi -dec:1m\"?"},
        {{"color:0", "about"}, "Did you mean \"colors:0\"?"},
        {{"custom", "Pi"}, "custom: \"Pi\" is not a constant. Did you mean \"pi\"? Known: sqrt, "},
        {{"custom", "-dec:100"}, "Did you mean \"custom pi -dec:100\"?"},
        {{"custom", "pi", "dec:100"}, "Did you mean \"-dec:100\"?"},
        {{"custom", "pi", "-dec=100"}, "Did you mean \"-dec:100\"?"},
        {{"custom", "pi", "-dec", "100"}, "-dec needs a value: -dec:<n>. Did you mean \"-dec:100\"?"},
        {{"custom", "pi", "-PF:spwn"},
         "-PF: \"spwn\" cannot be used. Known: none, cppasync, spawn, taskqueue, pushpool, winpool, cilk, "},
        {{"custom", "pi", "-PF:spwn"}, "Did you mean \"spawn\"?"},
        {{"custom", "pi", "-MA:maloc"}, "Did you mean \"malloc\"?"},
        {{"custom", "pi", "-algorithm:chudnowsky"}, "Did you mean \"chudnovsky\"?"},
        {{"custom", "pi", "pause:-2"}, "stands before the action: kalvor pause:-2 custom ..."},
        {{"colors:maybe", "about"}, "colors: \"maybe\" is not a switch. Write 1 or 0, on or off, "},
        {{"pause:soon", "about"}, "pause: \"soon\" is not a number."},
        {{"custom", "pi", "-threads:0"}, "-threads: \"0\" is below 1. Write a number from 1 to 65,536."},
        {{"custom", "pi", "-threads:65537"}, "The number of threads must be between 1 and 65,536."},
        {{"custom", "pi", "-threads:4", "-PF:none"}, "\"none\" runs on one thread, not on 4."},
        {{"config", "a", "-dec:5"}, "config: \"-dec:5\" stands behind the file."},
        {{"fl\x1b]0;y\x07"}, "\nInvalid Parameter: fl\\x1b]0;y\\x07\n"},
        {{std::string(20000, 'x')}, "... (20000 bytes)\" is not an action."},
        {{"custom", "pi", "-dec:" + std::string(20000, 'x')}, "... (20000 bytes)\" is not a number."},
        {{""}, "\"\" is not an action."},
    };
    for (const auto& c : cases) {
        const ProgramRun run = run_in(folder, c.arguments);
        EXPECT_EQ(run.exit_code, 1) << c.text;
        EXPECT_NE(run.err.find(c.text), std::string::npos) << "wanted: " << c.text << "\ngot: " << run.err;
        // The way out, and nothing of it on the standard output.
        EXPECT_NE(run.err.find("See \"kalvor help"), std::string::npos) << run.err;
        EXPECT_EQ(run.out.find("help"), std::string::npos) << run.out;
        EXPECT_TRUE(folder.files().empty()) << c.text;
    }
}

// Whatever the action, a refusal names the page that helps.
TEST(ErrorsTest, EveryActionShowsTheWayOut) {
    TemporaryFolder folder;
    const std::string digits = folder / "pi.txt";
    { std::ofstream(digits) << "3.1415926535897932384626433832795028841971693993751"; }
    const struct {
        std::vector<std::string> arguments;
        const char* page;
        const char* text = "";
    } cases[] = {
        {{"custom", "e", "-dec:1000", "-bbp:8"},
         "help custom",
         "\n-bbp: \"8\" cannot be used for \"e\". Digits are computed without those before them for Pi "
         "alone."},
        {{"custom", "e", "-dec:1000", "-bbp:8"}, "help custom", "Option -bbp is only for Pi"},
        {{"config"}, "help config"},
        {{"config", "missing"}, "help config"},
        {{"bench", "7"}, "help bench"},
        {{"bench", "25m", "-nosuch"}, "help bench"},
        {{"bench", "25m", "-threads:0"}, "help bench"},
        {{"stress", "nosuch"}, "help stress"},
        {{"stress", "-cores:x"}, "help stress", "-cores: \"x\" is not a list of cores."},
        {{"stress", "-cores:99999"}, "help stress", "-cores: \"99999\" is not a list of cores."},
        {{"stress", "-cores:0-65535"}, "help stress", "Invalid core #: "},
        {{"stress", "-M:1x"}, "help stress", "-M: \"1x\" is not a memory size."},
        {{"stress", "-M:0"}, "help stress", "-M: \"0\" is not an amount of memory."},
        {{"stress", "-pertest:x"}, "help stress"},
        {{"stress", "-stop:maybe"}, "help stress"},
        {{"stress", "-save", ""}, "help stress", "-save needs a path."},
        {{"bbp", "1b"}, "help bbp"},
        {{"bbp", "-offset"}, "help bbp"},
        {{"bbp", "-formula:2"}, "help bbp", "-formula: 2 is too large. Write a number from 0 to 1."},
        {{"bbp", "-digits:1048577"}, "help bbp", "-digits: 1,048,577 is too large."},
        {{"bbp", "-modes:ABD"}, "help bbp", "-modes: \"ABD\" names a mode that does not exist."},
        {{"bbp", "-offset:900000t", "-digits:8", "-modes:A"}, "help bbp", "Cannot Start: "},
        {{"digitviewer", "missing.txt"}, "help"},
        {{"digitviewer", digits, "nosuch"}, "help digitviewer"},
        {{"digitviewer", digits, "view", "-start:0"}, "help digitviewer"},
        {{"digitviewer", digits, "view", "-start:1000"},
         "help digitviewer",
         "-start: 1,000 is out of range."},
        {{"digitviewer", digits, "view", "-end:9", "-digits:9"}, "help digitviewer", "say the same thing"},
        {{"digitviewer", digits, "view", "-to", "x"},
         "help digitviewer",
         "-to is not an option of \"view\"."},
        {{"digitviewer", digits, "extract"}, "help digitviewer", "-to is missing"},
        {{"digitviewer", digits, "compress"}, "help digitviewer", "Too few digits to compress."},
        {{"digitviewer", digits, "partial", "-ids:x"}, "help digitviewer", "-ids: \"x\" is not a range."},
        {{"digitviewer", digits, "partial", "-ids:4-3"}, "help digitviewer", "ends before it begins."},
        {{"validate", "missing"}, "help"},
        {{"benchio"}, "help"},
        {{"slave"}, "help"},
        {{"help", "nosuch"}, "help"},
    };
    for (const auto& [arguments, page, text] : cases) {
        const ProgramRun run = run_in(folder, arguments);
        std::string words;
        for (const std::string& argument : arguments) words += argument + ' ';
        EXPECT_EQ(run.exit_code, 1) << words;
        EXPECT_NE(run.err.find(std::string("See \"kalvor ") + page), std::string::npos) << words << run.err;
        EXPECT_NE(run.err.find(text), std::string::npos) << words << run.err;
    }
    EXPECT_EQ(folder.files(), std::vector<std::string>{"pi.txt"});
}

// None of these may begin a computation, let alone one of 100 digits that replaces a good file.
TEST(ErrorsTest, WhatIsNoNumberOrSwitchIsRefused) {
    TemporaryFolder folder;
    const std::string good = folder / "Pi - Dec - Chudnovsky.txt";
    { std::ofstream(good) << "3.14"; }
    for (const char* value : {"1x", "abc", "-5m", "1,00", "1.5", "1 m", "1e-3", "", " ", "\xc3\xa9"}) {
        const ProgramRun run = run_in(folder, {"custom", "pi", std::string("-dec:") + value});
        EXPECT_EQ(run.exit_code, 1) << value;
        EXPECT_EQ(run.err.rfind("\n-dec", 0), 0u) << run.err;
        EXPECT_TRUE(run.has("Write 1000000, 1m or 1,000,000.")) << run.err;
        EXPECT_FALSE(run.has("Decimal Digits:")) << value;
    }
    EXPECT_EQ(
        run_in(folder, {"custom", "pi", "-dec:1x"}).err,
        "\n-dec: \"1x\" is not a number. Write 1000000, 1m or 1,000,000.\nSee \"kalvor help custom\".\n");
    EXPECT_EQ(run_in(folder, {"custom", "pi", "-dec"}).exit_code, 1);
    for (const char* option : {"-hex:x", "-od:maybe", "-verify:", "-TD:x", "-C:x", "-threads:two"}) {
        const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100", option});
        EXPECT_EQ(run.exit_code, 1) << option;
        EXPECT_FALSE(run.has("Decimal Digits:")) << option;
    }
    EXPECT_EQ(kalvor_test::read_file(good), "3.14");
}

TEST(ErrorsTest, NumbersAndSwitchesAsPeopleWriteThem) {
    for (const char* value : {"1500", "1,500", "1_500", "1.5k", "1.5e3", "0.0015m"}) {
        TemporaryFolder folder;
        const ProgramRun run =
            run_in(folder, {"custom", "pi", std::string("-dec:") + value, "-hex", "-verify:no", "-o:out"});
        EXPECT_EQ(run.exit_code, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.value("Decimal Digits:"), "1,500") << value;
        EXPECT_EQ(kalvor_test::read_file(folder / "out/Pi - Dec - Chudnovsky.txt").size(), 1502u);
        EXPECT_TRUE(std::filesystem::exists(folder / "out/Pi - Hex - Chudnovsky.txt"));
        EXPECT_FALSE(run.has("No -dec is given"));
    }
}

TEST(ErrorsTest, TheNextWordIsTheFolderWhateverItIs) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100", "-o", "-hex"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(
        run.has("Warning: -o takes the next word whatever it is: the digits go into the folder \"-hex\".\n"))
        << run.out;
    EXPECT_TRUE(std::filesystem::exists(folder / "-hex/Pi - Dec - Chudnovsky.txt"));
    EXPECT_EQ(run.value("Hexadecimal Digits:"), "Disabled");
    EXPECT_FALSE(run_in(folder, {"custom", "pi", "-dec:100", "-o", "-other"}).has("Warning: -o"));
}

// Known words, answered as the menus answer.
TEST(ErrorsTest, ActionsThatThisVersionDoesNotHave) {
    TemporaryFolder folder;
    const struct {
        std::vector<std::string> arguments;
        const char* what;
    } cases[] = {
        {{"benchio", "-swap:disk-raid0"}, "The I/O Performance Analysis"},
        {{"slave:0"}, "Slave mode"},
    };
    for (const auto& c : cases) {
        const ProgramRun run = run_in(folder, c.arguments);
        EXPECT_EQ(run.exit_code, 1) << c.what;
        EXPECT_EQ(run.err,
                  std::string("\n") + c.what + " is not available in this version.\nSee \"kalvor help\".\n");
        EXPECT_FALSE(run.has("Exception") || run.has("Invalid")) << run.out;
    }
}

// Planned at once, whatever the size.
TEST(ErrorsTest, SizeBeyondTheAddressSpaceIsRefusedWhenMemoryIsPlanned) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:1000000000000000"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(
        run.err.ends_with("\nInsufficient Address Space\nFatal error encountered. Terminating "
                          "program.\n"))
        << run.err;
    EXPECT_NE(run.err.find("The run needs 5.4"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(" digits. Choose fewer digits.\nSee \"kalvor help custom\".\n"), std::string::npos)
        << run.err;
    EXPECT_FALSE(run.has("Working Memory:")) << run.out;
    EXPECT_TRUE(folder.files().empty());
}

// Also without -o, where the digits went is said with the folder's name.
TEST(ErrorsTest, TheResultHasTheWholePath) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100"});
    const std::string label = "Written:    ", end = "Pi - Dec - Chudnovsky.txt  (102 bytes)\n";
    const size_t at = run.out.find(label);
    ASSERT_NE(at, std::string::npos) << run.out;
    const std::string line =
        run.out.substr(at + label.size(), run.out.find('\n', at) + 1 - at - label.size());
    EXPECT_TRUE(line.ends_with(end)) << line;
    EXPECT_TRUE(std::filesystem::path(line).is_absolute()) << line;
}

TEST(ErrorsTest, UnwritablePath) {
    TemporaryFolder folder;
    // A file stands where the folder should be.
    const std::string blocker = folder / "file";
    { std::ofstream(blocker) << "x"; }
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100", "-o", "file/out"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_NE(
        run.err.find(
            "file\" is a file where a folder should be. Choose a folder that you may write to (-o <folder>, "
            "or \"Path\" in a settings file).\n"),
        std::string::npos)
        << run.err;
    EXPECT_TRUE(run.has("Path is not writable.")) << run.out;
    EXPECT_TRUE(run.has("file/out")) << run.out;
    EXPECT_EQ(folder.files(), std::vector<std::string>{"file"});
}

TEST(ErrorsTest, UnknownInstructionSetStopsTheProgram) {
    TemporaryFolder folder;
    RunOptions options;
    options.environment = {"KALVOR_ISA=mmx"};
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100"}, options);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err.find("\nKALVOR_ISA: \"mmx\" is not an instruction-set level. Accepted here: "), 0U)
        << run.err;
    EXPECT_NE(run.err.find("\nSee \"kalvor help\".\n"), std::string::npos) << run.err;
    // Before anything else.
    EXPECT_FALSE(run.has("Decimal Digits:")) << run.out;
    EXPECT_EQ(run_in(folder, {"about"}, options).exit_code, 1);
    EXPECT_EQ(run_in(folder, {"help"}, options).exit_code, 0);
    EXPECT_TRUE(folder.files().empty());
}

TEST(ErrorsTest, DigitCountsOutsideTheBoundsAreClampedAndRun) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:7"});
    EXPECT_EQ(run.exit_code, 0) << run.out;
    EXPECT_TRUE(
        run.has("Warning: Precision below minimum. Adjusting to minimum. That is 100 decimal digits.\n"))
        << run.out;
    EXPECT_EQ(run.value("Decimal Digits:"), "100");
    EXPECT_EQ(kalvor_test::read_file(folder / "Pi - Dec - Chudnovsky.txt").size(), 102U);
}

TEST(ErrorsTest, TooFewDigitsToCompressAreWrittenAsText) {
    const char* const warning = "Warning: Digits per file below minimum: Disabling compression.\n";
    const std::vector<std::string> cases[] = {
        {"custom", "pi", "-dec:1000", "-C:1m"},
        {"custom", "pi", "-compress:1m", "-dec:1000"},
        {"custom", "pi", "-dec:1000", "-C:999999"},
        {"custom", "pi", "-dec:1000", "-C:-1"},
        {"custom", "pi", "-hex:1", "-dec:1100000", "-C:1m"},  // fewer than a million hexadecimal digits
    };
    for (const auto& arguments : cases) {
        TemporaryFolder folder;
        const ProgramRun run = run_in(folder, arguments);
        EXPECT_EQ(run.exit_code, 0) << run.out;
        EXPECT_TRUE(run.has(warning)) << run.out;
        EXPECT_TRUE(std::filesystem::exists(folder / "Pi - Dec - Chudnovsky.txt"));
    }
    TemporaryFolder folder;
    EXPECT_FALSE(run_in(folder, {"custom", "pi", "-dec:1000", "-C:0"}).has("Warning: Digits per file"));
}

}  // namespace
