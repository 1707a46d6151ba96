#include "base/console/late_line.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/console/error_output.h"
#include "support/capture_console.h"

using namespace trel;

TEST(LateLineTest, TheOrderIsThatOfTheProgram) {
    CaptureConsole console(CaptureConsole::terminal, true);
    Console::print_line("one", 'G');
    Console::LateLine late;
    Console::print_line("three", 'Y');
    Console::erase_line(3);
    Console::flush();
    EXPECT_EQ(console.text(), "{G}one\n");
    std::thread([&] { late.arrive([] { Console::print_line("two", 'T'); }); }).join();
    EXPECT_EQ(console.text(), "{G}one\n{T}two\n{Y}three\n\r   \r");
    Console::print_line("four", 'w');
    EXPECT_EQ(console.text(), "{G}one\n{T}two\n{Y}three\n\r   \r{w}four\n");
    late.wait();
    EXPECT_EQ(Console::LateLine::open(), nullptr);
}

TEST(LateLineTest, WhatWasHeldBackIsNotLost) {
    CaptureConsole console;
    {
        const Console::LateLine late;
        Console::print_line("held");
        EXPECT_EQ(console.text(), "");
    }
    EXPECT_EQ(console.text(), "held\n");
}

// Errors, questions and pauses stand behind what was printed before them.
TEST(LateLineTest, WhatMustBeSeenAtOnceWaitsForTheText) {
    void (*const shown[])() = {[] { const Console::ErrorOutput errors; }, [] { Console::pause(); },
                               [] {
                                   std::string line;
                                   Console::read_line(line);
                               }};
    for (const auto show : shown) {
        CaptureConsole console;
        Console::LateLine late;
        Console::print_line("two");
        std::atomic<bool> arrived{false};
        std::thread other([&] {
            for (int i = 0; i < 1000; i++) std::this_thread::yield();
            arrived = true;
            late.arrive([] { Console::print_line("one"); });
        });
        show();
        EXPECT_TRUE(arrived);
        other.join();
        EXPECT_EQ(console.text().rfind("one\ntwo\n", 0), 0u) << console.text();
    }
}

TEST(LateLineTest, ThreadsPrintWhileTheTextComes) {
    CaptureConsole console;
    Console::LateLine late;
    std::thread other([&] { late.arrive([] { Console::print_line("first"); }); });
    std::string expected = "first\n";
    for (int i = 0; i < 2000; i++) {
        Console::print_line(std::to_string(i));
        expected += std::to_string(i) + "\n";
    }
    other.join();
    EXPECT_EQ(console.text(), expected);
}
