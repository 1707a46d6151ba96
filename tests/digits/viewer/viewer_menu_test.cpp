// The viewer's menus and its command line.
#include "digits/viewer/viewer_menu.h"

#include <gtest/gtest.h>

#include "base/command_line/parameter_list.h"
#include "base/errors/exceptions.h"
#include "digits/files/basic_kvd_set_reader.h"
#include "digits/viewer/viewer_command.h"
#include "digits/viewer/viewer_menu_texts.h"
#include "support/capture_console.h"
#include "support/columns.h"
#include "support/message_of.h"

namespace kalvor::DigitViewer2 {
namespace {

class ViewerMenuTest : public testing::Test {
  protected:
    ViewerMenuTest() { folder_.write("a.txt", "3." + digits_); }
    void write_set() const { DigitViewer2::write_set(folder_, digits_.size()); }
    // What is printed until the input ends, at a question behind the last of these lines.
    static std::string until_nobody_answers(const std::vector<std::string>& lines) {
        CaptureConsole console;
        for (const std::string& line : lines) console.type({line});
        EXPECT_THROW(Menu_DigitViewer(serial_runner()), EndOfStreamException) << lines.size();
        EXPECT_EQ(console.lines_left(), 0u);
        return console.take();
    }
    const std::string digits_ = random_digits(1200000, 10, 1);
    const kalvor_test::TemporaryFolder folder_;
};

TEST_F(ViewerMenuTest, OfATextFile) {
    CaptureConsole console;
    console.type({folder_.file("a.txt"), "5", "0", "1", "3"});
    Menu_DigitViewer(serial_runner());
    EXPECT_EQ(console.take(), kMenuTitle + menu_of_text(digits_) +
                                  "option: \n\nView a Range of Digits\nStarting Digit: Digits to View: \n" +
                                  digits_.substr(0, 3) + "\n");
}

TEST_F(ViewerMenuTest, OfASetWithFoldersToSearch) {
    write_set();
    const std::string folder = folder_.file(""), other = folder_.file("other");
    EXPECT_EQ(until_nobody_answers({folder_.file("set - 1.kvd"), "5", other, "9"}),
              kMenuTitle + menu_of_set(digits_, {folder}) +
                  "\nEnter directory:\nPath: " + menu_of_set(digits_, {folder, other + "/"}) + "option: ");
}

// Menus fit 80 columns; a long folder goes on under its column.
TEST_F(ViewerMenuTest, LongFoldersAndFirstDigitsAreWrapped) {
    write_set();
    const std::string text = until_nobody_answers({folder_.file("set - 1.kvd"), "5", std::string(300, 'x')});
    EXPECT_EQ(kalvor_test::too_wide(text), "");
    const std::string full = "    " + std::string(75, 'x') + "\n";
    EXPECT_NE(text.find("\n" + full + full + full + full + "    /\n"), std::string::npos) << text;
    folder_.write("long.txt", std::string(60, '1') + ".25");
    EXPECT_EQ(kalvor_test::too_wide(until_nobody_answers({folder_.file("long.txt")})), "");
}

TEST_F(ViewerMenuTest, ATotalThatIsNotKnownSaysSo) {
    write_set();
    EXPECT_NE(until_nobody_answers({folder_.file("set - 0.kvd")})
                  .find("Digits after Decimal Place: Unknown - Extended File Format\n"),
              std::string::npos);
}

TEST_F(ViewerMenuTest, EndingsDecideWhatAFileIs) {
    const auto message = [](const std::string& path) {
        return kalvor_test::message_of<InvalidParametersException>(kalvor_test::Form::message,
                                                                   [&] { open_for_viewing(path); });
    };
    EXPECT_EQ(message("digits"), "No Extension found.");
    EXPECT_EQ(message("digits.dat"), "Unrecognized Extension: .dat");
    EXPECT_EQ(message("digits.TXT"), "Unrecognized Extension: .TXT");
    EXPECT_THROW(open_for_viewing("a (incomplete).txt"), FileIO::FileException);
}

// A question about its digits would have no answer.
TEST_F(ViewerMenuTest, AFileWithoutDigitsAsksNothing) {
    folder_.write("b.txt", "3.");
    for (const char* choice : {"0", "1", "2"}) {
        CaptureConsole console;
        console.type({folder_.file("b.txt"), choice, "1"});
        Menu_DigitViewer(serial_runner());
        EXPECT_EQ(console.lines_left(), 1u);
        EXPECT_TRUE(
            console.take().ends_with("\nThis range of digits is not accessible.\n"
                                     "There are no digits behind the point.\n"));
    }
}

// The input may end at any question.
TEST_F(ViewerMenuTest, NobodyThereAtAnyQuestion) {
    write_set();
    const std::vector<std::vector<std::string>> sessions = {
        {"0", "1", "1"},
        {"1", "1", "2"},
        {"2", "1", "2", folder_.file("x")},
        {"3", "1000000", "0", "x", folder_.file("")},
        {"4", "1000000", "0", "0", "x", folder_.file("")},
    };
    for (const std::string file : {"a.txt", "set - 1.kvd"}) {
        for (const auto& session : sessions) {
            for (std::size_t typed = 0; typed < session.size(); typed++) {
                SCOPED_TRACE(file + " " + std::to_string(typed));
                std::vector<std::string> lines(session.begin(),
                                               session.begin() + static_cast<std::ptrdiff_t>(typed));
                lines.insert(lines.begin(), folder_.file(file));
                until_nobody_answers(lines);
            }
        }
    }
}

class ViewerCommandTest : public ViewerMenuTest {
  protected:
    std::string run(std::vector<std::string> words) {
        words.insert(words.begin(), {"kalvor", "digitviewer"});
        CommandLine::ParameterList parameters(std::move(words));
        CaptureConsole console;
        run_viewer_command(parameters, serial_runner());
        return console.take();
    }
    std::string refused(std::vector<std::string> words) {
        try {
            run(std::move(words));
        } catch (const CommandLine::RefusedException& refusal) {
            return refusal.what();
        }
        return "nothing refused";
    }
    const std::string a_ = folder_.file("a.txt");
};

TEST_F(ViewerCommandTest, ViewsWithoutAQuestion) {
    EXPECT_EQ(run({a_, "view", "-start:1199999"}),
              "\n" + std::string(48 + 4, ' ') + digits_.substr(1199998) + "  :  1,200,000\n");
    EXPECT_EQ(run({a_, "view", "-start:51", "-digits:3"}), "\n" + digits_.substr(50, 3) + "\n");
    EXPECT_EQ(run({a_, "view", "-start:51", "-end:52"}), "\n" + digits_.substr(50, 2) + "\n");
}

TEST_F(ViewerCommandTest, ExtractsAndCompresses) {
    run({a_, "extract", "-start:11", "-end:20", "-to", folder_.file("b")});
    EXPECT_EQ(folder_.read("b.txt"), "3." + digits_.substr(10, 10));
    run({a_, "compress", "-C:1m", "-name", "n", "-to", folder_.file("")});
    EXPECT_TRUE(folder_.has("n - 1.kvd"));
    const std::string whole = folder_.read("n - 1.kvd");
    run({a_, "partial", "-C:1m", "-name", "p", "-ids:1", "-to", folder_.file("")});
    EXPECT_TRUE(folder_.read("p - 1.kvd") == whole);
    EXPECT_FALSE(folder_.has("p - 0.kvd"));
    EXPECT_NE(run({folder_.file("n - 0.kvd"), "-dir", folder_.file("other"), "stats", "-end:1.2m"})
                  .find("Hash(start - current): " + std::to_string(plain_hash("3" + digits_, 10)) + "\n"),
              std::string::npos);
}

TEST_F(ViewerCommandTest, WhatAPromptWouldRefuseIsAnError) {
    EXPECT_EQ(refused({a_, "view", "-start:1200001"}),
              "-start: 1,200,001 is out of range. Write a number from 1 to 1,200,000.");
    EXPECT_EQ(refused({a_, "view", "-digits:100001"}),
              "-digits: 100,001 is out of range. Write a number from 1 to 100,000.");
    EXPECT_EQ(refused({a_, "stats", "-start:5", "-end:4"}),
              "-end: 4 is out of range. Write a number from 5 to 1,200,000.");
    folder_.write("b.txt", "3.");
    for (const char* action : {"view", "stats", "extract"}) {
        EXPECT_EQ(refused({folder_.file("b.txt"), action}),
                  "This range of digits is not accessible.\nThere are no digits behind the point.");
    }
    EXPECT_TRUE(refused({a_, "extract"}).starts_with("-to is missing: "));
    EXPECT_TRUE(refused({a_, "compress"}).starts_with("-name is missing: "));
    EXPECT_EQ(refused({a_, "compress", "-name", "x", "-C:999999"}),
              "-C: 999,999 is out of range. Write a number from 1,000,000 to 9,223,372,036,854,775,807.");
    EXPECT_EQ(refused({a_, "partial", "-C:1m", "-name", "x", "-ids:2"}), "No Digits to Recompress.");
    EXPECT_TRUE(refused({a_, "partial", "-ids:3-1"}).ends_with(" ends before it begins."));
    EXPECT_TRUE(refused({a_, "partial", "-ids:-1"}).find("is not a range") != std::string::npos);
}

// A script sees by the exit code that nothing was done.
TEST_F(ViewerCommandTest, WhatTheFilesDoNotHaveIsAnError) {
    write_set();
    const std::string file = folder_.file("set - 0.kvd");
    const std::vector<std::vector<std::string>> asked = {
        {"view", "-start:1200001"},
        {"stats", "-end:1200001"},
        {"extract", "-end:1200001", "-to", folder_.file("x")},
        {"compress", "-end:1200001", "-name", "x", "-to", folder_.file("")},
        {"partial", "-C:1m", "-ids:1", "-name", "x", "-to", folder_.file("")},
    };
    for (std::vector<std::string> words : asked) {
        words.insert(words.begin(), file);
        EXPECT_EQ(refused(words),
                  "This range of digits is not accessible.\n"
                  "set - 1.kvd: Its last digit is number 1,200,000.")
            << words[1];
    }
    EXPECT_FALSE(folder_.has("x.txt"));
    EXPECT_FALSE(folder_.has("x - 0 (incomplete).kvd"));
    EXPECT_FALSE(folder_.has("x - 1 (incomplete).kvd"));
}

// Who does not say where to end is told what there is.
TEST_F(ViewerCommandTest, ATotalThatIsNotKnownNeedsAnEnd) {
    write_set();
    const std::string text =
        "-end is missing: the file does not know how many digits there are; the first 1,200,000 are here. "
        "See ";
    EXPECT_TRUE(refused({folder_.file("set - 0.kvd"), "stats"}).starts_with(text));
    EXPECT_TRUE(refused({folder_.file("set - 0.kvd"), "compress", "-name", "x"}).starts_with(text));
}

TEST_F(ViewerCommandTest, OptionsThatAnActionDoesNotLookAtAreRefused) {
    EXPECT_TRUE(refused({a_, "-start:5"}).starts_with("-start needs an action: "));
    EXPECT_TRUE(refused({a_, "view", "-to", "x"}).starts_with("-to is not an option of \"view\". "));
    EXPECT_TRUE(refused({a_, "stats", "-C:1m"}).starts_with("-C is not an option of \"stats\". "));
    EXPECT_EQ(refused({a_, "view", "-end:5", "-digits:5"}),
              "-end and -digits say the same thing: give one of them.");
}

TEST_F(ViewerCommandTest, EveryOptionStandsOnItsPage) {
    std::string page;
    for (const std::string& line : viewer_help_page()) {
        EXPECT_LE(line.size(), 79u) << line;
        page += line + "\n";
    }
    for (const auto& row : viewer_option_table()) EXPECT_NE(page.find(row.text.name), std::string::npos);
    for (const char* word : {"view", "stats", "extract", "compress", "partial"}) {
        EXPECT_NE(page.find(word), std::string::npos);
    }
}

}  // namespace
}  // namespace kalvor::DigitViewer2
