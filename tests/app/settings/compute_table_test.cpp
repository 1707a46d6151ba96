// The table of settings: a row that is added is found wherever settings are read, written, shown and
// described; and the tables of the docs are those that the rows make.
#include "app/settings/compute_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "app/custom/compute_options.h"
#include "app/entry/usage.h"
#include "app/settings/compute_settings_object.h"
#include "app/settings/option_help.h"
#include "base/command_line/refusal.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "support/capture_console.h"
#include "support/run_program.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using trel::CommandLine::ParameterList;
using trel::CommandLine::SwitchValue;
using trel::CommandLine::WordValue;
using trel::Config::Object;

// The rows of the README's table.
std::vector<std::string> readme_rows(const SettingsTable& table) {
    const ComputeChoices defaults;
    std::vector<std::string> rows;
    for (const SettingRow& row : table) {
        const auto& option = row.option;
        if (option.text.help.empty()) continue;
        std::string line = "| `" + option.text.name + option.text.value_form + "` | ";
        line += row.meaning.empty() ? option.text.help : row.meaning;
        if (option.names && option.text.value_form == ":<name>") {
            std::string before = ": ";
            for (const std::string& name : option.names(defaults)) {
                line += before + "`" + name + "`" + (name == option.text.fallback ? " (default)" : "");
                before = ", ";
            }
        } else if (!option.text.fallback.empty()) {
            line += "; default: " + option.text.fallback;
        }
        rows.push_back(line + " |");
    }
    return rows;
}

// The rows of "CustomCompute" in docs/formats.md.
std::vector<std::string> format_rows(const SettingsTable& table) {
    std::vector<std::string> rows;
    for (const FileMember& member : compute_file_members()) {
        std::string values;
        for (const SettingRow& row : table) {
            if (row.member != std::string(member.key)) continue;
            if (member.kind == FileMember::setting) {
                values = row.values;
            } else {
                values += (values.empty() ? "" : ", ") + row.key() + " : " + row.values;
            }
        }
        if (member.kind == FileMember::object_of_settings) values = "{ " + values + " }";
        if (!values.empty()) rows.push_back("| " + std::string(member.key) + " | " + values + " |");
    }
    return rows;
}

// The rows of the table that stands behind these lines of a page.
std::vector<std::string> rows_of_page(const std::string& file, const std::string& head) {
    const std::string page = kalvor_test::read_file(KALVOR_SOURCE_FOLDER "/" + file);
    size_t at = page.find(head);
    EXPECT_NE(at, std::string::npos) << file;
    if (at == std::string::npos) return {};
    std::vector<std::string> rows;
    for (at += head.size(); page[at] == '|';) {
        const size_t end = page.find('\n', at);
        rows.push_back(page.substr(at, end - at));
        at = end + 1;
    }
    return rows;
}

// A framework that this build lacks stands in the docs anyway.
std::vector<std::string> as_built(std::vector<std::string> rows) {
#ifndef KALVOR_HAVE_TBB
    for (std::string& row : rows) {
        const size_t at = row.find(", `tbb`");
        if (at != std::string::npos) row.erase(at, 7);
    }
#endif
    return rows;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text = "\n";
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

std::string acfg(const ComputeSettings& settings, const SettingsTable& table) {
    return save_compute_settings(settings, table)->to_acfg();
}

// A setting that keeps its value in a test.
class Flavour final : public trel::Setting {
  public:
    explicit Flavour(std::string& value) : Setting("Flavour", "     Flavour:"), value_(value) {}
    void load(const Object& object, std::string_view context) override {
        choose(object.get_string(key(), context));
    }
    void edit() override { choose(value_ == "sweet" ? "sour" : "sweet"); }
    std::string display_text() const override { return "Tastes " + value_; }
    trel::Console::ColorLetter color() const override { return 'Y'; }
    void choose(const std::string& word) {
        if (word != "sweet" && word != "sour") throw trel::InvalidParametersException("", "Bitter: " + word);
        value_ = word;
    }

  protected:
    std::unique_ptr<trel::Config::Node> value_node() const override {
        return std::make_unique<trel::Config::String>(value_);
    }

  private:
    std::string& value_;
};

// The program's table and one row more, which keeps its value here.
class AddedRow {
  public:
    AddedRow() {
        table = compute_settings_table();
        table.push_back(
            {.of = [this](ComputeSettings&, SettingWarnings*) { return std::make_shared<Flavour>(value); },
             .member = "Output",
             .values = "sweet or sour",
             .menu_number = 10,
             .option = {{"-flavour", ":<name>", "taste of the digits", "", "sweet"},
                        WordValue<ComputeChoices>{[this](ComputeChoices&, const std::string& word) {
                            Flavour(value).choose(word);
                        }},
                        [](const ComputeChoices&) {
                            return std::vector<std::string>{"sweet", "sour"};
                        }},
             .other_word = "-taste"});
    }

    ComputeSettings parse(std::vector<std::string> words) {
        words.insert(words.begin(), {"kalvor", "pi", "-dec:100"});
        ParameterList parameters(words);
        return parse_custom_options(parameters, table).settings;
    }
    SettingsTable table;
    std::string value = "sweet";
};

}  // namespace

