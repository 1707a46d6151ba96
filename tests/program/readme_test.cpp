// The commands of the README do what it says: each is run here, one after the other in the same folder, as a
// reader would.
#include <gtest/gtest.h>

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

}  // namespace
