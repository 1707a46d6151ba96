#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "base/command_line/console_settings.h"
#include "base/command_line/parameter_list.h"
#include "base/command_line/refusal.h"
#include "base/version/version.h"
#include "os/process.h"

using namespace trel;
using namespace trel::CommandLine;

namespace {

// Puts the process-wide settings back.
class ConsoleSettingsTest : public testing::Test {
  protected:
    void SetUp() override {
        before_ = console_settings();
        console_settings() = ConsoleSettings();
    }
    void TearDown() override { console_settings() = before_; }

  private:
    ConsoleSettings before_;
};

}  // namespace

TEST(ParameterListTest, SplitsAtTheFirstColon) {
    ParameterList list({"path:to/kalvor", "custom", "-o:C:/out", "x:", ":y"});
    EXPECT_TRUE(list.has_more());
    EXPECT_EQ(list.current(), ParameterList::Pair("custom", ""));
    list.advance();
    EXPECT_EQ(list.current(), ParameterList::Pair("-o", "C:/out"));
    EXPECT_EQ(list.current_value(), "C:/out");
    EXPECT_EQ(list.current_raw(), "-o:C:/out");
    list.advance();
    EXPECT_EQ(list.current(), ParameterList::Pair("x", ""));
    list.advance();
    EXPECT_EQ(list.current(), ParameterList::Pair("", "y"));
    list.advance();
    EXPECT_FALSE(list.has_more());
    for (int i = 0; i < 4; i++) {
        try {
            if (i == 0) list.current();
            if (i == 1) list.advance();
            if (i == 2) list.current_value();
            if (i == 3) list.current_raw();
            ADD_FAILURE();
        } catch (const CommandLineException& e) {
            EXPECT_STREQ(e.what(), "Expected more parameters.");
        }
    }
}

TEST(ParameterListTest, WithoutWords) {
    EXPECT_FALSE(ParameterList({"kalvor"}).has_more());
    EXPECT_FALSE(ParameterList({}).has_more());
    EXPECT_THROW(ParameterList({}).current(), std::exception);
}

TEST(ParseScaledIntegerTest, Rule) {
    EXPECT_EQ(parse_scaled_integer(""), 0);
    EXPECT_EQ(parse_scaled_integer("0"), 0);
    EXPECT_EQ(parse_scaled_integer("123"), 123);
    EXPECT_EQ(parse_scaled_integer("-2"), -2);
    EXPECT_EQ(parse_scaled_integer("10k"), 10000);
    EXPECT_EQ(parse_scaled_integer("10K"), 10000);
    EXPECT_EQ(parse_scaled_integer("25m"), 25000000);
    EXPECT_EQ(parse_scaled_integer("25Mx9"), 25000000);
    EXPECT_EQ(parse_scaled_integer("3b"), 3000000000);
    EXPECT_EQ(parse_scaled_integer("3B"), 3000000000);
    EXPECT_EQ(parse_scaled_integer("100t"), 100000000000000);
    EXPECT_EQ(parse_scaled_integer("-1T"), -1000000000000);
    EXPECT_EQ(parse_scaled_integer("12g"), 12);
    EXPECT_EQ(parse_scaled_integer("1,000"), 1);
    EXPECT_EQ(parse_scaled_integer("abc"), 0);
    EXPECT_EQ(parse_scaled_integer("k"), 0);
    EXPECT_EQ(parse_scaled_integer("-"), 0);
    EXPECT_EQ(parse_scaled_integer("9223372036854775807"), 9223372036854775807);
    EXPECT_EQ(parse_scaled_integer("99999999999999999999999999999999999999999999t"), 9223372036854775807);
    EXPECT_EQ(parse_scaled_integer("-99999999999999999999"), -9223372036854775807);
}

TEST_F(ConsoleSettingsTest, Defaults) {
    const ConsoleSettings& s = console_settings();
    EXPECT_EQ(s.exit_pause_level, 0);
    EXPECT_TRUE(s.pause_before_fatal_exit);
    EXPECT_EQ(s.process_priority, -1);
    EXPECT_TRUE(s.colors_enabled);
    EXPECT_FALSE(s.include_pii);
    EXPECT_FALSE(s.skip_warnings);
}

// What each option makes of its value.
TEST_F(ConsoleSettingsTest, ValuesOfTheOptions) {
    const auto after = [](const char* word) -> const ConsoleSettings& {
        ParameterList list({"kalvor", word});
        consume_console_options(list);
        EXPECT_FALSE(list.has_more()) << word;
        return console_settings();
    };
    for (const char* on : {":1", ":on", ":Yes", ":TRUE", ""}) {  // without a value: on
        console_settings().colors_enabled = false;
        EXPECT_TRUE(after((std::string("colors") + on).c_str()).colors_enabled) << on;
        EXPECT_TRUE(after((std::string("PII") + on).c_str()).include_pii) << on;
    }
    for (const char* off : {"0", "off", "no", "False"}) {
        console_settings() = ConsoleSettings();
        console_settings().include_pii = true;
        EXPECT_FALSE(after((std::string("colors:") + off).c_str()).colors_enabled) << off;
        EXPECT_FALSE(after((std::string("PII:") + off).c_str()).include_pii) << off;
    }
    EXPECT_EQ(after("pause:3").exit_pause_level, 3);
    EXPECT_TRUE(after("pause:-1").pause_before_fatal_exit);
    EXPECT_FALSE(after("pause:-2").pause_before_fatal_exit);
    EXPECT_EQ(after("pause:99999999999").exit_pause_level, 2147483647);
    EXPECT_EQ(after("pause:0").exit_pause_level, 0);
    EXPECT_FALSE(console_settings().pause_before_fatal_exit);  // no other value puts it back
    EXPECT_EQ(after("priority:-5").process_priority, -5);
    EXPECT_EQ(after("priority:0").process_priority, 0);
    EXPECT_TRUE(after("skip-warnings:0").skip_warnings);  // it takes no value
    ParameterList other({"kalvor", "pii:1"});
    consume_console_options(other);
    EXPECT_TRUE(other.has_more());
}

