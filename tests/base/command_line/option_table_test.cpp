#include "base/command_line/option_table.h"

#include <gtest/gtest.h>

using namespace trel;
using namespace trel::CommandLine;

namespace {

struct Settings {
    i64 count = -1;
    int on = -1;
    int many = -1;
    std::string word, folder;
};

const OptionTable<Settings>& table() {
    static const OptionTable<Settings> rows = {
        {{"-count", ":<n>", "how many", "Write 5."},
         CountValue<Settings>{1, [](Settings& s, i64 n) { s.count = n; }}},
        {{"-on", ":<switch>", "on or off", ""},
         SwitchValue<Settings>{[](Settings& s, bool on) { s.on = on; }}},
        {{"-many", ":<n>", "all or none", "Write 0 or 1."},
         CountOrSwitchValue<Settings>{[](Settings& s, bool on) { s.many = on; }}},
        {{"-word", ":<name>", "a name", ""},
         WordValue<Settings>{[](Settings& s, const std::string& word) {
             if (word != "red" && word != "green") throw std::string("no such colour");
             s.word = word;
         }},
         [](const Settings&) {
             return std::vector<std::string>{"red", "green"};
         }},
        {{"-o", " <folder>", "where to", ""},
         NextWordValue<Settings>{[](Settings& s, const std::string& folder) { s.folder = folder; }}},
        {{"-secret", ":<n>", "", ""}, CountValue<Settings>{0, [](Settings&, i64) {}}},
    };
    return rows;
}

// Reads the words as options and returns what was said; "!" stands for an exception of the handler.
std::string read(Settings& settings, std::vector<std::string> words) {
    words.insert(words.begin(), "kalvor");
    ParameterList parameters(words);
    std::string said;
    try {
        while (parameters.has_more()) {
            const auto* row = find_option(table(), parameters.current().first);
            if (!row) return "unknown";
            read_option(*row, settings, parameters, "help test",
                        [&](const std::string& text) { said += text; });
            parameters.advance();
        }
    } catch (const RefusedException& e) {
        return e.what();
    } catch (const CommandLineException& e) {
        return said + "!" + e.what();
    } catch (const std::string& e) {
        return said + "!" + e;
    }
    return said;
}

std::string refusal(std::vector<std::string> words) {
    Settings settings;
    return read(settings, std::move(words));
}

}  // namespace

TEST(OptionTableTest, ReadsEveryKindOfValue) {
    Settings s;
    EXPECT_EQ(read(s, {"-count:1.5k", "-on", "-word:red", "-o", "-on:0"}), "");
    EXPECT_EQ(s.count, 1500);
    EXPECT_EQ(s.on, 1);
    EXPECT_EQ(s.word, "red");
    EXPECT_EQ(s.folder, "-on:0");  // whatever it is
    EXPECT_EQ(read(s, {"-o:C:/a b", "-on:off"}), "");
    EXPECT_EQ(s.folder, "C:/a b");
    EXPECT_EQ(s.on, 0);
    EXPECT_EQ(read(s, {"-o", ""}), "");
    EXPECT_EQ(s.folder, "");
}

TEST(OptionTableTest, ACountOfWhichOnlyZeroMatters) {
    for (const auto& [word, many] : std::vector<std::pair<std::string, int>>{{"-many", 1},
                                                                             {"-many:0", 0},
                                                                             {"-many:1", 1},
                                                                             {"-many:500", 1},
                                                                             {"-many:1.5m", 1},
                                                                             {"-many:2", 1},
                                                                             {"-many:off", 0},
                                                                             {"-many:yes", 1},
                                                                             {"-many:0k", 0},
                                                                             {"-many:1t", 1}}) {
        Settings s;
        EXPECT_EQ(read(s, {word}), "") << word;
        EXPECT_EQ(s.many, many) << word;
    }
    EXPECT_EQ(refusal({"-many:x"}), "-many: \"x\" is not a number. Write 0 or 1.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-many:-5"}), "-many: \"-5\" is below 0. Write 0 or 1.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-many:"}),
              "-many needs a value: -many:<n>. Write 0 or 1.\nSee \"kalvor help test\".");
}

TEST(OptionTableTest, Refusals) {
    EXPECT_EQ(refusal({"-count:1x"}), "-count: \"1x\" is not a number. Write 5.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-count:0"}), "-count: \"0\" is below 1. Write 5.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-count"}), "-count needs a value: -count:<n>. Write 5.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-count:"}), "-count needs a value: -count:<n>. Write 5.\nSee \"kalvor help test\".");
    EXPECT_EQ(
        refusal({"-count", "7"}),
        "-count needs a value: -count:<n>. Did you mean \"-count:7\"? Write 5.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-count", "-on"}),
              "-count needs a value: -count:<n>. Write 5.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-on:2"}),
              "-on: \"2\" is not a switch. Write 1 or 0, on or off, yes or no, true or false.\n"
              "See \"kalvor help test\".");
    EXPECT_EQ(refusal({"-on:"}), "-on needs a value: -on:<switch>.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-o:"}), "-o needs a value: -o <folder>.\nSee \"kalvor help test\".");
    EXPECT_EQ(refusal({"-count:\x1b[2J"}).substr(0, 24), "-count: \"\\x1b[2J\" is not");
}

TEST(OptionTableTest, TheHandlersExceptionPassesBehindItsSentence) {
    EXPECT_EQ(refusal({"-word:gren"}),
              "-word: \"gren\" cannot be used. Known: red, green. Did you mean \"green\"?\n"
              "See \"kalvor help test\".!no such colour");
    EXPECT_EQ(refusal({"-o"}),
              "-o needs a value: -o <folder>.\nSee \"kalvor help test\".!Expected more parameters.");
}

TEST(OptionTableTest, UnknownOptions) {
    const auto unknown = [](const std::string& raw) {
        return unknown_option(raw, "an option of \"test\"", names_of(table()), "help test");
    };
    EXPECT_EQ(unknown("-speed:9"), "\"-speed:9\" is not an option of \"test\".\nSee \"kalvor help test\".");
    EXPECT_EQ(unknown("--count=5"),
              "\"--count=5\" is not an option of \"test\". Did you mean \"-count:5\"?\n"
              "See \"kalvor help test\".");
    EXPECT_EQ(unknown("word"),
              "\"word\" is not an option of \"test\". Did you mean \"-word\"?\nSee \"kalvor help test\".");
    EXPECT_LT(unknown(std::string(100000, '-')).size(), 400u);
}

TEST(OptionTableTest, HelpLines) {
    const auto lines = [](int row) {
        const OptionRow<Settings>& r = table()[static_cast<size_t>(row)];
        return help_lines(r.text, r.names ? r.names({}) : std::vector<std::string>());
    };
    using Lines = std::vector<std::string>;
    EXPECT_EQ(lines(0), Lines({"    -count:<n>              how many"}));
    EXPECT_EQ(lines(3), Lines({"    -word:<name>            a name:", "        red, green"}));
    EXPECT_EQ(lines(4), Lines({"    -o <folder>             where to"}));
    EXPECT_EQ(lines(5), Lines());
}
