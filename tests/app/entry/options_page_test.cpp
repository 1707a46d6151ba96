// The tables of docs/options.md are those of the program. When a test fails, the left side is what belongs
// into the page.
#include <gtest/gtest.h>

#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "app/benchmark/bench_command.h"
#include "app/benchmark/benchmark_sizes.h"
#include "app/stress/stress_options.h"
#include "app/stress/stress_test.h"
#include "base/command_line/console_settings.h"
#include "digits/bbp/bbp_command.h"
#include "digits/viewer/viewer_command.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using trel::CommandLine::OptionText;

constexpr const char* kOptions = "| option | meaning |\n|---|---|\n";

std::string page() {
    return kalvor_test::read_file(KALVOR_SOURCE_FOLDER "/docs/options.md");
}

// From the heading to the next one.
std::string section(const std::string& heading) {
    const std::string text = page();
    const size_t at = text.find("\n## " + heading + "\n");
    EXPECT_NE(at, std::string::npos) << heading;
    return at == std::string::npos ? "" : text.substr(at, text.find("\n## ", at + 1) - at);
}

// The rows behind a table's head.
std::string table(const std::string& text, const std::string& head) {
    const size_t at = text.find(head);
    EXPECT_NE(at, std::string::npos) << text;
    if (at == std::string::npos) return "";
    const size_t begin = at + head.size();
    return text.substr(begin, text.find("\n\n", begin) + 1 - begin);
}

// Help lines go on in the next line of their page.
std::string on_one_line(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) line += (line.empty() ? "" : " ") + word;
    return line;
}

std::string row(const OptionText& option) {
    return "| `" + option.name + option.value_form + "` | " + on_one_line(option.help) +
           (option.fallback.empty() ? "" : "; default: " + option.fallback) + " |\n";
}

template <class Table>
std::string rows(const Table& options) {
    std::string text;
    for (const auto& option : options) text += row(option.text);
    return text;
}

std::string names(std::span<const BenchmarkSize> sizes) {
    std::string text;
    for (const BenchmarkSize& size : sizes) text += (text.empty() ? "" : ", ") + std::string(size.name);
    return text;
}

TEST(OptionsPageTest, ConsoleOptions) {
    EXPECT_EQ(rows(trel::CommandLine::console_option_table()), table(section("Console options"), kOptions));
}

TEST(OptionsPageTest, Bench) {
    const BenchmarkSizes& sizes = BenchmarkSizes::usual();
    EXPECT_EQ("| digits | " + names(sizes.presets) + " |\n| powers of two | " + names(sizes.superpi) + " |\n",
              table(section("bench"), "| sizes | |\n|---|---|\n"));
    std::string options;
    for (const std::string& line : bench_help_page()) {
        if (!line.starts_with("    -")) continue;
        options += (options.empty() ? "`" : ", `") + line.substr(4, line.find_first_of(": ", 4) - 4) + "`";
    }
    EXPECT_NE(section("bench").find("it takes these:\n" + options + ".\n"), std::string::npos) << options;
}

TEST(OptionsPageTest, Stress) {
    std::string tests;
    for (const StressTest* test : stress_tests()) {
        const StressTest::Texts& texts = test->texts();
        tests += std::string("| `") + texts.tag + "` | " + texts.name + " | " + texts.component + " |\n";
    }
    EXPECT_EQ(tests, table(section("stress"), "| test | what | part of the core |\n|---|---|---|\n"));
    EXPECT_EQ(rows(stress_option_table()), table(section("stress"), kOptions));
}

TEST(OptionsPageTest, Bbp) {
    EXPECT_EQ(rows(BBPv2::bbp_option_table()), table(section("bbp"), kOptions));
}

TEST(OptionsPageTest, DigitViewer) {
    std::string actions;
    bool inside = false;
    for (const std::string& line : DigitViewer2::viewer_help_page()) {
        if (line.empty()) inside = false;
        if (inside) {
            const size_t end = line.find(' ', 2);
            actions += "| `" + line.substr(2, end - 2) + "` | " + on_one_line(line.substr(end)) + " |\n";
        }
        inside = inside || line == "Actions:";
    }
    EXPECT_EQ(actions, table(section("digitviewer"), "| action | what |\n|---|---|\n"));
    EXPECT_EQ(rows(DigitViewer2::viewer_option_table()), table(section("digitviewer"), kOptions));
}

}  // namespace
}  // namespace kalvor
