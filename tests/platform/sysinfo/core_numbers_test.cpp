#include "platform/sysinfo/core_numbers.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "os/cpu.h"
#include "support/capture_console.h"

namespace trel {
namespace {

std::vector<u32> first_numbers(u32 n) {
    std::vector<u32> numbers(n);
    for (u32 i = 0; i < n; i++) numbers[i] = i;
    return numbers;
}

TEST(CoreNumbersTest, CountsTheGroupsInTheirOrder) {
    const CoreNumbers numbers = CoreNumbers::of({{0, 1, 5}, {}, {128, 130}});
    ASSERT_EQ(numbers.count(), 5u);
    const u32 processors[] = {0, 1, 5, 128, 130}, groups[] = {0, 0, 0, 2, 2};
    for (u64 i = 0; i < 5; i++) {
        EXPECT_EQ(numbers.cores[i].processor, processors[i]);
        EXPECT_EQ(numbers.cores[i].group, groups[i]);
    }
}

// The first call prints; this is the only test of the program that makes it.
TEST(CoreNumbersTest, PrintsThisMachineOnce) {
    CaptureConsole console;
    const CoreNumbers& numbers = CoreNumbers::of_this_machine();
    ASSERT_EQ(numbers.count(), os::active_processor_count());
    EXPECT_EQ(numbers.cores[0].processor, os::active_processors()[0]);
    EXPECT_EQ(console.take(), "Parsing Core -> Handle Mappings...\n    Cores:  " +
                                  core_list_text(first_numbers(static_cast<u32>(numbers.count()))) + "\n");
    EXPECT_EQ(&CoreNumbers::of_this_machine(), &numbers);
    EXPECT_EQ(console.take(), "");
}

TEST(CoreNumbersTest, Lists) {
    const auto text = [](std::vector<u32> cores) { return core_list_text(cores); };
    EXPECT_EQ(text({}), "(none)");
    EXPECT_EQ(text({7}), "7");
    EXPECT_EQ(text({0, 1}), "0-1");
    EXPECT_EQ(text({0, 1, 2, 3, 8}), "0-3, 8");
    EXPECT_EQ(text({0, 2, 4, 5, 6}), "0, 2, 4-6");
    EXPECT_EQ(text(first_numbers(128)), "0-127");
}

TEST(CoreNumbersTest, ListsAreReadBack) {
    for (u32 bits = 1; bits < 1024; bits++) {
        std::vector<u32> cores;
        for (u32 core = 0; core < 10; core++) {
            if (bits >> core & 1) cores.push_back(core);
        }
        const auto list = parse_core_list(core_list_text(cores), 10);
        ASSERT_TRUE(list) << bits;
        EXPECT_EQ(list->cores, cores);
        EXPECT_FALSE(list->missing);
    }
}

TEST(CoreNumbersTest, WhatPeopleWrite) {
    const auto cores = [](const char* text) { return parse_core_list(text, 16).value().cores; };
    EXPECT_EQ(cores("0-3,8"), (std::vector<u32>{0, 1, 2, 3, 8}));
    EXPECT_EQ(cores(" 8 , 0 - 3\t"), (std::vector<u32>{0, 1, 2, 3, 8}));
    EXPECT_EQ(cores("0,0,0-1,1"), (std::vector<u32>{0, 1}));
    EXPECT_EQ(cores("5-5"), (std::vector<u32>{5}));
    EXPECT_EQ(cores("0015"), (std::vector<u32>{15}));
    for (const char* text : {"",      " ",          "4-2",          "0-",
                             "-1",    "-",          "1-2-3",        "0,,1",
                             ",",     "0,",         ",0",           "a",
                             "0x1",   "1 2",        "0;1",          "+1",
                             "65536", "9999999999", "1-4294967295", "18446744073709551616",
                             "0.5"}) {
        EXPECT_FALSE(parse_core_list(text, 16)) << text;
    }
}

TEST(CoreNumbersTest, CoresThatDoNotExist) {
    const auto list = parse_core_list("1-3, 65535, 9", 3);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->cores, (std::vector<u32>{1, 2}));
    EXPECT_EQ(list->missing, 3u);
    EXPECT_EQ(parse_core_list("7-9", 3)->missing, 7u);
    EXPECT_EQ(parse_core_list("3", 3)->missing, 3u);
    EXPECT_FALSE(parse_core_list("2", 3)->missing);
    // However long the text, there are no more cores than there are.
    std::string many = "0-65535";
    for (int i = 0; i < 100000; i++) many += ",0-65535";
    EXPECT_EQ(parse_core_list(many, 4)->cores.size(), 4u);
}

TEST(CoreGroupTest, HoldsCoresOfOneGroup) {
    const CoreNumbers numbers = CoreNumbers::of({{0, 1}, {64, 65}});
    CoreGroup group(numbers);
    group |= 1;
    group |= 0;
    group |= 1;
    EXPECT_EQ(group.cores(), (std::vector<u32>{0, 1}));
    const auto refused = [&](auto change) {
        try {
            change();
        } catch (const InvalidParametersException& e) {
            return e.function + ": " + e.message;
        }
        return std::string("taken");
    };
    EXPECT_EQ(refused([&] { group |= 2; }),
              "CoreGroup::operator|=(): Core 2 is not compatible with processor group 0");
    EXPECT_EQ(refused([&] { group ^= 3; }),
              "CoreGroup::operator^=(): Core 3 is not compatible with processor group 0");
    EXPECT_EQ(refused([&] { group |= 4; }), "CoreGroup::operator|=(): Core 4 doesn't exist.");
    EXPECT_EQ(refused([&] { group ^= u64(1) << 40; }),
              "CoreGroup::operator^=(): Core 1099511627776 doesn't exist.");
    EXPECT_EQ(group.cores(), (std::vector<u32>{0, 1}));
    group ^= 0;
    group ^= 1;
    EXPECT_TRUE(group.cores().empty());
    group ^= 3;
    EXPECT_EQ(group.cores(), (std::vector<u32>{3}));
    EXPECT_EQ(refused([&] { group |= 0; }),
              "CoreGroup::operator|=(): Core 0 is not compatible with processor group 1");
}

}  // namespace
}  // namespace trel