TEST(ComputeTableTest, AnAddedRowIsAnOption) {
    AddedRow added;
    (void)added.parse({"-flavour:sour"});
    EXPECT_EQ(added.value, "sour");
    (void)added.parse({"-taste:sweet"});
    EXPECT_EQ(added.value, "sweet");
    CaptureConsole console;
    EXPECT_THROW(added.parse({"-flavour:sweat"}), trel::InvalidParametersException);
    EXPECT_EQ(console.take(),
              "\n-flavour: \"sweat\" cannot be used. Known: sweet, sour. Did you mean \"sweet\"?\n"
              "See \"kalvor help custom\".\n");
}

TEST(ComputeTableTest, AnAddedRowStandsOnTheHelpPages) {
    AddedRow added;
    const std::string lines =
        "\n    -flavour:<name>         taste of the digits; default: sweet:\n        sweet, sour\n";
    for (const auto& page : {option_help(added.table), custom_help(added.table), usage_lines(added.table)}) {
        EXPECT_NE(joined(page).find(lines), std::string::npos) << joined(page);
    }
    EXPECT_EQ(joined(usage_lines()).find("flavour"), std::string::npos);
}

TEST(ComputeTableTest, AnAddedRowIsWrittenAndReadBack) {
    AddedRow added;
    CaptureConsole console;
    const ComputeSettings settings;
    added.value = "sour";
    const std::string text = acfg(settings, added.table);
    EXPECT_NE(
        text.find("        DigitsPerFile : 0\r\n        Flavour : \"sour\"\r\n    }\r\n    OutputVerify"),
        std::string::npos)
        << text;
    added.value = "sweet";
    const auto load = [&](std::string from, const std::string& to) {
        std::string changed = text;
        if (!from.empty()) changed.replace(changed.find(from), from.size(), to);
        std::vector<std::string> warnings;
        return load_compute_settings(trel::Config::parse_acfg(changed)->as<Object>(), warnings, added.table);
    };
    EXPECT_EQ(acfg(load("", ""), added.table), text);
    EXPECT_EQ(added.value, "sour");
    EXPECT_EQ(console.take(), "");

    EXPECT_THROW((void)load("\"sour\"", "\"soir\""), trel::InvalidParametersException);
    EXPECT_EQ(console.take(),
              "\nCustomCompute.Output.Flavour: the text \"soir\" stands there. Did you mean \"sour\"? Known: "
              "sweet, sour.\nSee \"kalvor help config\".\n");
    EXPECT_THROW((void)load("Flavour : \"sour\"", ""), trel::KeyNotFoundException);
    try {
        (void)load("\"sour\"", "5");
        FAIL();
    } catch (const trel::ParseException& e) {
        EXPECT_EQ(e.message, "Output Format: Expected String, got Integer.");
    }
}

// What an option chooses is in the file that -save writes, or -save refuses it.
TEST(ComputeTableTest, AnAddedOptionThatNoFileHoldsIsRefusedBySave) {
    bool loud = false;
    SettingsTable table = compute_settings_table();
    table.push_back({.option = {{"-loud", "", "sing the digits", ""},
                                SwitchValue<ComputeChoices>{[&](ComputeChoices&, bool on) { loud = on; }}},
                     .lost_in_file = [&](const ComputeSettings&) { return loud; }});
    const auto saved = [&](const char* word) {
        const std::vector<std::string> words = {"kalvor", "pi", "-dec:100", word, "-save", "run"};
        ParameterList parameters(words);
        return parse_custom_options(parameters, table).save_path;
    };
    const CaptureConsole console;
    EXPECT_EQ(saved("-loud:off"), "run.cfg");
    try {
        (void)saved("-loud");
        FAIL() << "the file would lose it";
    } catch (const trel::CommandLine::RefusedException& e) {
        EXPECT_STREQ(e.what(), "-save: a settings file cannot hold -loud.\nSee \"kalvor help custom\".");
    }
}

