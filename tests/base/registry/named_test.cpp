#include "base/registry/named.h"

#include <gtest/gtest.h>

#include "support/capture_console.h"

using namespace trel;

namespace {

constexpr const char* kOrder[] = {"delta", "absent", "alpha"};

Named<int> filled() {
    Named<int> numbers("Duplicate Number", kOrder);
    for (const char* name : {"beta", "alpha", "gamma", "delta"}) numbers.add(name, name[0]);
    return numbers;
}

using Names = std::vector<std::string>;

}  // namespace

TEST(NamedTest, FindsWhatWasRegistered) {
    const Named<int> numbers = filled();
    ASSERT_NE(numbers.find("alpha"), nullptr);
    EXPECT_EQ(*numbers.find("alpha"), 'a');
    EXPECT_EQ(*numbers.find(std::string("gamma")), 'g');
    for (const char* name : {"absent", "Alpha", "alph", "alphas", ""})
        EXPECT_EQ(numbers.find(name), nullptr) << name;
}

TEST(NamedTest, WhatWasFoundStaysWhereItIs) {
    Named<int> numbers = filled();
    const int* const alpha = numbers.find("alpha");
    for (int i = 0; i < 1000; i++) numbers.add("name " + std::to_string(i), i);
    EXPECT_EQ(numbers.find("alpha"), alpha);
    EXPECT_EQ(*alpha, 'a');
}

TEST(NamedTest, MenusListTheFixedOrderThenTheAlphabet) {
    EXPECT_EQ(filled().names(), (Names{"delta", "alpha", "beta", "gamma"}));
    Named<int> unordered("");
    for (const char* name : {"b", "c", "a"}) unordered.add(name, 0);
    EXPECT_EQ(unordered.names(), (Names{"a", "b", "c"}));
    EXPECT_EQ(Named<int>("", kOrder).names(), Names{});
}

TEST(NamedDeathTest, ADuplicateEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto twice = [](const char* duplicate) {
        Console::set_pause_before_fatal_exit(false);
        Named<int> numbers(duplicate);
        numbers.add("one", 1);
        numbers.add("two", 1);
        numbers.add("one", 2);
    };
    EXPECT_EXIT(twice("Duplicate Number"), testing::ExitedWithCode(1), "^\nDuplicate Number\n$");
    EXPECT_EXIT(twice("Duplicate Number: "), testing::ExitedWithCode(1), "^\nDuplicate Number: one\n$");
}
