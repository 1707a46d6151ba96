#include "digits/bbp/bbp_command.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "os/cpu.h"
#include "support/capture_console.h"

namespace kalvor::BBPv2 {
namespace {

using trel::u64;
using trel::CommandLine::ParameterList;
using trel::CommandLine::RefusedException;

BBPSettings parsed(std::vector<std::string> words) {
    words.insert(words.begin(), "kalvor");
    ParameterList parameters(words);
    return parse_bbp_options(parameters);
}

TEST(BbpCommandTest, Options) {
    BBPSettings s = parsed({"-formula:1", "-offset:1b", "-digits:1k", "-threads:3", "-pin:0", "-modes:Cb"});
    EXPECT_EQ(s.formula, kBellardBbp);
    EXPECT_EQ(s.offset, 1000000000u);
    EXPECT_EQ(s.digits, 1000u);
    EXPECT_EQ(s.threads, 3u);
    EXPECT_FALSE(s.pin_threads);
    EXPECT_EQ(s.modes, (Modes{{false, true, true}}));
    s = parsed({"-offset:922337203684428988", "-digits:1048576", "-threads:65536"});
    EXPECT_EQ(s.formula, kOriginalBbp);
    EXPECT_EQ(s.offset, kMaxOffset);
    EXPECT_EQ(s.digits, kMaxDigits);
    EXPECT_EQ(s.threads, 65536u);
    EXPECT_TRUE(s.pin_threads);
    EXPECT_EQ(s.modes, Modes{});
    s = parsed({"-digits:8", "-offset:0"});
    EXPECT_EQ(s.digits, 8u);
    EXPECT_EQ(s.offset, 0u);
    EXPECT_EQ(s.threads, trel::os::usable_processor_count());
}

TEST(BbpCommandTest, ValuesThatAPromptWouldRefuse) {
    const CaptureConsole console;
    for (const char* word :
         {"-formula:2", "-formula:-1", "-offset:922337203684428989", "-offset:-1", "-offset:x", "-offset",
          "-offset:", "-digits:7", "-digits:1048577", "-threads:0", "-threads:65537", "-pin:maybe",
          "-modes:", "-modes:ABD", "-modes:1", "-digits:99999999999999999999"}) {
        EXPECT_THROW(parsed({word}), RefusedException) << word;
    }
    try {
        parsed({"-digits:1048577"});
        FAIL();
    } catch (const RefusedException& e) {
        EXPECT_STREQ(e.what(), "-digits: 1,048,577 is too large. Write a number from 8 to 1,048,576.");
    }
}

// Parsing ends by an exception, so that something other than a command line may ask.
TEST(BbpCommandTest, UnknownOption) {
    const CaptureConsole console(CaptureConsole::terminal);
    const auto refused = [](const char* word) -> std::string {
        try {
            parsed({word});
        } catch (const RefusedException& e) {
            return e.what();
        }
        return "nothing";
    };
    EXPECT_TRUE(refused("1b").ends_with("\n\nInvalid Parameter: 1b")) << refused("1b");
    EXPECT_NE(refused("-offest:5").find("-offset"), std::string::npos);
    EXPECT_EQ(console.text(), "");
}

TEST(BbpCommandTest, RunsWhatIsAskedFor) {
    CaptureConsole console;
    ParameterList parameters({"kalvor", "bbp", "-offset:1000", "-digits:8", "-formula:1"});
    run_bbp(parameters);
    EXPECT_NE(console.take().find("16^-1001\n\n  49F1C09B 075372C9 80991B88\n"), std::string::npos);
    ParameterList too_large({"kalvor", "bbp", "-offset:1t", "-modes:A", "-digits:8", "-offset:900000t"});
    try {
        run_bbp(too_large);
        FAIL();
    } catch (const RefusedException& e) {
        EXPECT_STREQ(e.what(), "Cannot Start: Divisor exceeds limit of 2^49 - 1.");
    }
    EXPECT_EQ(console.take(), "");
}

// The page that an error points at has every option that is read.
TEST(BbpCommandTest, ThePageHasEveryOption) {
    std::string page;
    for (const std::string& line : bbp_help_page()) {
        EXPECT_LE(line.size(), 79u) << line;
        page += line + "\n";
    }
    for (const auto& row : bbp_option_table()) {
        const std::string form = "\n    " + row.text.name + row.text.value_form;
        const std::size_t at = page.find(form);
        ASSERT_NE(at, std::string::npos) << row.text.name;
        const std::size_t help = page.find(row.text.help.substr(0, 10), at);
        EXPECT_LT(help - at, 100u) << row.text.name;
    }
    const CaptureConsole console;
    try {
        parsed({"-offest:5"});
        FAIL();
    } catch (const RefusedException& e) {
        EXPECT_NE(std::string(e.what()).find("kalvor help bbp"), std::string::npos) << e.what();
    }
}

TEST(BbpCommandTest, TheWordAloneIsTheMenu) {
    CaptureConsole console;
    ParameterList parameters({"kalvor", "bbp"});
    EXPECT_THROW(run_bbp(parameters), trel::EndOfStreamException);
    EXPECT_NE(console.take().find("Kalvor BBP Pi Digit Extractor v2.1.16\n"), std::string::npos);
}

}  // namespace
}  // namespace kalvor::BBPv2
