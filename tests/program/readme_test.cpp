// The commands of the README do what it says: each is run here, one after the other in the same folder, as a
// reader would.
#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <sstream>

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

// The page that the README promises for every line of a run has each label.
TEST(FirstHourTest, EveryLabelOfARunIsExplained) {
    const std::string page = kalvor_test::read_file(KALVOR_SOURCE_FOLDER "/docs/first-hour.md");
    const size_t begin = page.find("\n## What a run prints\n"), end = page.find("\n## Ending a run\n");
    ASSERT_NE(begin, std::string::npos);
    ASSERT_NE(end, std::string::npos);
    const std::string explained = page.substr(begin, end - begin);
    const kalvor_test::TemporaryFolder folder;
    const kalvor_test::ProgramRun run = kalvor_test::run_in(folder, {"custom", "pi", "-dec:20000"});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    std::istringstream text(run.out);
    unsigned labels = 0;
    for (std::string line; std::getline(text, line);) {
        // A letter first: lines of digits and the rest of a long line have no label.
        if (line.empty() || line[0] < 'A' || line[0] > 'Z') continue;
        std::string label = line.substr(0, std::min(line.find(':'), line.find(" = ")));
        if (label.size() == line.size()) continue;
        // "1,416 terms  (Expansion Factor = 1.708)"
        if (label.find('(') != std::string::npos) label.erase(0, label.find('(') + 1);
        labels++;
        EXPECT_NE(explained.find(label), std::string::npos) << line;
    }
    EXPECT_GT(labels, 30u) << run.out;
    EXPECT_NE(run.out.find("  (built-in)\n"), std::string::npos);
    EXPECT_NE(explained.find("(built-in)"), std::string::npos);
}

}  // namespace