TEST(ComputeTableTest, EveryOptionIsHeldByAFileOrRefusedBySave) {
    std::vector<std::string> neither;
    for (const SettingRow& row : compute_settings_table()) {
        EXPECT_FALSE(row.of && row.lost_in_file) << row.option.text.name;
        if (!row.of && !row.lost_in_file) neither.push_back(row.option.text.name);
    }
    // The file itself; what the rows of tasks and of the framework hold; what this version refuses.
    EXPECT_EQ(neither, (std::vector<std::string>{"-save", "-threads", "-M", "-minIO", "-swap"}));
}

TEST(ComputeTableTest, AnAddedRowReachesARemoteUserInterface) {
    AddedRow added;
    const auto selector = compute_settings_selector(ComputeSettings(), added.table);
    const Object& flavour = selector->get_object("Output").get_object("Flavour");
    EXPECT_EQ(flavour.get_string("Value"), "sweet");
    EXPECT_EQ(flavour.get_string("DisplayText"), "Tastes sweet");
}

TEST(ComputeTableTest, AnAddedRowIsInTheTablesOfTheDocs) {
    AddedRow added;
    EXPECT_EQ(readme_rows(added.table).back(),
              "| `-flavour:<name>` | taste of the digits: `sweet` (default), `sour` |");
    const std::vector<std::string> rows = format_rows(added.table);
    EXPECT_NE(rows[2].find(", Flavour : sweet or sour }"), std::string::npos) << rows[2];
}

// The name that a part of the settings has in type errors. That of "Checkpointing" is borrowed, as files and
// programs know it.
TEST(ComputeTableTest, ContextsOfTheMembers) {
    std::string contexts;
    for (const FileMember& member : compute_file_members()) {
        contexts += std::string(member.key) + ": " + member.context + "\n";
    }
    EXPECT_EQ(contexts,
              "Constant: Custom Compute\nComputeSize: Computation Size\nOutput: Output Format\n"
              "OutputVerify: Custom Compute\nMode: \nParallelism: Parallel Framework\n"
              "Allocator: Memory Allocator\nMemory: \nCheckpointing: Parallel Framework\n"
              "FarMemoryTuning: \nFarMemoryConfig: FarMemory\n");
}

// When this fails, the left side is what belongs into the page.
TEST(ComputeTableTest, TheTablesOfTheDocsAreThoseOfTheRows) {
    EXPECT_EQ(joined(readme_rows(compute_settings_table())),
              joined(as_built(rows_of_page("README.md", "| option | meaning |\n|---|---|\n"))));
    EXPECT_EQ(
        joined(format_rows(compute_settings_table())),
        joined(rows_of_page("docs/formats.md", "### \"CustomCompute\"\n\n| member | values |\n|---|---|\n")));
}

// The members of every framework and allocator are in their row of the page.
TEST(ComputeTableTest, TheDocsKnowTheMembersOfFrameworksAndAllocators) {
    const auto check = [](const std::string& head, const std::string& name,
                          const trel::SettingsObject& config) {
        const std::vector<std::string> rows = rows_of_page("docs/formats.md", head);
        const auto row = std::find_if(rows.begin(), rows.end(), [&](const std::string& text) {
            return text.starts_with("| " + name + " |");
        });
        ASSERT_NE(row, rows.end()) << name;
        const Object members = config.to_config();
        for (const auto& entry : members.entries()) {
            EXPECT_NE(row->find(entry->key), std::string::npos) << name << " " << entry->key;
        }
    };
    for (const std::string& name : trel::framework_names()) {
        check("| Framework | its members |\n|---|---|\n", name, *trel::make_default_framework_config(name));
    }
    for (const std::string& name : trel::allocator_names()) {
        check("| Allocator | its members |\n|---|---|\n", name, *trel::make_default_allocator_config(name));
    }
}

