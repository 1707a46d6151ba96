// "kalvor config": what a settings file describes is run; what is wrong with it is said.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_kalvor;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

class ConfigTest : public testing::Test {
  protected:
    void write(const std::string& name, const std::string& text) {
        std::filesystem::create_directories(std::filesystem::path(folder_ / name).parent_path());
        std::ofstream(folder_ / name, std::ios::binary) << text;
    }
    ProgramRun run(const std::vector<std::string>& arguments) {
        RunOptions options;
        options.folder = folder_.path();
        std::vector<std::string> all = {"pause:-2", "skip-warnings", "config"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return run_kalvor(all, options);
    }
    // Runs a file with this text and returns what was printed from the first report on.
    std::string said(const std::string& text) {
        write("said.cfg", text);
        const ProgramRun out = run({"said.cfg"});
        EXPECT_EQ(out.exit_code, 1) << out.out;
        const std::size_t at = out.err.find("\n\nException Encountered: ");
        return at == std::string::npos ? out.err : out.err.substr(at);
    }

    TemporaryFolder folder_;
};

std::string report(const std::string& type, const std::string& message) {
    return "\n\nException Encountered: " + type + "\n\n" + message + "\n\n\n";
}

// The settings of a small run; `from` is replaced by `to`.
std::string settings(const std::string& from = "", const std::string& to = "") {
    std::string text =
        "{\r\n"
        "    Action : \"CustomCompute\"\r\n"
        "    CustomCompute : {\r\n"
        "        Constant : {\r\n"
        "            Constant : \"pi\"\r\n"
        "            Algorithm : \"ramanujan\"\r\n"
        "        }\r\n"
        "        ComputeSize : {\r\n"
        "            DecimalDigits : 1000\r\n"
        "            EnableHexDigits : \"false\"\r\n"
        "        }\r\n"
        "        Output : {\r\n"
        "            Path : \"digits\"\r\n"
        "            OutputEnable : \"true\"\r\n"
        "            DigitsPerFile : 0\r\n"
        "        }\r\n"
        "        OutputVerify : \"true\"\r\n"
        "        Mode : \"ram\"\r\n"
        "        Parallelism : {\r\n"
        "            TaskDecomposition : 4\r\n"
        "            Framework : \"spawn\"\r\n"
        "            MaxSequentialDispatch : 64\r\n"
        "        }\r\n"
        "        Allocator : {\r\n"
        "            Allocator : \"mmap\"\r\n"
        "            LargePages : \"disabled\"\r\n"
        "            LockedPages : \"disabled\"\r\n"
        "        }\r\n"
        "    }\r\n"
        "}\r\n";
    if (!from.empty()) {
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        if (at != std::string::npos) text.replace(at, from.size(), to);
    }
    return text;
}

}  // namespace

TEST_F(ConfigTest, RunsTheComputation) {
    write("small.cfg",
          "\xef\xbb\xbf"
          "//  A comment\r\n\r\n" +
              settings());
    for (const char* name : {"small", "small.cfg", "./small.cfg"}) {
        std::filesystem::remove_all(folder_ / "digits");
        const ProgramRun out = run({name});
        EXPECT_EQ(out.exit_code, 0) << out.out;
        EXPECT_EQ(out.value("Algorithm:"), "Ramanujan (1910)");
        EXPECT_EQ(out.value("Decimal Digits:"), "1,000");
        const std::string digits = kalvor_test::read_file(folder_ / "digits/Pi - Dec - Ramanujan.txt");
        EXPECT_EQ(digits.size(), 1002u);
        EXPECT_EQ(digits.substr(0, 12), "3.1415926535");
        EXPECT_EQ(digits.substr(992), "2164201989");
    }
}

TEST_F(ConfigTest, OtherFrameworksAndAllocators) {
    write("a.cfg", settings("            Framework : \"spawn\"\r\n            MaxSequentialDispatch : 64\r\n",
                            "            Framework : \"none\"\r\n"));
    EXPECT_EQ(run({"a"}).exit_code, 0);
    write("b.cfg", settings("            Allocator : \"mmap\"\r\n            LargePages : \"disabled\"\r\n"
                            "            LockedPages : \"disabled\"\r\n",
                            "            Allocator : \"malloc\"\r\n"));
    EXPECT_EQ(run({"b"}).exit_code, 0);
    // What belongs to swap mode may stand there.
    write("c.cfg", settings("        Mode :", "        Memory : {} Checkpointing : 5\r\n        Mode :"));
    EXPECT_EQ(run({"c"}).exit_code, 0);
    write("d.cfg", settings("Path : \"digits\"", "Path : \"\""));
    EXPECT_EQ(run({"d"}).exit_code, 0);
    EXPECT_TRUE(std::filesystem::exists(folder_ / "Pi - Dec - Ramanujan.txt"));
}

