#include "base/console/console.h"

#include <gtest/gtest.h>

#include "support/capture_console.h"

using namespace trel;

TEST(ConsolePrimitivesTest, ColorsAreSetBeforeAndResetAfter) {
    CaptureConsole console(CaptureConsole::terminal, true);
    Console::print("a");
    Console::print("b", 'G');
    EXPECT_EQ(console.take(), "a{G}b");
    Console::print_line("line", 'T');
    EXPECT_EQ(console.take(), "{T}line\n");
    Console::new_line();
    EXPECT_EQ(console.take(), "\n");
    Console::print("", 'P');
    EXPECT_EQ(console.take(), "{P}");
    Console::error_line("bad");
    EXPECT_EQ(console.take(), "\n{R}bad\n{w}");
    Console::error_line("bad", true);
    EXPECT_EQ(console.take(), "\n{R}bad\n");
    Console::labelled("Name", "value", 'Y');
    EXPECT_EQ(console.take(), "{w}Name: {Y}value{w}");
    Console::labelled_line("Name", "value");
    EXPECT_EQ(console.take(), "Name: value\n");
    Console::aligned_line("Name", 8, "value", 'Y');
    EXPECT_EQ(console.take(), "{w}Name    {Y}value{w}\n");
    Console::aligned_line("Name", 8, "value");
    EXPECT_EQ(console.take(), "Name    value\n");
}

TEST(ConsolePrimitivesTest, LongLabelsAreCutAndEndInABlank) {
    CaptureConsole console;
    Console::aligned_line("A label that is long", 8, "v");
    EXPECT_EQ(console.take(), "A label v\n");
    Console::aligned_line("12345678", 8, "v");
    EXPECT_EQ(console.take(), "1234567 v\n");
    Console::aligned_line("x", 0, "v");
    EXPECT_EQ(console.take(), "v\n");
}

TEST(ConsolePrimitivesTest, NoColorsWhenRedirectedOrDisabled) {
    {
        CaptureConsole console(CaptureConsole::redirected, true);
        Console::print("text", 'R');
        Console::set_color('G');
        EXPECT_EQ(console.text(), "text");
        EXPECT_EQ(console.color_changes(), 0);
    }
    CaptureConsole console(CaptureConsole::terminal, true);
    Console::set_colors_enabled(false);
    Console::error_line("text");
    Console::set_colors_enabled(true);
    EXPECT_EQ(console.text(), "\ntext\n");
    EXPECT_EQ(console.color_changes(), 0);
    Console::print("on", 'G');
    EXPECT_EQ(console.color_changes(), 1);
}

TEST(ConsolePrimitivesTest, PausePrintsItsPromptAndCounts) {
    CaptureConsole console(CaptureConsole::terminal, true);
    const u64 before = Console::pause_count();
    EXPECT_TRUE(Console::pause());
    EXPECT_EQ(console.take(), "{w}Press any key to continue . . . \n");
    Console::pause(' ');
    EXPECT_EQ(console.take(), "Press any key to continue . . . \n");
    EXPECT_EQ(Console::pause_count(), before + 2);
}

TEST(ConsolePrimitivesTest, SinksNest) {
    CaptureConsole outer;
    {
        CaptureConsole inner;
        Console::print("inner");
        EXPECT_EQ(inner.text(), "inner");
    }
    Console::print("outer");
    EXPECT_EQ(outer.text(), "outer");
}