TEST_F(ConsoleSettingsTest, ValuesThatAreNone) {
    const auto refused = [](const char* word) {
        ParameterList list({"kalvor", word});
        try {
            consume_console_options(list);
        } catch (const RefusedException& e) {
            return std::string(e.what());
        }
        return std::string("accepted");
    };
    EXPECT_EQ(refused("colors:maybe"),
              "colors: \"maybe\" is not a switch. Write 1 or 0, on or off, yes or no, true or false.\n"
              "See \"kalvor help\".");
    EXPECT_EQ(refused("PII:2").substr(0, 27), "PII: \"2\" is not a switch. W");
    for (const char* word : {"pause:x", "priority:1x", "height:tall", "pause:--1"}) {
        const std::string text = refused(word);
        EXPECT_NE(text.find("\" is not a number. Write a number, such as 1 or -2.\nSee \"kalvor help\"."),
                  std::string::npos)
            << text;
    }
    EXPECT_EQ(refused("pause").substr(0, 27), "pause needs a value: pause:");
}

TEST_F(ConsoleSettingsTest, OptionsComeBeforeTheActionWord) {
    ParameterList list({"kalvor", "colors:0", "pause:-2", "priority:7", "PII:1", "skip-warnings", "height:50",
                        "custom", "pause:5"});
    consume_console_options(list);
    EXPECT_EQ(list.current().first, "custom");
    const ConsoleSettings& s = console_settings();
    EXPECT_FALSE(s.colors_enabled);
    EXPECT_EQ(s.exit_pause_level, -2);
    EXPECT_FALSE(s.pause_before_fatal_exit);
    EXPECT_EQ(s.process_priority, 7);
    EXPECT_TRUE(s.include_pii);
    EXPECT_TRUE(s.skip_warnings);
}

TEST_F(ConsoleSettingsTest, OnlyOptionsLeaveNothing) {
    ParameterList list({"kalvor", "colors:1", "pause:-1"});
    consume_console_options(list);
    EXPECT_FALSE(list.has_more());
    EXPECT_TRUE(console_settings().colors_enabled);
    EXPECT_TRUE(console_settings().pause_before_fatal_exit);
    EXPECT_EQ(console_option_table().size(), 6u);
}

TEST_F(ConsoleSettingsTest, PauseRule) {
    ConsoleSettings s;
    auto row = [&](i32 level, bool existing) {
        s.exit_pause_level = level;
        s.started_from_existing_console = existing;
        return std::pair(pauses_at_exit(s, 0), pauses_at_exit(s, 1));
    };
    using Answer = std::pair<bool, bool>;  // after success, after failure
    EXPECT_EQ(row(0, true), Answer(false, true));
    EXPECT_EQ(row(0, false), Answer(true, true));
    for (const bool existing : {false, true}) {
        EXPECT_EQ(row(1, existing), Answer(true, true));
        EXPECT_EQ(row(9, existing), Answer(true, true));
        EXPECT_EQ(row(-1, existing), Answer(false, true));
        EXPECT_EQ(row(-2, existing), Answer(false, false));
        EXPECT_EQ(row(-9, existing), Answer(false, false));
    }
}

TEST(DirectoryOfTest, KeepsTheSeparator) {
    EXPECT_EQ(directory_of("/usr/bin/kalvor"), "/usr/bin/");
    EXPECT_EQ(directory_of("C:\\k\\kalvor.exe"), "C:\\k\\");
    EXPECT_EQ(directory_of("kalvor"), "");
    const std::string path = os::executable_path().value_or("");
    EXPECT_NE(path.find("test_base_command_line"), std::string::npos) << path;
}

TEST(VersionTest, Record) {
    EXPECT_EQ(kVersion.text(), "0.7.8 Build 9507");
    EXPECT_EQ(kVersion.tuning_label(), "Windows/18-CNL ~ Elvatt");
}

// The list of changes has a section of the program's own version.
TEST(VersionTest, StandsInTheChangelog) {
    std::ifstream file(KALVOR_SOURCE_FOLDER "/CHANGELOG.md");
    bool found = false;
    const std::string heading = std::string("## ") + kVersion.version;
    for (std::string line; std::getline(file, line);) found |= line == heading;
    EXPECT_TRUE(found) << heading;
}
