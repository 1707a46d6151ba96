// The page that tells how to call the program knows what there is to choose from.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "app/entry/action_table.h"
#include "app/entry/usage.h"
#include "app/settings/option_help.h"
#include "base/command_line/console_settings.h"
#include "platform/memory/allocator.h"
#include "platform/parallel/framework_registry.h"
#include "support/capture_console.h"

namespace {

// The words of the line after the one that begins like this.
std::vector<std::string> words_after(const std::string& page, const std::string& option) {
    const size_t at = page.find("\n    " + option);
    EXPECT_NE(at, std::string::npos) << option;
    const size_t begin = page.find('\n', at + 1) + 1;
    std::vector<std::string> words;
    for (const char c : page.substr(begin, page.find('\n', begin) - begin)) {
        if (c == ' ' || c == ',') {
            if (words.empty() || !words.back().empty()) words.emplace_back();
        } else {
            if (words.empty()) words.emplace_back();
            words.back() += c;
        }
    }
    std::erase(words, "");
    return words;
}

}  // namespace

TEST(UsagePageTest, NamesEveryFrameworkAndAllocator) {
    CaptureConsole console;
    kalvor::print_usage();
    const std::string page = console.take();
    const std::vector<std::string> frameworks = words_after(page, "-PF:<name>");
    EXPECT_EQ(frameworks, trel::framework_names());
    for (const char* name : {"none", "spawn", "pushpool"}) {
        EXPECT_EQ(std::count(frameworks.begin(), frameworks.end(), name), 1) << name;
    }
    EXPECT_EQ(words_after(page, "-MA:<name>"), trel::allocator_names());
}

// Every option and console option that the program reads, but for those of swap mode, which it refuses.
TEST(UsagePageTest, HasARowForEveryOption) {
    CaptureConsole console;
    kalvor::print_usage();
    const std::string page = console.take();
    std::string custom;
    for (const std::string& line : kalvor::custom_help()) custom += line + "\n";
    int rows = 0;
    for (const auto& row : kalvor::option_table(kalvor::compute_settings_table())) {
        if (row.text.help.empty()) continue;
        rows++;
        EXPECT_NE(page.find("\n    " + row.text.name + row.text.value_form), std::string::npos)
            << row.text.name;
        EXPECT_NE(custom.find("\n    " + row.text.name + row.text.value_form), std::string::npos)
            << row.text.name;
    }
    EXPECT_GE(rows, 10);
    for (const auto& option : trel::CommandLine::console_option_table()) {
        EXPECT_NE(page.find("\n    " + option.text.name), std::string::npos) << option.text.name;
    }
    for (const auto& action : kalvor::action_table()) {
        EXPECT_EQ(page.find("\n    " + action.word + " ") != std::string::npos, !action.help.empty())
            << action.word;
    }
    for (const std::string& text : {page, custom}) {
        for (size_t at = 0; at < text.size();) {
            const size_t end = text.find('\n', at);
            EXPECT_LE(end - at, 80u) << text.substr(at, end - at);
            at = end + 1;
        }
    }
}

// The page on "custom" says of every constant what its argument is and which algorithms there are.
TEST(UsagePageTest, ConstantsWithTheirArgumentsAndAlgorithms) {
    std::string page;
    for (const std::string& line : kalvor::custom_help()) page += line + "\n";
    const std::string head = "\nConstants, and the names of their algorithms:\n";
    const size_t at = page.find(head);
    ASSERT_NE(at, std::string::npos) << page;
    const size_t begin = at + head.size();
    EXPECT_EQ(page.substr(begin, page.find("\n\n", begin) + 1 - begin),
              "    sqrt:<n>                newton\n"
              "    goldenratio, phi        newton\n"
              "    e                       exp(1), exp(-1)\n"
              "    pi                      chudnovsky, ramanujan, chudnovsky-reduced,\n"
              "                            ramanujan-reduced\n"
              "    log:<n>                 machin-primary, machin-secondary\n"
              "    zeta3, apery, zeta(3)   wedeniwski, az\n"
              "    catalan                 pilehrood-short, 1, pilehrood-long, 3, 4, 5\n"
              "    lemniscate              agm-pi, gauss, sebah\n"
              "    gamma                   brent-refined, brent-original\n"
              "    brent:<k>               brent-refined, brent-original\n"
              "    custom:<file>\n");
}

// A terminal of 80 columns shows every page without wrapping.
TEST(UsagePageTest, EveryPageFits) {
    int pages = 0;
    for (const auto& action : kalvor::action_table()) {
        if (!action.page) continue;
        pages++;
        for (const std::string& line : action.page())
            EXPECT_LE(line.size(), 80u) << action.word << ": " << line;
    }
    EXPECT_GE(pages, 6);
}
