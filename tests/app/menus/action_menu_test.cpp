#include "app/menus/action_menu.h"

#include <gtest/gtest.h>

#include "app/menus/not_available.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"

using namespace kalvor;

namespace {

ActionMenu menu_of(std::string& ran, size_t entries) {
    ActionMenu menu{"Some Tests", {}};
    for (size_t i = 0; i < entries; i++) {
        menu.entries.push_back(
            {"Entry " + std::string(1, static_cast<char>('a' + i)), i % 2 ? 'Y' : 'T', [&ran, i] {
                 ran += static_cast<char>('a' + i);
                 return i != 1;  // b fails
             }});
    }
    return menu;
}

}  // namespace

TEST(ActionMenuTest, RunsTheChosenEntry) {
    CaptureConsole console(CaptureConsole::terminal, true);
    std::string ran;
    console.type({"3", "-1", "2"});
    EXPECT_TRUE(show_action_menu(menu_of(ran, 3), false));
    EXPECT_EQ(ran, "c");
    EXPECT_EQ(console.take(),
              "{P}Some Tests\n\n"
              "{w}  0         {T}Entry a\n"
              "{w}  1         {Y}Entry b\n"
              "{w}  2         {T}Entry c\n"
              "\n{w}option: {T}{w}option: {T}{w}option: {T}");
}

TEST(ActionMenuTest, RunAllComesFirstAndGoesOnAfterAFailure) {
    CaptureConsole console(CaptureConsole::terminal, true);
    std::string ran;
    console.type({"0"});
    EXPECT_FALSE(show_action_menu(menu_of(ran, 3), true));
    EXPECT_EQ(ran, "abc");
    EXPECT_EQ(console.take(),
              "{P}Some Tests\n\n"
              "{w}  0         {w}Run All\n"
              "{w}  1         {T}Entry a\n"
              "{w}  2         {Y}Entry b\n"
              "{w}  3         {T}Entry c\n"
              "\n{w}option: {T}\n{R}Tests Failed\n{w}{w}Press any key to continue . . . \n");
    ran.clear();
    console.type({"4", "3"});
    EXPECT_TRUE(show_action_menu(menu_of(ran, 3), true));
    EXPECT_EQ(ran, "c");
    console.type({"2"});
    EXPECT_FALSE(show_action_menu(menu_of(ran, 3), true));
}

// Dim, with a note, and back to the menu; "Run All" leaves it out.
TEST(ActionMenuTest, WhatIsNotAvailable) {
    std::string ran;
    ActionMenu menu = menu_of(ran, 3);
    menu.entries[0].available = false;
    menu.entries[0].run = []() -> bool { not_available("A thing"); };
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({"0", "2"});
    show_action_menu(menu, false);
    EXPECT_EQ(ran, "c");
    const std::string shown =
        "{P}Some Tests\n\n"
        "{w}  0         {d}Entry a  (not available yet)\n"
        "{w}  1         {Y}Entry b\n"
        "{w}  2         {T}Entry c\n"
        "\n{w}option: {T}";
    EXPECT_EQ(console.take(), shown + "\n{R}A thing is not available in this version.\n{w}\n" + shown);
    ran.clear();
    console.type({"0"});
    show_action_menu(menu, true);
    EXPECT_EQ(ran, "bc");
}

TEST(ActionMenuTest, NumbersAreRightAligned) {
    CaptureConsole console;
    std::string ran;
    console.type({"11"});
    show_action_menu(menu_of(ran, 12), false);
    EXPECT_EQ(ran, "l");
    EXPECT_NE(
        console.text().find("\n  9         Entry j\n 10         Entry k\n 11         Entry l\n\noption: "),
        std::string::npos);
}

TEST(ActionMenuTest, NobodyThere) {
    CaptureConsole console;
    std::string ran;
    EXPECT_THROW(show_action_menu(menu_of(ran, 2), false), trel::EndOfStreamException);
    EXPECT_EQ(ran, "");
}
