// The commands of the README do what it says: each is run here, one after the other in the same folder, as a
// reader would.
#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "support/run_program.h"

namespace {

// The words of every line "./kalvor ..." in the code blocks, without the launcher and the comment.
std::vector<std::vector<std::string>> readme_commands() {
    std::istringstream text(kalvor_test::read_file(KALVOR_SOURCE_FOLDER "/README.md"));
    std::vector<std::vector<std::string>> commands;
    bool code = false;
    for (std::string line; std::getline(text, line);) {
        if (line.rfind("```", 0) == 0) code = !code;
        if (!code || line.rfind("./kalvor", 0) != 0) continue;
        std::istringstream words(line.substr(0, line.find('#')));
        std::vector<std::string> command;
        std::string word;
        words >> word;
        while (words >> std::quoted(word)) command.push_back(word);
        commands.push_back(command);
    }
    return commands;
}

TEST(SlowReadmeTest, EveryCommandSucceeds) {
    const auto commands = readme_commands();
    ASSERT_GE(commands.size(), 6U);
    kalvor_test::TemporaryFolder folder;
    for (std::vector<std::string> command : commands) {
        std::string name = "kalvor";
        for (const std::string& word : command) name += " " + word;
        command.insert(command.begin(), "skip-warnings");
        kalvor_test::RunOptions options;
        options.folder = folder.path();
        const kalvor_test::ProgramRun run = kalvor_test::run_kalvor(command, options);
        EXPECT_EQ(run.exit_code, 0) << name << "\n" << run.out << run.err;
    }
}

// What stands in the first column of a page's table, as the lines have it: "Constant, Algorithm" are two.
std::set<std::string> explained_names(const std::string& page) {
    std::set<std::string> names;
    std::istringstream text(page);
    for (std::string line; std::getline(text, line);) {
        if (!line.starts_with("| ")) continue;
        std::string cell = line.substr(2, line.find(" |", 2) - 2);
        std::erase(cell, '*');
        for (const char* separator : {"; ", ": ", " = ", " terms ("}) {
            for (std::size_t at; (at = cell.find(separator)) != std::string::npos;)
                cell.replace(at, std::string_view(separator).size(), ", ");
        }
        for (std::size_t at = 0; at <= cell.size();) {
            const std::size_t end = std::min(cell.find(", ", at), cell.size());
            names.insert(cell.substr(at, end - at));
            at = end + 2;
        }
    }
    return names;
}

// What a line of a run is called; empty for a line without a name.
std::string label_of(const std::string& line) {
    // A letter first: lines of digits and the rest of a long line have no label.
    if (line.empty() || line[0] < 'A' || line[0] > 'Z') return "";
    const std::size_t end = std::min(line.find(':'), line.find(" = "));
    if (end == std::string::npos) return "";
    // "1,416 terms  (Expansion Factor = 1.708)"
    const std::size_t begin = line.find(" terms  (");
    std::string label = begin < end ? line.substr(begin + 9, end - begin - 9) : line.substr(0, end);
    // Names that stand below each other: "After  Hash".
    for (std::size_t at; (at = label.find("  ")) != std::string::npos;) label.erase(at, 1);
    return label;
}

// The page that the README promises for every line of a run has each label.
TEST(FirstHourTest, EveryLabelOfARunIsExplained) {
    const std::string page = kalvor_test::read_file(KALVOR_SOURCE_FOLDER "/docs/first-hour.md");
    const size_t begin = page.find("\n## What a run prints\n"), end = page.find("\n## Ending a run\n");
    ASSERT_NE(begin, std::string::npos);
    ASSERT_NE(end, std::string::npos);
    const std::string explained = page.substr(begin, end - begin);
    const std::set<std::string> names = explained_names(explained);
    const kalvor_test::TemporaryFolder folder;
    const kalvor_test::ProgramRun run = kalvor_test::run_in(folder, {"custom", "pi", "-dec:20000", "-hex"});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    std::istringstream text(run.out);
    std::set<std::string> labels;
    for (std::string line; std::getline(text, line);) labels.insert(label_of(line));
    for (const char* other : {"", "Warning"}) labels.erase(other);
    EXPECT_GT(labels.size(), 36u) << run.out;
    for (const std::string& label : labels) {
        if (names.contains(label)) continue;
        // The page says once for all of these that they are like the decimal ones.
        std::string decimal = label;
        for (const auto& [hexadecimal, as] : {std::pair("Hexadecimal", "Decimal"), {"Hex ", "Dec "}}) {
            const std::size_t at = decimal.find(hexadecimal);
            if (at != std::string::npos) decimal.replace(at, std::string_view(hexadecimal).size(), as);
        }
        EXPECT_TRUE(decimal != label && names.contains(decimal)) << label << "\n" << run.out;
    }
    EXPECT_NE(explained.find("\"Hexadecimal\" or \"Hex\""), std::string::npos);
    EXPECT_NE(run.out.find("  (built-in)\n"), std::string::npos);
    EXPECT_TRUE(names.contains("(built-in)"));
}

}  // namespace