namespace {

// In lower case, of every literal of a source file but those that include others.
std::vector<std::string> words_of_literals(const std::string& source) {
    std::vector<std::string> words;
    std::istringstream lines(source);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("#include")) continue;
        bool inside = false;
        std::string word;
        for (const char c : line + "\"") {
            if (inside && std::isalnum(static_cast<unsigned char>(c)) != 0) {
                word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
                continue;
            }
            if (!word.empty()) words.push_back(std::exchange(word, {}));
            if (c == '"') inside = !inside;
        }
    }
    return words;
}

}  // namespace

// A constant that is added to the catalog is known wherever constants are named, because the menus, the
// options and the settings take their words from there.
TEST(ComputeTableTest, WhatHasAnExtractorSaysSo) {
    EXPECT_EQ(names_with_extractor(), "Pi");
}

TEST(ComputeTableTest, NoSourceOfMenusAndSettingsNamesAConstant) {
    std::vector<std::string> names = constant_tokens();
    for (const char* also : {"e", "log", "custom"}) std::erase(names, also);  // words of other things, too
    ASSERT_GT(names.size(), 8U);
    const std::string root = KALVOR_SOURCE_FOLDER;
    std::size_t files = 0;
    for (const char* room : {"settings", "custom", "menus"}) {
        for (const auto& entry : std::filesystem::directory_iterator(root + "/src/app/" + room)) {
            if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
            files++;
            for (const std::string& word : words_of_literals(kalvor_test::read_file(entry.path().string()))) {
                EXPECT_EQ(std::count(names.begin(), names.end(), word), 0) << entry.path() << " " << word;
            }
        }
    }
    EXPECT_GT(files, 20U);
}

