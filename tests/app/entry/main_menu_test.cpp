#include "app/entry/main_menu.h"

#include <gtest/gtest.h>

#include "app/entry/about_page.h"
#include "base/errors/exceptions.h"
#include "support/authorized.h"
#include "support/capture_console.h"

using namespace kalvor;

namespace {

const std::string kBanner =
    "{g}Kalvor v{w}0.7.8 Build 9507                (https://kalvor.example)\n"
    "{t}The{w} Kalvor developers      (bugs@kalvor.example)\n"
    "\n{w}Distribute Freely - Please report any bugs.\n\n"
    "{w}Tuning: {G} Windows/18-CNL ~ Elvatt{w}{w}  -  {t}Cannon Lake (x64 AVX512-VBMI)\n\n";

// The menu where every entry is available.
const std::string kLines =
    "{T}  0         Benchmark Pi  (all in ram)\n"
    "{T}  1         Component Stress Tester\n"
    "{T}  2         Run I/O Performance Analysis\n"
    "\n"
    "{Y}  3         Custom Compute a Constant\n"
    "{Y}                -   Compute other constants (e, Golden Ratio, etc...)\n"
    "{Y}                -   Choose your own settings (use disk for large computations)\n"
    "\n"
    "{G}  4         BBP Digit Extractor for Pi\n"
    "{G}  5         Digit Viewer\n"
    "\n"
    "{t}  6         Advanced Options\n"
    "{t}  7         About\n"
    "{w}\n\nEnter your choice:\n";
const std::string kMenu = kBanner + kLines;

MainMenuActions own_actions() {
    return main_menu_actions(kalvor_test::authorized());
}

// The menu of this version.
const std::string kOwnLines =
    "{T}  0         Benchmark Pi  (all in ram)\n"
    "{T}  1         Component Stress Tester\n"
    "{d}  2         Run I/O Performance Analysis  (not available yet)\n"
    "\n"
    "{Y}  3         Custom Compute a Constant\n"
    "{Y}                -   Compute other constants (e, Golden Ratio, etc...)\n"
    "{Y}                -   Choose your own settings (use disk for large computations)\n"
    "\n"
    "{G}  4         BBP Digit Extractor for Pi\n"
    "{G}  5         Digit Viewer\n"
    "\n"
    "{t}  6         Advanced Options\n"
    "{t}  7         About\n"
    "{w}\n\nEnter your choice:\n";

}  // namespace

TEST(MainMenuTest, Banner) {
    CaptureConsole console(CaptureConsole::terminal, true);
    print_banner();
    EXPECT_EQ(console.take(), kBanner);
}

TEST(MainMenuTest, RunsEachEntryAndEnds) {
    for (int choice = 0; choice < 8; choice++) {
        std::string ran;
        MainMenuActions actions;
        for (int i = 0; i < 8; i++)
            actions[static_cast<size_t>(i)].run = [&ran, i] {
                ran += std::to_string(i);
                return i != 2;
            };
        CaptureConsole console(CaptureConsole::terminal, true);
        const std::string typed = std::to_string(choice);
        console.type({typed.c_str()});
        EXPECT_EQ(run_main_menu(actions), choice != 2);
        EXPECT_EQ(ran, typed);
        EXPECT_EQ(console.take(), kMenu + "{w}option: {T}");
    }
}

TEST(MainMenuTest, AsksAgainUntilTheChoiceIsInRange) {
    std::string ran;
    MainMenuActions actions;
    for (int i = 0; i < 8; i++) {
        actions[static_cast<size_t>(i)].run = [&ran, i] {
            ran += std::to_string(i);
            return true;
        };
    }
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({"8", "-1", "1000000", "7"});
    run_main_menu(actions);
    EXPECT_EQ(ran, "7");
    EXPECT_EQ(console.take(), kMenu + "{w}option: {T}{w}option: {T}{w}option: {T}{w}option: {T}");
}

TEST(MainMenuTest, NobodyThere) {
    const CaptureConsole console;
    EXPECT_THROW(run_main_menu(own_actions()), trel::EndOfStreamException);
}

TEST(MainMenuTest, WhatThisVersionDoesNotHaveSaysSoAndLeadsBack) {
    const std::pair<const char*, const char*> missing[] = {{"2", "The I/O Performance Analysis"}};
    for (const auto& [choice, name] : missing) {
        CaptureConsole console(CaptureConsole::terminal, true);
        console.type({choice, "", "about"});
        EXPECT_THROW(run_main_menu(own_actions()), trel::EndOfStreamException) << choice;
        EXPECT_EQ(console.take(), kBanner + kOwnLines + "{w}option: {T}\n{R}" + name +
                                      " is not available in this version.\n{w}\n" + kOwnLines +
                                      "{w}option: {T}{w}option: {T}{w}option: {T}");
    }
}

TEST(MainMenuTest, LeadsToTheBenchmark) {
    CaptureConsole console;
    console.type({"0"});
    EXPECT_THROW(run_main_menu(own_actions()), trel::EndOfStreamException);
    EXPECT_NE(console.text().find("\noption: Benchmark Pi:\n"), std::string::npos) << console.text();
}

TEST(MainMenuTest, LeadsToTheMenuOfAComputation) {
    CaptureConsole console;
    console.type({"3"});
    EXPECT_THROW(run_main_menu(own_actions()), trel::EndOfStreamException);
    EXPECT_NE(console.text().find("\n\nCustom Compute a Constant\n\n  1     Constant:               Pi\n"),
              std::string::npos)
        << console.text();
}

TEST(MainMenuTest, LeadsToTheStressTester) {
    CaptureConsole console;
    console.type({"1", "8"});
    EXPECT_THROW(run_main_menu(own_actions()), trel::EndOfStreamException);
    EXPECT_TRUE(console.text().ends_with("\n      Please select at least one test.\n\noption: "));
}

TEST(MainMenuTest, LeadsToTheViewer) {
    CaptureConsole console;
    console.type({"5", "digits"});
    EXPECT_THROW(run_main_menu(own_actions()), trel::InvalidParametersException);
    EXPECT_TRUE(
        console.text().ends_with("Enter the path of the file (include .txt or .kvd extensions):\nPath: "));
}

TEST(MainMenuTest, LeadsToTheExtractor) {
    CaptureConsole console;
    console.type({"4", "1", "1", "2", "100", "3", "8", "0"});
    run_main_menu(own_actions());
    const std::string text = console.take();
    EXPECT_NE(text.find("  2     Hexadecimal Offset:       1,000,000,000\n"), std::string::npos);
    EXPECT_NE(text.find("  6     Modes:                    A, B, C\n"), std::string::npos);
    // Digits 101 to 108.
    EXPECT_NE(text.find("16^-101\n\n  29B7C97C "), std::string::npos) << text;
}

TEST(MainMenuTest, LeadsToItsPages) {
    const auto run = [](std::initializer_list<std::string> typed) {
        CaptureConsole console(CaptureConsole::terminal, true);
        console.type(typed);
        run_main_menu(own_actions());
        return console.take().substr((kBanner + kOwnLines + "{w}option: {T}").size());
    };
    CaptureConsole console(CaptureConsole::terminal, true);
    print_about_page();
    const std::string about = console.take();
    EXPECT_EQ(run({"7"}), about);
    EXPECT_EQ(run({"6", "3"}).rfind("{P}Advanced Options\n\n", 0), 0u);
}
