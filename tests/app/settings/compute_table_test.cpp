// The table of settings: a row that is added is found wherever settings are read, written, shown and
// described; and the tables of the docs are those that the rows make.
#include "app/settings/compute_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "app/entry/usage.h"
#include "app/settings/compute_settings_object.h"
#include "app/settings/custom_options.h"
#include "app/settings/option_help.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/run_program.h"

namespace kalvor {
namespace {

using trel::CommandLine::ParameterList;
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
                values += (values.empty() ? "" : ", ") + std::string(row.key) + " : " + row.values;
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

// The program's table and one row more, which keeps its value here.
class AddedRow {
  public:
    AddedRow() {
        table = compute_settings_table();
        table.push_back(with_value(
            {.member = "Output",
             .key = "Flavour",
             .values = "sweet or sour",
             .load = [this](ComputeSettings&, const FileValue& file) { choose(file.text()); },
             .menu = "  6b    Flavour:",
             .text = [this](const ComputeSettings&) { return "Tastes " + value; },
             .option = {{"-flavour", ":<name>", "taste of the digits", "", "sweet"},
                        WordValue<ComputeChoices>{
                            [this](ComputeChoices&, const std::string& word) { choose(word); }},
                        [](const ComputeChoices&) {
                            return std::vector<std::string>{"sweet", "sour"};
                        }},
             .other_word = "-taste"},
            [this](const ComputeSettings&) { return std::make_unique<trel::Config::String>(value); }));
    }

    ComputeSettings parse(std::vector<std::string> words) {
        words.insert(words.begin(), {"kalvor", "pi", "-dec:100"});
        ParameterList parameters(words);
        return parse_custom_options(parameters, table);
    }
    void choose(const std::string& word) {
        if (word != "sweet" && word != "sour") throw trel::InvalidParametersException("", "Bitter: " + word);
        value = word;
    }

    SettingsTable table;
    std::string value = "sweet";
};

}  // namespace

TEST(ComputeTable, AnAddedRowIsAnOption) {
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

TEST(ComputeTable, AnAddedRowStandsOnTheHelpPages) {
    AddedRow added;
    const std::string lines =
        "\n    -flavour:<name>         taste of the digits; default: sweet:\n        sweet, sour\n";
    for (const auto& page : {option_help(added.table), custom_help(added.table), usage_lines(added.table)}) {
        EXPECT_NE(joined(page).find(lines), std::string::npos) << joined(page);
    }
    EXPECT_EQ(joined(usage_lines()).find("flavour"), std::string::npos);
}

TEST(ComputeTable, AnAddedRowIsWrittenAndReadBack) {
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

TEST(ComputeTable, AnAddedRowReachesARemoteUserInterface) {
    AddedRow added;
    const auto selector = compute_settings_selector(ComputeSettings(), added.table);
    const Object& flavour = selector->get_object("Output").get_object("Flavour");
    EXPECT_EQ(flavour.get_string("Value"), "sweet");
    EXPECT_EQ(flavour.get_string("DisplayText"), "Tastes sweet");
}

TEST(ComputeTable, AnAddedRowIsInTheTablesOfTheDocs) {
    AddedRow added;
    EXPECT_EQ(readme_rows(added.table).back(),
              "| `-flavour:<name>` | taste of the digits: `sweet` (default), `sour` |");
    const std::vector<std::string> rows = format_rows(added.table);
    EXPECT_NE(rows[2].find(", Flavour : sweet or sour }"), std::string::npos) << rows[2];
}

// When this fails, the left side is what belongs into the page.
TEST(ComputeTable, TheTablesOfTheDocsAreThoseOfTheRows) {
    EXPECT_EQ(joined(readme_rows(compute_settings_table())),
              joined(as_built(rows_of_page("README.md", "| option | meaning |\n|---|---|\n"))));
    EXPECT_EQ(
        joined(format_rows(compute_settings_table())),
        joined(rows_of_page("docs/formats.md", "### \"CustomCompute\"\n\n| member | values |\n|---|---|\n")));
}

// The members of every framework and allocator are in their row of the page.
TEST(ComputeTable, TheDocsKnowTheMembersOfFrameworksAndAllocators) {
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

// Rows without a place, or places without rows, would be lost in silence.
TEST(ComputeTable, EveryRowHasItsPlace) {
    std::vector<std::string> members, options, menu;
    for (const FileMember& member : compute_file_members()) members.push_back(member.key);
    for (const SettingRow& row : compute_settings_table()) {
        if (*row.key) {
            EXPECT_EQ(std::count(members.begin(), members.end(), row.member), 1) << row.key;
            EXPECT_TRUE(row.load && row.save && row.add_selector && row.text && !row.values.empty())
                << row.key;
        }
        EXPECT_TRUE(*row.key || !row.option.text.name.empty());
        if (*row.menu) menu.push_back(row.menu);
    }
    for (const auto& option : option_table(compute_settings_table())) {
        EXPECT_EQ(std::count(options.begin(), options.end(), option.text.name), 0) << option.text.name;
        options.push_back(option.text.name);
    }
    std::sort(menu.begin(), menu.end());
    EXPECT_EQ(menu, std::vector<std::string>(
                        {"  1     Constant:", "  2     Algorithm:", "  3     Decimal Digits:",
                         "  4     Hexadecimal Digits:", "  5     Output To:", "  6     Digit Format:",
                         "  7     Verify Output:", "  8     Computation Mode:", "  9     Multi-Threading:"}));
}

TEST(ComputeTable, TheValuesAsMenusShowThem) {
    ComputeSettings settings;
    settings.parallelism = trel::ParallelismSettings(1);
    const auto shown = [&] {
        std::string text;
        for (const SettingRow& row : compute_settings_table()) {
            if (*row.menu) text += row.menu + std::string(" ") + row.text(settings) + "\n";
        }
        return text;
    };
    EXPECT_EQ(shown(),
              "  1     Constant: Pi\n"
              "  3     Decimal Digits: 50,000,000\n"
              "  4     Hexadecimal Digits: Disabled\n"
              "  2     Algorithm: Chudnovsky (1988)\n"
              "  5     Output To: Default Path\n"
              "  7     Verify Output: Enabled\n"
              "  9     Multi-Threading: None (No Multi-threading)  ->  1 / 1\n"
              "  8     Computation Mode: Ram Only\n"
              "  6     Digit Format: None - Write digits to a text file.\n");
    settings.enable_hex = true;
    settings.path = "a b";
    settings.output_verify = false;
    settings.digits_per_file = -1;
    std::string text = shown();
    for (const char* part : {"Digits: 41,524,102\n", "To: a b\n", "Output: Disabled\n",
                             "Format: Compress digits into one .kvd file.\n"}) {
        EXPECT_NE(text.find(part), std::string::npos) << text;
    }
    settings.digits_per_file = 2000000;
    EXPECT_NE(shown().find("Format: Compress with 2,000,000 digits per file.\n"), std::string::npos);
    settings.output_enable = false;
    EXPECT_NE(shown().find("Format: Digit Output Disabled\n"), std::string::npos);
}

}  // namespace kalvor