// Rows without a place, or places without rows, would be lost in silence.
TEST(ComputeTableTest, EveryRowHasItsPlace) {
    std::vector<std::string> members, options;
    std::vector<u64> numbers;
    for (const FileMember& member : compute_file_members()) members.push_back(member.key);
    for (const SettingRow& row : compute_settings_table()) {
        if (row.of) {
            EXPECT_EQ(std::count(members.begin(), members.end(), row.member), 1) << row.key();
            EXPECT_FALSE(row.values.empty()) << row.key();
        }
        EXPECT_TRUE(row.of || !row.option.text.name.empty());
        EXPECT_TRUE(row.of || row.menu_number == 0);
    }
    for (const auto& option : option_table(compute_settings_table())) {
        EXPECT_EQ(std::count(options.begin(), options.end(), option.text.name), 0) << option.text.name;
        options.push_back(option.text.name);
    }
    for (const SettingRow* row : menu_rows()) numbers.push_back(row->menu_number);
    EXPECT_EQ(numbers, (std::vector<u64>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

namespace {

// The lines of a menu of these rows.
std::string menu(const ComputeSettings& settings, const SettingsTable& table = compute_settings_table()) {
    CaptureConsole console;
    for (const SettingRow* row : menu_rows(table)) {
        row->setting(settings)->print(row->menu_number, 32, kMenuNumberWidth);
    }
    return console.take();
}

// What is asked when the setting of this line is edited.
std::string edit(ComputeSettings& settings, u64 line, const std::vector<std::string>& answers = {}) {
    CaptureConsole console;
    for (const std::string& answer : answers) console.type({answer});
    for (const SettingRow* row : menu_rows()) {
        if (row->menu_number == line) row->setting(settings)->edit();
    }
    EXPECT_EQ(console.lines_left(), 0u);
    return console.take();
}

}  // namespace

TEST(ComputeTableTest, TheRowsAreALineEachOfTheMenu) {
    ComputeSettings settings;
    settings.parallelism = trel::ParallelismSettings(1);
    EXPECT_EQ(menu(settings),
              "  1     Constant:                  Pi\n"
              "  2     Algorithm:                 Chudnovsky (1988)\n"
              "  3     Decimal Digits:            50,000,000\n"
              "  4     Hexadecimal Digits:        Disabled\n"
              "  5     Output To:                 Default Path\n"
              "  6     Digit Format:              None - Write digits to a text file.\n"
              "  7     Verify Output:             Enabled\n"
              "  8     Computation Mode:          Ram Only\n"
              "  9     Multi-Threading:           None (No Multi-threading)  ->  1 / 1\n");
    settings.enable_hex = true;
    settings.path = "a b";
    settings.output_verify = false;
    settings.digits_per_file = -1;
    const std::string text = menu(settings);
    for (const char* part : {" 41,524,102\n", " a b\n", "Output:             Disabled\n",
                             " Compress digits into one .kvd file.\n"}) {
        EXPECT_NE(text.find(part), std::string::npos) << text;
    }
    settings.digits_per_file = 2000000;
    EXPECT_NE(menu(settings).find(" Compress with 2,000,000 digits per file.\n"), std::string::npos);
    settings.output_enable = false;
    EXPECT_NE(menu(settings).find(" Digit Output Disabled\n"), std::string::npos);
    AddedRow added;
    EXPECT_NE(menu(settings, added.table).find("\n 10     Flavour:                   Tastes sweet\n"),
              std::string::npos);
}

TEST(ComputeTableTest, TheLinesOfTheMenuEditTheSettings) {
    ComputeSettings settings;
    EXPECT_NE(edit(settings, 1, {"3"}).find("Compute a Constant: "), std::string::npos);
    EXPECT_NE(edit(settings, 2, {"1"}).find("Select an Algorithm:\n"), std::string::npos);
    EXPECT_EQ(settings.constant->algorithm_token(), "ramanujan");
    EXPECT_EQ(edit(settings, 3, {"99", "1000000000000001", "2000000"}),
              "Select the # of decimal digits to compute:\n"
              "Digits: Computation size must be at least 100 decimal digits.\n"
              "Digits: Computation size cannot be larger than 1,000,000,000,000,000 decimal digits.\n"
              "Digits: ");
    EXPECT_EQ(settings.size.decimal_digits, 2000000u);
    EXPECT_EQ(edit(settings, 4, {"5"}),
              "Select the # of hexadecimal digits to compute: (0 to disable)\nDigits: ");
    EXPECT_TRUE(settings.enable_hex);
    (void)edit(settings, 4, {"0"});
    EXPECT_FALSE(settings.enable_hex);
    const kalvor_test::TemporaryFolder folder;
    const std::string question =
        "Enter the path to write all output. (e.g. \"C:\" or \"C:/temp\" )\n"
        "This is where both the digits and the validation file will be written to.\n"
        "Path: ";
    EXPECT_EQ(edit(settings, 5, {folder.file("a b")}), question);
    EXPECT_EQ(settings.path, folder.file("a b"));
    // It was only tried; the run makes it.
    EXPECT_FALSE(folder.has("a b"));
    // What cannot be written to is refused, and the path stays as it is.
    folder.write("file", "");
    EXPECT_EQ(edit(settings, 5, {folder.file("file/x")}), question + "Path is not writable.\n");
    EXPECT_EQ(settings.path, folder.file("a b"));
    EXPECT_EQ(edit(settings, 5, {""}), question);
    EXPECT_EQ(settings.path, "");
    // Another constant may have other bounds.
    settings.size = ComputeSize::from_decimal(5);
    EXPECT_NE(edit(settings, 1, {"3"}).find("Warning: "), std::string::npos);
    EXPECT_EQ(settings.size.decimal_digits, settings.constant->min_decimal_digits());
    EXPECT_EQ(edit(settings, 7), "");
    EXPECT_FALSE(settings.output_verify);
    EXPECT_TRUE(edit(settings, 9, {"0"}).starts_with("Select a Parallel Framework:\n"));
    EXPECT_EQ(settings.parallelism.framework->name(), "none");
    // There is one format and one mode.
    EXPECT_EQ(edit(settings, 6) + edit(settings, 8), "");
    // The numbers of swap mode's lines name nothing.
    EXPECT_EQ(edit(settings, 10), "");
}

// A setting that stands in the settings is the one that rows work on, not a copy.
TEST(ComputeTableTest, RowsWorkOnTheSettingsThemselves) {
    ComputeSettings first, second;
    for (const SettingRow& row : compute_settings_table()) {
        if (row.key() == "TaskDecomposition") {
            EXPECT_EQ(row.setting(first).get(), &first.parallelism.task_decomposition);
        }
        if (row.key() == "OutputVerify") row.setting(second)->edit();
    }
    EXPECT_TRUE(first.output_verify);
    EXPECT_FALSE(second.output_verify);
}

}  // namespace kalvor