TEST_F(ConfigTest, CorrectsSizesWithAWarning) {
    write("a.cfg", settings("DecimalDigits : 1000", "DecimalDigits : -5"));
    ProgramRun out = run({"a"});
    EXPECT_TRUE(
        out.has("Warning: Precision below minimum. Adjusting to minimum. That is 100 decimal digits.\n"))
        << out.out;
    EXPECT_EQ(out.value("Decimal Digits:"), "100");
    write("b.cfg", settings("DigitsPerFile : 0", "DigitsPerFile : 999999"));
    out = run({"b"});
    EXPECT_EQ(out.exit_code, 0);
    EXPECT_TRUE(out.has("Warning: Digits per file below minimum: Disabling compression.\n")) << out.out;
    EXPECT_TRUE(std::filesystem::exists(folder_ / "digits/Pi - Dec - Ramanujan.txt"));
}

TEST_F(ConfigTest, FilesThatCannotBeUsed) {
    ProgramRun out = run({});
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_TRUE(out.has("\n\nException Encountered: InvalidParametersException\n")) << out.out;
    EXPECT_TRUE(out.has("\n\nPlease specify a config file.\n\n\n")) << out.out;

    out = run({"missing"});
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_TRUE(out.has("Exception Encountered: FileException\n")) << out.out;
    EXPECT_TRUE(out.has("\nPath:   missing.cfg\n\nUnable to open file.\n\nPath does not exist.\n"))
        << out.out;
    EXPECT_EQ(out.err.find("\"kalvor help config\".\n"), out.err.find("\"kalvor help")) << out.err;
    // A dot anywhere, and the path is taken as it is.
    EXPECT_TRUE(run({"./missing"}).has("\nPath:   ./missing\n"));
    EXPECT_TRUE(run({"v0.1/missing"}).has("\nPath:   v0.1/missing\n"));
    EXPECT_TRUE(
        run({"C:/temp/missing"}).has("\nPath:   C:/temp/missing.cfg\n"));  // colons are nothing special

    write("a.cfg", "{\r\n    Action : \"x\",\r\n}");
    EXPECT_TRUE(run({"a"}).has("\n\nLine 1: Invalid character in identifier.\n\n\n"));
    write("a.cfg", "{ Action : \"x\"");
    EXPECT_TRUE(run({"a"}).has("\n\nUnexpected end of stream.\n\n\n"));
    write("a.cfg", "[1 2]");
    EXPECT_EQ(said("[1 2]"), report("ParseException", "Expected Object, got Array."));
    EXPECT_EQ(said("{}"), report("KeyNotFoundException", "Action"));
    EXPECT_EQ(said("{Action : 5 }"), report("ParseException", "Expected String, got Integer."));
    const std::string unknown = said("{Action : \"Fly\"}");
    EXPECT_NE(unknown.find("\n\nInvalid Action: Fly\n\n\n"), std::string::npos) << unknown;
}

