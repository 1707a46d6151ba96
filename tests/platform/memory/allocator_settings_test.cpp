// Allocators as settings: what files, menus and remote user interfaces see of them.
#include <gtest/gtest.h>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "platform/memory/allocator.h"
#include "platform/memory/mmap_allocator.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace trel;
using kalvor_test::message_of;

TEST(AllocatorSettingsTest, SavedFormIsReadBack) {
    CaptureConsole console;
    const char* texts[] = {
        "{\r\n    Allocator : \"malloc\"\r\n}\r\n",
        "{\r\n    Allocator : \"mmap\"\r\n    LargePages : \"attempt\"\r\n    LockedPages : "
        "\"attempt\"\r\n}\r\n",
        "{\r\n    Allocator : \"mmap\"\r\n    LargePages : \"forced\"\r\n    LockedPages : "
        "\"disabled\"\r\n}\r\n",
        "{\r\n    Allocator : \"interleave\"\r\n    Hashed : \"true\"\r\n    LockedPages : \"disabled\"\r\n"
        "    Nodes : [0 0 1]\r\n}\r\n",
        "{\r\n    Allocator : \"interleave\"\r\n    Hashed : \"false\"\r\n    LockedPages : \"attempt\"\r\n"
        "    Nodes : [0 1]\r\n}\r\n",
    };
    for (const std::string text : texts) {
        EXPECT_EQ(allocator_to_config(*make_allocator_config(*Config::parse_acfg(text))).to_acfg(), text);
    }
    EXPECT_EQ(allocator_to_config(*make_default_allocator_config("mmap")).to_acfg(), texts[1]);
}

TEST(AllocatorSettingsTest, Refusals) {
    CaptureConsole console;
    const auto parse = [](const std::string& text) {
        return message_of<InvalidParametersException>(
            [&] { (void)make_allocator_config(*Config::parse_acfg(text)); });
    };
    EXPECT_EQ(parse("{ Allocator : \"calloc\" }"), "|Invalid Memory Allocator: calloc");
    EXPECT_EQ(parse("{ Allocator : \"mmap\" LargePages : \"sometimes\" LockedPages : \"attempt\" }"),
              "LargePages|Invalid Mode: sometimes");
    EXPECT_EQ(parse("{ Allocator : \"mmap\" LargePages : \"attempt\" LockedPages : \"\" }"),
              "LockedPages|Invalid Mode: ");
    const std::string interleave = "{ Allocator : \"interleave\" Hashed : \"true\" LockedPages : ";
    EXPECT_EQ(parse(interleave + "\"forced\" Nodes : [] }"), "|Node list cannot be empty.");
    EXPECT_EQ(parse(interleave + "\"never\" Nodes : [0] }"), "LockedPages|Invalid Mode: never");
    // A number that belongs to none of the nodes does not become the number of one.
    EXPECT_EQ(allocator_to_config(*make_allocator_config(*Config::parse_acfg(
                                      interleave + "\"forced\" Nodes : [4294967296 -1 7] }")))
                  .get_array("Nodes")
                  .to_acfg(),
              "[4294967295 4294967295 7]");
    EXPECT_THROW((void)parse("{ Allocator : \"mmap\" LargePages : \"attempt\" }"), KeyNotFoundException);
    EXPECT_THROW((void)parse("{ }"), KeyNotFoundException);
    try {
        (void)make_allocator_config(Config::Integer(1));
        FAIL();
    } catch (const ParseException& e) {
        EXPECT_EQ(e.message, "Memory Allocator: Expected Object, got Integer.");
    }
}

TEST(AllocatorMenusTest, MmapLinesAndSelection) {
    CaptureConsole console(CaptureConsole::terminal, true);
    MmapConfig config;
    EXPECT_EQ(config.print(4), 6U);
    EXPECT_EQ(console.take(),
              "{w}   4    Large Pages:            {Y}Attempt{w}\n{w}   5    Lock Pages in Memory:   "
              "{Y}Attempt{w}\n");
    config.edit(0);
    config.edit(1);
    config.edit(1);
    EXPECT_EQ(config.print(4), 6U);
    EXPECT_EQ(console.take(),
              "{w}   4    Large Pages:            {G}Forced{w}\n{w}   5    Lock Pages in Memory:   "
              "{R}Disabled{w}\n");
    std::string selector;
    for (const char c : config.to_selector().to_json()) {
        if (c != '\r' && c != '\n' && c != ' ') selector += c;
    }
    EXPECT_EQ(selector,
              "{\"Allocator\":{\"Value\":\"mmap\",\"DisplayText\":\"WinAPIVirtualAlloc()\"},"
              "\"LargePages\":{\"Value\":\"forced\",\"DisplayText\":\"Forced\"},"
              "\"LockedPages\":{\"Value\":\"disabled\",\"DisplayText\":\"Disabled\"}}");
    console.type({"3", "1"});
    EXPECT_EQ(select_allocator_menu()->name(), "mmap");
    EXPECT_EQ(console.text(),
              "{P}Select a Memory Allocator:\n{w}   0    {T}C malloc()\n{w}   1    {T}WinAPI VirtualAlloc()\n"
              "{w}   2    {T}Node Interleaving\n\n{w}option: {T}{w}option: {T}");
}