TEST_F(ConfigTest, RejectedSettingsAreReportedBeforeTheRefusal) {
    write("blocker", "a file where a folder should be");
    const struct {
        std::string text, type, message;
    } cases[] = {
        {"{Action : \"CustomCompute\"}", "KeyNotFoundException", "CustomCompute"},
        {"{Action : \"CustomCompute\" CustomCompute : []}", "ParseException", "Expected Object, got Array."},
        {settings("        Mode :", "        Extra : 1\r\n        Mode :"), "InvalidParametersException",
         "Invalid Key: Extra"},
        {settings("        OutputVerify : \"true\"\r\n", ""), "KeyNotFoundException", "OutputVerify"},
        {settings("OutputVerify : \"true\"", "OutputVerify : \"yes\""), "ParseException",
         "Expected true or false."},
        {settings("OutputVerify : \"true\"", "OutputVerify : 1"), "ParseException",
         "Custom Compute: Expected String, got Integer."},
        {settings("Algorithm : \"ramanujan\"", "Algorithm : []"), "ParseException",
         "Custom Compute: Expected String, got Array."},
        {settings("Algorithm : \"ramanujan\"", "Algorithm : 4"), "InvalidParametersException",
         "Invalid Algorithm: 4"},
        {settings("\"pi\"", "\"tau\""), "InvalidParametersException", "Invalid Constant: tau"},
        {settings("\"pi\"", "\"\""), "InvalidParametersException", "Invalid constant token."},
        {settings("\"ramanujan\"", "\"guess\""), "InvalidParametersException", "Invalid Algorithm: guess"},
        {settings("DecimalDigits : 1000", "DecimalDigits : \"1k\""), "ParseException",
         "Computation Size: Expected Integer, got String."},
        {settings("Path : \"digits\"", "Path : 1"), "ParseException",
         "Output Format: Expected String, got Integer."},
        {settings("\"ram\"", "\"disk\""), "InvalidParametersException", "Invalid Mode: disk"},
        {settings("TaskDecomposition : 4", "TaskDecomposition : 0"), "InvalidParametersException",
         "Task decomposition must be between 1 and 65,536."},
        {settings("TaskDecomposition : 4", "TaskDecomposition : 65537"), "InvalidParametersException",
         "Task decomposition must be between 1 and 65,536."},
        {settings("TaskDecomposition : 4", "TaskDecomposition : []"), "ParseException",
         "Parallel Framework: Expected Integer, got Array."},
        {settings("\"spawn\"", "\"openmp\""), "InvalidParametersException",
         "Invalid Parallel Framework: openmp"},
        {settings("LargePages : \"disabled\"", "LargePages : {}"), "ParseException",
         "Expected String, got Object."},
        {settings("\"mmap\"", "\"calloc\""), "InvalidParametersException",
         "Invalid Memory Allocator: calloc"},
        {settings("LargePages : \"disabled\"", "LargePages : \"maybe\""), "InvalidParametersException",
         "Invalid Mode: maybe"},
        {settings("Path : \"digits\"", "Path : \"blocker/digits\""), "FileException",
         "Path is not writable."},
    };
    for (const auto& c : cases) {
        const std::string out = said(c.text);
        const std::size_t first = out.find("Exception Encountered: " + c.type + "\n");
        const std::size_t text = out.find("\n\n" + c.message + "\n\n\n");
        const std::size_t second = out.find("Exception Encountered: InvalidParametersException\n",
                                            text == std::string::npos ? 0 : text);
        const std::size_t refusal = out.find("\n\nCannot run computation with these parameters.\n\n\n");
        EXPECT_EQ(first, 2u) << c.message << "\n" << out;
        EXPECT_LT(first, text) << c.message << "\n" << out;
        EXPECT_LT(text, second) << c.message << "\n" << out;
        EXPECT_LT(second, refusal) << c.message << "\n" << out;
        EXPECT_NE(refusal, std::string::npos) << c.message << "\n" << out;
        EXPECT_FALSE(std::filesystem::exists(folder_ / "digits/Pi - Dec - Ramanujan.txt"));
    }
}

// Known, but not in this version: what is wrong is reported, then the action's own refusal.
TEST_F(ConfigTest, ActionsThatThisVersionDoesNotHave) {
    const struct {
        std::string text, type, message, refusal;
    } faulty[] = {
        {"{Action : \"BenchIO\"}", "KeyNotFoundException", "BenchIO",
         "Cannot run benchmark with these parameters."},
        {"{Action : \"BenchIO\" BenchIO : []}", "ParseException", "Expected Object, got Array.",
         "Cannot run benchmark with these parameters."},
    };
    for (const auto& c : faulty) {
        const std::string out = said(c.text);
        const std::size_t first = out.find("Exception Encountered: " + c.type + "\n");
        const std::size_t text = out.find("\n\n" + c.message + "\n\n\n");
        const std::size_t refusal = out.find("\n\n" + c.refusal + "\n\n\n");
        EXPECT_EQ(first, 2u) << out;
        EXPECT_LT(first, text) << out;
        EXPECT_LT(text, refusal) << out;
        EXPECT_NE(refusal, std::string::npos) << out;
    }
    const struct {
        const char *text, *what, *refusal;
    } sound[] = {
        {"{Action : \"BenchIO\" BenchIO : {}}", "The I/O Performance Analysis",
         "Cannot run benchmark with these parameters."},
    };
    for (const auto& c : sound) {
        write("sound.cfg", c.text);
        const ProgramRun out = run({"sound"});
        EXPECT_EQ(out.exit_code, 1);
        EXPECT_TRUE(out.has("\n" + std::string(c.what) +
                            " is not available in this version.\n\n\n"
                            "Exception Encountered: InvalidParametersException\n\n"
                            "In Function: run_config()\n\n" +
                            c.refusal + "\n\n\n"))
            << out.out;
    }
}

// A sentence for people before the report: the member, what stands there, what belongs there.
TEST_F(ConfigTest, WhatIsWrongIsToldByItsMember) {
    const auto sentence = [&](const std::string& text) {
        write("said.cfg", text);
        const ProgramRun out = run({"said.cfg"});
        EXPECT_EQ(out.exit_code, 1);
        return out.err.substr(1, out.err.find("\n\nException") - 1);
    };
    const std::string see = "\nSee \"kalvor help config\".\n";
    const std::pair<std::string, std::string> cases[] = {
        {settings("OutputVerify : \"true\"", "OutputVerify : \"yes\""),
         "CustomCompute.OutputVerify: the text \"yes\" stands there. \"true\" or \"false\" belongs there, "
         "with the "
         "quotes."},
        {settings("DecimalDigits : 1000", "DecimalDigits : \"1k\""),
         "CustomCompute.ComputeSize.DecimalDigits: the text \"1k\" stands there. A number without quotes "
         "belongs "
         "there."},
        {settings("Path : \"digits\"", "Path : 1"),
         "CustomCompute.Output.Path: the number 1 stands there. A text in quotes belongs there."},
        {settings("        OutputVerify : \"true\"\r\n", ""), "CustomCompute.OutputVerify is missing."},
        {settings("        Mode :", "        Extra : 1\r\n        Mode :"),
         "There is no setting CustomCompute.Extra."},
        {settings("\"ramanujan\"", "\"ramanujam\""),
         "CustomCompute.Constant.Algorithm: the text \"ramanujam\" stands there. Did you mean \"ramanujan\"? "
         "Known: "
         "chudnovsky, ramanujan, chudnovsky-reduced, ramanujan-reduced."},
        {settings("\"spawn\"", "\"spwan\"").c_str(),
         "CustomCompute.Parallelism.Framework: the text \"spwan\" stands there. Did you mean \"spawn\"? "
         "Known: none, "
         "cppasync, spawn, taskqueue, pushpool, winpool, cilk, tbb."},
        {settings("MaxSequentialDispatch : 64", "MaxSequentialDispatch : []"),
         "CustomCompute.Parallelism.MaxSequentialDispatch: a list stands there. A number without quotes "
         "belongs "
         "there."},
        {settings("\"ram\"", "\"\x1b]0;x\x07\""),
         "CustomCompute.Mode: the text \"\\x1b]0;x\\x07\" stands there. Known: ram."},
        {"{}", "Action is missing. Known: CustomCompute, StressTest."},
        {"{Action : \"CustomComputer\"}",
         "Action: the text \"CustomComputer\" stands there. Did you mean \"CustomCompute\"? Known: "
         "CustomCompute, StressTest."},
        {"{Action : \"CustomCompute\"}", "CustomCompute is missing."},
        {"{\n  Action : 1,\n}", "The settings file \"said.cfg\" is wrong in line 2."},
        {"{ Action : \"x",
         "The settings file \"said.cfg\" ends too early: a quote, bracket or brace is not closed."},
    };
    for (const auto& [text, words] : cases) EXPECT_EQ(sentence(text), words + see);
    // A value of megabytes fills no screen.
    EXPECT_LT(sentence(settings("\"ram\"", '"' + std::string(1 << 20, 'x') + '"')).size(), 400u);
    EXPECT_LT(run({"said.cfg"}).err.size(), 6000u);
}

TEST_F(ConfigTest, AnAlgorithmByItsNumber) {
    write("a.cfg", settings("Algorithm : \"ramanujan\"", "Algorithm : 1"));
    const ProgramRun out = run({"a"});
    EXPECT_EQ(out.exit_code, 0) << out.err;
    EXPECT_EQ(out.value("Algorithm:"), "Ramanujan (1910)");
}

TEST_F(ConfigTest, ConstantsWithOneSeriesOrAnother) {
    const std::string pi = "            Constant : \"pi\"\r\n            Algorithm : \"ramanujan\"\r\n";
    const auto chosen = [](const std::string& token, const std::string& algorithm) {
        return "            Constant : \"" + token + "\"\r\n            Algorithm : " + algorithm + "\r\n";
    };
    const struct {
        const char *token, *algorithm, *file, *begin;
    } cases[] = {
        {"zeta3", "\"wedeniwski\"", "Zeta(3) - Dec - Wedeniwski.txt", "1.2020569031"},
        {"zeta(3)", "\"1\"", "Zeta(3) - Dec - Amdeberhan-Zeilberger (1997).txt", "1.2020569031"},
        {"catalan", "\"pilehrood-long\"", "Catalan - Dec - Pilehrood (long).txt", "0.9159655941"},
        {"catalan", "4", "Catalan - Dec - Lupas.txt", "0.9159655941"},
        {"catalan", "5", "Catalan - Dec - Huvent.txt", "0.9159655941"},
    };
    for (const auto& [token, algorithm, file, begin] : cases) {
        write("a.cfg", settings(pi, chosen(token, algorithm)));
        const ProgramRun out = run({"a"});
        EXPECT_EQ(out.exit_code, 0) << out.out;
        const std::string digits = kalvor_test::read_file(folder_ / (std::string("digits/") + file));
        EXPECT_EQ(digits.size(), 1002u) << file;
        EXPECT_EQ(digits.substr(0, 12), begin);
    }
    EXPECT_NE(said(settings(pi, chosen("zeta3", "\"2\""))).find("Invalid Algorithm: 2"), std::string::npos);
}

// A command line's settings, saved and run from their file, give the digits of the constant by the algorithm
// that was chosen.
TEST_F(ConfigTest, EveryOtherConstantIsSavedAndRun) {
    const struct {
        const char *word, *algorithm, *object, *file, *begin;
    } cases[] = {
        {"sqrt:2", "newton", "Constant : \"sqrt\"\r\n            Argument : 2\r\n",
         "Square Root of 2 - Dec - Newton's Method.txt", "1.4142135623"},
        {"phi", "0", "Constant : \"goldenratio\"\r\n", "Golden Ratio - Dec - Newton's Method.txt",
         "1.6180339887"},
        {"e", "exp(-1)", "Constant : \"e\"\r\n", "e - Dec - exp(-1).txt", "2.7182818284"},
        {"log:10", "machin-secondary", "Constant : \"log\"\r\n            Argument : 10\r\n",
         "Log(10) - Dec - Machin (secondary).txt", "2.3025850929"},
        {"lemniscate", "gauss", "Constant : \"lemniscate\"\r\n", "Lemniscate - Dec - Gauss.txt",
         "5.2441151085"},
        {"gamma", "1", "Constant : \"gamma\"\r\n", "Euler's Constant - Dec - Brent-McMillan.txt",
         "0.5772156649"},
        {"brent:11", "brent-refined", "Constant : \"brent\"\r\n            Argument : 11\r\n",
         "Euler's Constant - Dec - Brent-McMillan (refined).txt", "0.5772156649"},
    };
    for (const auto& [word, algorithm, object, file, begin] : cases) {
        RunOptions options;
        options.folder = folder_.path();
        const ProgramRun saved =
            run_kalvor({"pause:-2", "skip-warnings", "custom", word, "-dec:1000",
                        std::string("-algorithm:") + algorithm, "-o", "digits", "-save", "a"},
                       options);
        EXPECT_EQ(saved.exit_code, 0) << word << saved.out << saved.err;
        const std::string text = kalvor_test::read_file(folder_ / "a.cfg");
        EXPECT_NE(text.find(object), std::string::npos) << text;
        const ProgramRun out = run({"a"});
        EXPECT_EQ(out.exit_code, 0) << out.out << out.err;
        const std::string digits = kalvor_test::read_file(folder_ / (std::string("digits/") + file));
        EXPECT_EQ(digits.size(), 1002u) << file;
        EXPECT_EQ(digits.substr(0, 12), begin);
    }
}

TEST_F(ConfigTest, RefusedSettingsLeaveNoFolders) {
    for (const std::string& text :
         {settings("\"ram\"", "\"rom\""), settings("\"spawn\"", "\"spwan\""), settings("\"mmap\"", "\"map\""),
          settings("LargePages : \"disabled\"", "LargePages : \"maybe\""),
          // A run that is refused: more memory than the machines that run tests have.
          settings("DecimalDigits : 1000\r", "DecimalDigits : 10000000000000\r")}) {
        write("a.cfg", text);
        EXPECT_EQ(run({"a"}).exit_code, 1);
        EXPECT_FALSE(std::filesystem::exists(folder_ / "digits")) << text;
    }
}

// The sample of the documentation does what its comments say.
TEST_F(ConfigTest, TheSampleFileRuns) {
    write("sample.cfg", kalvor_test::read_file(KALVOR_SOURCE_FOLDER "/docs/sample.cfg"));
    const ProgramRun out = run({"sample.cfg"});
    EXPECT_EQ(out.exit_code, 0) << out.err;
    EXPECT_EQ(out.err, "");
    EXPECT_EQ(out.value("Decimal Digits:"), "1,000,000");
    EXPECT_EQ(kalvor_test::read_file(folder_ / "digits/Pi - Dec - Chudnovsky.txt").size(), 1000002u);
}
